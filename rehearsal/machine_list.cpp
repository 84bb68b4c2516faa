#include "rehearsal/machine_list.h"

#include "machine/change_drawing.h"
#include "machine/defects.h"
#include "machine/lsp_list.h"
#include "machine/text_sections.h"
#include "machine/utf8_text.h"

std::string WriteList(const Machine& machine, const MachineChange& present) {
    const size_t count = CountDefects(present);
    return "The Winsock catalogs of " + Printable(machine.name) + "\n" +
           Section("LSPs, with the DLL name for the command, the folder and the catalogs",
                   DescribeLsps(machine.state)) +
           DrawDefects(present) + Section("Warnings", machine.warnings) +
           Section("What to do", AdviseOnDefects(FindDefects(present))) +
           (count == 0 ? "\nAll entries work (exit code 0)\n"
                       : "\nEntries that do not work: " + std::to_string(count) + " (exit code 5)\n");
}
