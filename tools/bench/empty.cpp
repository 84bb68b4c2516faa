// Does nothing, with the same DLLs to load as norvane64.exe.
#include <winsock2.h>
#include <windows.h>
#include <objbase.h>

// Volatile: the imports must stay.
const void* volatile imports[] = {reinterpret_cast<void*>(&RegCloseKey), reinterpret_cast<void*>(&WSACleanup),
                                  reinterpret_cast<void*>(&CoUninitialize)};

int main() {
    return imports[0] == nullptr ? 1 : 0;
}
