#include "machine/machine.h"

#include "common/text_conversion.h"

std::wstring FileOfNamespace(const NamespaceProvider& provider, const Folders& folders) {
    return FileOf(conv_utf8_to_wchar(provider.path.c_str()), folders, provider.is32);
}
