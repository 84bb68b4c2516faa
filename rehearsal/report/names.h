// What a person knows catalogs, entries and products by. All texts are UTF-8 and printable.
#pragma once

#include <string>

#include "rehearsal/product.h"

// The name of a product. A name that only refers to a resource ("@FILE,-NUMBER") becomes what the entry
// offers, or the DLL of a namespace provider, with the reference behind it: "TCP over IPv4
// (mswsock.dll,-60100)".
std::string ShortNameOf(const Product& product);

// The same with the DLL, or with the id where there is no name: "Filter (filterlsp.dll)", "entry 1020". A
// namespace provider is named without its DLL.
std::string NameOf(const Product& product);

// The short name of an entry.
std::string NameOf(const WSAPROTOCOL_INFOW& entry);

// The id of an entry, and its short name where it has one: "1021 Filter over TCP".
std::string TitleOf(DWORD id, const Product& product);

// "both catalogs", "64-bit catalog" or "32-bit catalog".
std::string NameOfCatalogs(bool in64, bool in32);

// "64-bit and 32-bit programs", "64-bit programs" or "32-bit programs".
std::string NameOfPrograms(bool in64, bool in32);
