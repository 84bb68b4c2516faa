#include "rehearsal/report/names.h"

#include <windows.h>

#include <algorithm>
#include <span>
#include <utility>

#include "machine/text.h"

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
std::string NameIn(std::span<const Names> names, int number, const char* what) {
    const auto found = std::ranges::find(names, number, &Names::first);
    return found != names.end() ? found->second : what + std::to_string(number);
}

// "mswsock.dll,-60100" of "@%SystemRoot%\System32\mswsock.dll,-60100".
std::string ReferenceOf(const std::string& name) {
    return name.substr(name.find_last_of("@\\/") + 1);
}

std::string OfferOf(int addressFamily, int socketType, int protocol) {
    const std::string family = NameIn(kFamilies, addressFamily, "address family ");
    const std::string type = NameIn(kTypes, socketType, "type ");
    if (addressFamily == AF_BTH && protocol == kBluetoothRfcomm) {
        return family + " RFCOMM";
    }
    if (addressFamily != AF_INET && addressFamily != AF_INET6) {
        return family + " " + type;
    }
    return (socketType == SOCK_RAW ? type : NameIn(kIpProtocols, protocol, "protocol ")) + " over " + family;
}

// The texts of two sides, or of one of them.
std::string OfSides(bool in64, bool in32, const char* both, const char* one64, const char* one32) {
    return in64 && in32 ? both : in64 ? one64 : one32;
}

} // namespace

std::string ShortNameOf(const Product& product) {
    std::string name = Shown(product.name);
    if (!name.starts_with('@')) {
        return name;
    }
    return (product.isNamespace ? Shown(product.fileName)
                                : OfferOf(product.family, product.type, product.protocol)) +
           " (" + ReferenceOf(name) + ")";
}

std::string NameOf(const Product& product) {
    const std::string name = ShortNameOf(product);
    const std::string file = product.isNamespace ? "" : Shown(product.fileName);
    return (name.empty() ? "entry " + std::to_string(product.id) : name) +
           (file.empty() ? "" : " (" + file + ")");
}

std::string NameOf(const WSAPROTOCOL_INFOW& entry) {
    return ShortNameOf(ProductOfEntry({entry, L""}));
}

std::string TitleOf(DWORD id, const Product& product) {
    const std::string name = ShortNameOf(product);
    return std::to_string(id) + (name.empty() ? "" : " " + name);
}

std::string NameOfCatalogs(bool in64, bool in32) {
    return OfSides(in64, in32, "both catalogs", "64-bit catalog", "32-bit catalog");
}

std::string NameOfPrograms(bool in64, bool in32) {
    return OfSides(in64, in32, "64-bit and 32-bit programs", "64-bit programs", "32-bit programs");
}
