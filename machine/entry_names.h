// What a person knows a catalog entry by. All texts are UTF-8 and printable.
#pragma once

#include <winsock2.h>

#include <string>

// What an entry offers, from its address family, type and protocol: "TCP over IPv4", "Bluetooth RFCOMM".
std::string OfferOf(const WSAPROTOCOL_INFOW& entry);

// The name of an entry, which can lack its terminator. A name that only refers to a resource
// ("@FILE,-NUMBER") becomes what the entry offers, with the reference behind it: "TCP over IPv4
// (mswsock.dll,-60100)".
std::string NameOf(const WSAPROTOCOL_INFOW& entry);

// The id of an entry, and its name where it has one: "1021 Filter over TCP".
std::string TitleOf(const WSAPROTOCOL_INFOW& entry);

// The name of a namespace provider. One that only refers to a resource becomes the file name of its DLL, with
// the reference.
//   name, path  UTF-8
std::string NameOfNamespace(const std::string& name, const std::string& path);
