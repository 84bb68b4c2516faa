#include "report.h"

#include "names.h"
#include "winsock/catalog_drawing.h"

namespace {

std::string Section(const char* heading, const std::vector<std::string>& lines) {
    std::string text = lines.empty() ? "" : std::string("\n") + heading + "\n";
    for (const std::string& line : lines) {
        text += "  - " + Printable(line) + "\n";
    }
    return text;
}

std::string Warnings(const Machine& machine) {
    return Section("Warnings: this is damaged, or not as Windows writes it", machine.warnings);
}

std::string FileFate(const Foreseen& foreseen) {
    return foreseen.dllPath.empty() ? "No DLL is deleted.\n"
           : foreseen.fileGoes
               ? "The DLL is deleted, at the next start if it is in use: " + Shown(foreseen.dllPath) + "\n"
               : "The DLL is not deleted: " + Shown(foreseen.dllPath) + "\n";
}

std::vector<std::string> TakenForGranted(const Machine& machine, const Foreseen& foreseen) {
    std::vector<std::string> granted = {"that Windows grants each call"};
    if (!machine.live && !foreseen.dllPath.empty()) {
        granted.push_back("that the DLL exists, and that the folders of Windows and the code page are those "
                          "of this machine");
        if (machine.sharedCounts.empty()) {
            granted.push_back(
                "that no shared count holds the DLL, as no picture has any (the key SharedDLLs)");
        }
    }
    return granted;
}

} // namespace

std::string WriteReport(const Machine& machine, const Foreseen& foreseen, const Findings& findings,
                        const std::string& dllName) {
    const bool changes = findings.gone64 + findings.gone32 > 0;
    std::string text = std::string(VerdictText(findings.verdict)) + ": \"remove lsp " +
                       (dllName.empty() ? "\"\"" : Printable(FromAnsi(dllName))) + "\" on " +
                       Printable(machine.name) + "\n\n";
    text += "Entries that go: " + std::to_string(findings.gone64) + " of the 64-bit catalog, " +
            std::to_string(findings.gone32) + " of the 32-bit catalog.\n" + FileFate(foreseen);
    text += dllName.find_first_of("\\/:") == std::string::npos
                ? ""
                : "The name has to be a bare file name, without a folder.\n";
    text += changes ? "A restart is due afterwards: programs that run keep the old catalogs.\n"
                    : "No restart is due.\n";
    text += Section("This breaks", findings.breaks);
    text += findings.breaks.empty()
                ? ""
                : "  What to do: reinstall the products that have these DLLs, other than the one that is "
                  "removed; or \"netsh winsock reset\", which removes every LSP, and a restart.\n";
    text += Section("This stays", findings.leaves) + Section("This is broken already", findings.already) +
            Section("Letter case counts in the name. There is", findings.hints);
    text += Warnings(machine) + Section("Taken for granted", TakenForGranted(machine, foreseen));
    text += "\nThe catalogs before\n" + DrawCatalogs(machine.state) + "\nThe catalogs after\n" +
            DrawCatalogs(foreseen.after) + "\nThe trace of the command\n\n";
    for (const std::string& message : foreseen.trace) {
        text += Printable(message, '\n') + "\n";
    }
    return text;
}

std::string WriteBrief(const Machine& machine, const Findings& findings) {
    std::string text = Printable(machine.name) + "\t" + VerdictText(findings.verdict);
    for (const size_t count : {findings.gone64, findings.gone32, findings.leaves.size(),
                               findings.breaks.size(), machine.warnings.size()}) {
        text += "\t" + std::to_string(count);
    }
    return text + "\n";
}

std::string WriteList(const Machine& machine) {
    return "The Winsock catalogs of " + Printable(machine.name) + "\n" + DrawCatalogs(machine.state) +
           Warnings(machine);
}
