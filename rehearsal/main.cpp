// norvane64-rehearse: shows what norvane64.exe would do to the Winsock catalogs, and changes nothing.
#include <cstdio>
#include <stdexcept>

#include "machine/machine_reading.h"
#include "machine/text.h"
#include "rehearsal/report/answer.h"
#include "rehearsal/report/console.h"
#include "version.h"

extern "C" int _dowildcard;
int _dowildcard = 0; // the arguments arrive as they were typed

namespace {

constexpr int kError = 1;

// Prints what the arguments ask for. Returns the exit code.
int Run(const Arguments& arguments) {
    Answer answer = {kUsage, 0};
    if (arguments.command == "version") {
        answer.text = "norvane64-rehearse " NORVANE_VERSION "\n";
    } else if (arguments.command != "help") {
        answer = AnswerTo(arguments, ReadMachine(arguments.files));
    }
    if (!Print(stdout, answer.text)) {
        throw std::runtime_error("the output cannot be written");
    }
    return answer.code;
}

} // namespace

extern "C" int wmain(int argc, wchar_t** argv);

int wmain(int argc, wchar_t** argv) {
    try {
        if (argc > 1) {
            return Run(ParseArguments({argv + 1, argv + argc}));
        }
        Print(stderr, kUsage);
    } catch (const std::exception& error) {
        Print(stderr, "norvane64-rehearse: " + Printable(error.what()) + "\n");
    }
    return kError;
}
