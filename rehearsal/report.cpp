#include "rehearsal/report.h"

#include "machine/catalog_drawing.h"
#include "machine/utf8_text.h"

namespace {

constexpr char kDamaged[] = "Warnings: this is damaged, or not as Windows writes it";
constexpr char kAboutBreaks[] =
    "  What to do: reinstall the products that have these DLLs, other than the one that is removed; or "
    "\"netsh winsock reset\", which removes every LSP, and a restart.\n";
constexpr char kAboutLeaves[] =
    "  What to do, where no line says it: the uninstaller of the product takes out what stays in a catalog; "
    "a file can be deleted by hand, after the restart, when no catalog and no other program needs it.\n";

// A heading with its lines, and what to do about them; empty without lines.
std::string Section(const char* heading, const std::vector<std::string>& lines, const char* advice = "") {
    std::string text = lines.empty() ? "" : std::string("\n") + heading + "\n";
    for (const std::string& line : lines) {
        text += "  - " + Printable(line) + "\n";
    }
    return text + (lines.empty() ? "" : advice);
}

std::string FileFate(const Foreseen& foreseen) {
    if (foreseen.dllPath.empty()) {
        return "No DLL is deleted.\n";
    }
    return (foreseen.fileGoes ? "The DLL is deleted, at the next start if it is in use: "
                              : "The DLL is not deleted: ") +
           Shown(foreseen.dllPath) + "\n";
}

std::vector<std::string> TakenForGranted(const Machine& machine, const Foreseen& foreseen) {
    std::vector<std::string> granted = {"that Windows grants each call"};
    if (!machine.live && !foreseen.dllPath.empty()) {
        granted.push_back("that the DLL exists, and that code page and Windows folder are this machine's");
        if (!machine.hasCounts) {
            granted.push_back("that no shared count holds the DLL: no picture has the key SharedDLLs");
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
    text += Section("This breaks", findings.breaks, kAboutBreaks);
    text += Section("This stays", findings.leaves, kAboutLeaves);
    text += Section("This is broken already", findings.already);
    text += Section("Not meant by the command", findings.hints);
    text += Section(kDamaged, machine.warnings) +
            Section("Taken for granted", TakenForGranted(machine, foreseen));
    text += "\nThe catalogs before\n" + DrawCatalogs(machine.state) + "\nThe catalogs after\n" +
            DrawCatalogs(foreseen.after) + "\nThe trace of the command\n\n";
    for (const std::string& message : foreseen.trace) {
        text += Printable(message, L'\n') + "\n";
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
           Section(kDamaged, machine.warnings);
}
