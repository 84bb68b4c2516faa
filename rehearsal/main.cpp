// norvane64-rehearse: shows what norvane64.exe would do to the Winsock catalogs, and changes nothing.
#include <cstdio>
#include <stdexcept>

#include "machine/defects.h"
#include "machine/machine_reading.h"
#include "machine/text_output.h"
#include "machine/utf8_text.h"
#include "rehearsal/arguments.h"
#include "rehearsal/machine_list.h"
#include "rehearsal/report.h"

extern "C" int _dowildcard;
int _dowildcard = 0; // the arguments arrive as they were typed

namespace {

constexpr int kError = 1;
constexpr int kDefect = 5; // of "list"

// Prints what the arguments ask for. Returns the exit code.
int Run(const Arguments& arguments) {
    std::string text = arguments.command == "help" ? kUsage : "norvane64-rehearse " NORVANE_VERSION "\n";
    int code = 0;
    if (arguments.command == "list") {
        const Machine machine = ReadMachine(arguments.files);
        const MachineChange present = FindNoChange(machine);
        text = WriteList(machine, present);
        code = CountDefects(present) == 0 ? 0 : kDefect;
    } else if (arguments.command == "lsp") {
        const Machine machine = ReadMachine(arguments.files);
        const Rehearsal rehearsal = Rehearse(machine, arguments.dllName);
        text = arguments.brief ? WriteBrief(rehearsal) : WriteReport(rehearsal, arguments.full);
        code = static_cast<int>(rehearsal.verdict);
    }
    if (!Print(stdout, text)) {
        throw std::runtime_error("the output cannot be written");
    }
    return code;
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc > 1) {
            return Run(ParseArguments(argc, argv));
        }
        Print(stderr, kUsage);
    } catch (const std::exception& error) {
        Print(stderr, "norvane64-rehearse: " + Printable(error.what()) + "\n");
    }
    return kError;
}
