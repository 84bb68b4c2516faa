#include "machine/entry_names.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <utility>

#include "machine/utf8_text.h"

namespace {

using Names = std::pair<int, const char*>;

constexpr int kFamilyHyperV = 34; // AF_HYPERV, which this SDK does not have
constexpr int kBluetoothRfcomm = 3;

constexpr Names kFamilies[] = {{AF_UNIX, "Unix sockets"}, {AF_INET, "IPv4"},         {AF_IPX, "IPX"},
                               {AF_NETBIOS, "NetBIOS"},   {AF_INET6, "IPv6"},        {AF_IRDA, "infrared"},
                               {AF_BTH, "Bluetooth"},     {kFamilyHyperV, "Hyper-V"}};
constexpr Names kTypes[] = {{SOCK_STREAM, "stream"},
                            {SOCK_DGRAM, "datagram"},
                            {SOCK_RAW, "RAW"},
                            {SOCK_RDM, "reliable datagram"},
                            {SOCK_SEQPACKET, "sequenced packet"}};
constexpr Names kIpProtocols[] = {{IPPROTO_ICMP, "ICMP"},
                                  {IPPROTO_TCP, "TCP"},
                                  {IPPROTO_UDP, "UDP"},
                                  {IPPROTO_ICMPV6, "ICMPv6"},
                                  {IPPROTO_PGM, "PGM"}};

// The name of a number, or a label and the number.
template <size_t size> std::string NameIn(const Names (&names)[size], int number, const char* what) {
    const auto found = std::find_if(std::begin(names), std::end(names),
                                    [=](const Names& each) { return each.first == number; });
    return found != std::end(names) ? found->second : what + std::to_string(number);
}

// "mswsock.dll,-60100" of "@%SystemRoot%\System32\mswsock.dll,-60100".
std::string ReferenceOf(const std::string& name) {
    return name.substr(name.find_last_of("@\\/") + 1);
}

} // namespace

std::string OfferOf(const WSAPROTOCOL_INFOW& entry) {
    const std::string family = NameIn(kFamilies, entry.iAddressFamily, "address family ");
    const std::string type = NameIn(kTypes, entry.iSocketType, "type ");
    if (entry.iAddressFamily == AF_BTH && entry.iProtocol == kBluetoothRfcomm) {
        return family + " RFCOMM";
    }
    if (entry.iAddressFamily != AF_INET && entry.iAddressFamily != AF_INET6) {
        return family + " " + type;
    }
    return (entry.iSocketType == SOCK_RAW ? type : NameIn(kIpProtocols, entry.iProtocol, "protocol ")) +
           " over " + family;
}

std::string NameOf(const WSAPROTOCOL_INFOW& entry) {
    const std::string name = Shown({entry.szProtocol, wcsnlen(entry.szProtocol, WSAPROTOCOL_LEN + 1)});
    return name.starts_with('@') ? OfferOf(entry) + " (" + ReferenceOf(name) + ")" : name;
}

std::string TitleOf(const WSAPROTOCOL_INFOW& entry) {
    const std::string name = NameOf(entry);
    return std::to_string(entry.dwCatalogEntryId) + (name.empty() ? "" : " " + name);
}

std::string NameOfNamespace(const std::string& name, const std::string& path) {
    const std::string shown = Printable(name);
    const std::string file = Printable(path.substr(path.find_last_of("\\/") + 1));
    return shown.starts_with('@') ? file + " (" + ReferenceOf(shown) + ")" : shown;
}
