#include "machine/machine.h"

#include "common/text_conversion.h"
#include "machine/text.h"

std::wstring FileOn(const Machine& machine, const std::wstring& path, bool for32Bit) {
    const std::wstring file = FileOf(path, machine.folders, for32Bit);
    return machine.live && file.find(L'~') != std::wstring::npos ? LowerCase(LongPath(file)) : file;
}

std::wstring FileOfNamespace(const Machine& machine, const NamespaceProvider& provider) {
    return provider.path.empty() ? L""
                                 : FileOn(machine, conv_utf8_to_wchar(provider.path.c_str()), provider.is32);
}
