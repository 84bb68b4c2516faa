// The functions of ws2_32.dll that the simulation has. simulation/CMakeLists.txt reads the names here, for
// the exports of the DLLs that stand in for ws2_32.dll.
#pragma once

#include <set>
#include <string>

// clang-format off
#define WINSOCK_FUNCTIONS(X) \
    X(WSAStartup) X(WSACleanup) \
    X(WSCEnumProtocols) X(WSCEnumProtocols32) X(WSCGetProviderPath) \
    X(WSCInstallProvider) X(WSCInstallProvider64_32) \
    X(WSCDeinstallProvider) X(WSCDeinstallProvider32) \
    X(WSCUpdateProvider) X(WSCUpdateProvider32) \
    X(WSCWriteProviderOrder) X(WSCWriteProviderOrder32)
// clang-format on

#define WINSOCK_FUNCTION_NAME(function) #function,
inline const std::set<std::string> kWinsockFunctions = {WINSOCK_FUNCTIONS(WINSOCK_FUNCTION_NAME)};
