// Catalogs for tests, and a fixture that runs the removal code on them in process.
#pragma once

#include "support/machine_test.h"
#include "winsock/simulated_winsock.h"

// Entries whose provider id is made from a small number.
GUID NumberedGuid(DWORD number);
SimulatedEntry BaseEntry(DWORD id);
SimulatedEntry HiddenEntry(DWORD id, const wchar_t* path);
SimulatedEntry LayerEntry(DWORD id, DWORD guid, std::initializer_list<DWORD> chain,
                          const wchar_t* path = L"");

// With the private heap there, a system library that has the update functions or not, and a count of what is
// in use.
class WinsockTest : public MachineTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    static void UseSystem(bool withUpdateFunctions);

    // Puts the entries into both catalogs.
    static void Catalog(std::initializer_list<SimulatedEntry> entries);

    // The calls since the last question, without those that only read.
    static std::string Changes();

    static int LiveBlocks();
};
