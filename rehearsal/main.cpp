// norvane64-rehearse: shows what norvane64.exe would do to the Winsock catalogs, and changes nothing.
#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/text_conversion.h"
#include "machine/utf8_text.h"
#include "rehearsal/report.h"

extern "C" int _dowildcard;
int _dowildcard = 0; // the words arrive as they were typed

namespace {

constexpr char kUsage[] =
    R"(norvane64-rehearse: what "norvane64 remove lsp NAME.dll" would do to this machine. It changes nothing.

norvane64-rehearse list               the LSPs of this machine, both catalogs, drawn as chains
norvane64-rehearse lsp NAME.dll       what "remove lsp NAME.dll" would do here
norvane64-rehearse --help | --version

  --picture FILE  before the command, once or more: on the machine of these files instead. Write one with
                    reg export HKLM\SYSTEM\CurrentControlSet\Services\WinSock2\Parameters FILE
                    reg export HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs FILE
                  or take a state file of the sandbox.
  --brief         before "lsp": one line: machine, verdict, entries that go from the 64-bit and the 32-bit catalog,
                  things that stay, things that break, warnings; with tabs between them

Exit codes of "lsp": 0 CLEAN, 2 NOTHING TO DO, 3 LEAVES WORK, 4 BREAKS OTHERS; "list": 0; 1 for an error.
)";

struct Options {
    std::vector<std::string> pictures;
    bool brief = false;
    std::string command;
    std::string dllName;
};

// Throws std::runtime_error for words that it does not know.
Options ParseWords(int argc, char** argv) {
    Options options;
    int at = 1;
    for (; at < argc && argv[at][0] == '-'; ++at) {
        const std::string word = argv[at];
        if (word == "--picture" && at + 1 < argc) {
            options.pictures.push_back(argv[++at]);
        } else if (word == "--brief") {
            options.brief = true;
        } else if ((word == "--help" || word == "--version") && argc == 2) {
            options.command = word;
        } else {
            throw std::runtime_error("not an option here, or its file is missing: " + word);
        }
    }
    if (at < argc) {
        options.command = argv[at++];
    }
    // As the command line of norvane64.exe does: further words belong to the name.
    for (int i = at; options.command == "lsp" && i < argc; ++i) {
        if (std::string(argv[i]).starts_with("--")) {
            throw std::runtime_error(std::string("an option behind the command: ") + argv[i]);
        }
        options.dllName += (i == at ? "" : " ") + std::string(argv[i]);
    }
    const bool known =
        options.command == "list" ? at == argc && !options.brief : options.command == "lsp" && at < argc;
    if (!known && !options.command.starts_with("--")) {
        throw std::runtime_error("not its words; norvane64-rehearse --help tells them");
    }
    return options;
}

// UTF-8, also on a console, whose code page stays as it is. Throws std::runtime_error when it cannot be written.
void Print(const std::string& text) {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (!GetConsoleMode(output, &mode)) {
        _setmode(_fileno(stdout), _O_BINARY);
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
            throw std::runtime_error("the output cannot be written");
        }
        return;
    }
    const std::wstring wide = conv_utf8_to_wchar(text.c_str());
    constexpr size_t kPart = 8000; // characters; older consoles refuse long texts
    for (size_t at = 0; at < wide.size(); at += kPart) {
        const std::wstring part = wide.substr(at, kPart);
        DWORD written = 0;
        WriteConsoleW(output, part.data(), static_cast<DWORD>(part.size()), &written, nullptr);
    }
}

int Rehearse(const Options& options) {
    const Machine machine = ReadMachine(options.pictures);
    if (options.command == "list") {
        Print(WriteList(machine));
        return 0;
    }
    const Foreseen foreseen = Foresee(machine, options.dllName);
    const Findings findings = FindConsequences(machine, foreseen, options.dllName);
    Print(options.brief ? WriteBrief(machine, findings)
                        : WriteReport(machine, foreseen, findings, options.dllName));
    return static_cast<int>(findings.verdict);
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Options options = ParseWords(argc, argv);
        if (options.command.starts_with("--")) {
            Print(options.command == "--help" ? kUsage : "norvane64-rehearse " NORVANE_VERSION "\n");
            return 0;
        }
        return Rehearse(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "norvane64-rehearse: %s\n", Printable(error.what()).c_str());
        return 1;
    }
}
