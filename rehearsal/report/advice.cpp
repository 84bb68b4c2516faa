#include "rehearsal/report/advice.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "machine/text.h"
#include "rehearsal/removal_order.h"
#include "rehearsal/report/command_text.h"
#include "rehearsal/report/names.h"
#include "rehearsal/report/report.h"

namespace {

using Texts = std::vector<std::string>;

constexpr char kReset[] = "\"netsh winsock reset\" and a restart, which remove every LSP and rebuild the "
                          "catalogs; then reinstall the products that are still wanted";
constexpr char kCheck[] = "Restart, and check the machine: norvane64-rehearse list";
constexpr char kBackup[] =
    "Back up: reg export HKLM\\SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters winsock.reg /y";

std::string WriteSteps(const std::vector<RemovalStep>& steps) {
    std::string text =
        "Where that is not possible, run these commands in an elevated console, in this order:";
    size_t width = 0;
    for (const RemovalStep& step : steps) {
        width = std::max(width, CommandFor(step.dllName).size() + 3);
    }
    for (const RemovalStep& step : steps) {
        const std::string command = CommandFor(step.dllName);
        text += "\n       " + command + std::string(width - command.size(), ' ') + VerdictText(step.verdict);
    }
    return text;
}

Texts AdviseOnOrder(const std::vector<RemovalStep>& steps) {
    Texts products;
    Texts others; // than the one that is to be removed
    for (const RemovalStep& step : steps) {
        const std::string product =
            step.product ? NameOf(*step.product) : "the layered entries without an LSP";
        std::erase(products, product);
        products.push_back(product);
        others.insert(others.end(), step.dllName == steps.back().dllName ? 0 : 1, product);
    }
    return {
        kBackup, "Uninstall these products with their own uninstallers, in this order: " + Joined(products),
        WriteSteps(steps), kCheck,
        "Reinstall these products if they are still wanted: " + (others.empty() ? "none" : Joined(others))};
}

std::string ObstacleText(const RemovalOrder& order) {
    const std::string product = NameOf(order.inTheWay);
    switch (order.obstacle) {
    case Obstacle::kTooManyOrCircle:
        return ": too many LSPs lie over one another, or in a circle";
    case Obstacle::kOnly32Bit:
        return ": only the 32-bit catalog has " + product;
    case Obstacle::kNotFound:
        return ": the command does not find " + product;
    case Obstacle::kBreaks:
        return ": the removal of " + product + " would break networking, too";
    case Obstacle::kNone:
        break;
    }
    return "";
}

Texts AdviseOnBroken(const Rehearsal& rehearsal) {
    const RemovalOrder order = FindRemovalOrder(rehearsal);
    if (!order.steps.empty()) {
        return AdviseOnOrder(order.steps);
    }
    if (order.runs > 0) {
        return {kBackup,
                "Run the command " + std::to_string(order.runs) +
                    " times: " + CommandFor(conv_to_wchar(rehearsal.dllName.c_str())) +
                    ". Afterwards what remains works as before",
                kCheck};
    }
    return {"No order of removals avoids this" + ObstacleText(order),
            std::string("Uninstall the products with their own uninstallers. Where that is not possible: ") +
                kReset};
}

// What to do about what remains after the command.
Texts AdviseOnRemainders(const std::vector<Remainder>& remainders) {
    Texts files;
    bool inCatalog = false;
    for (const Remainder& remainder : remainders) {
        inCatalog = inCatalog || remainder.kind == RemainderKind::kNamespace ||
                    (remainder.kind == RemainderKind::kEntry && !remainder.byRunningAgain);
        if (remainder.deletable) {
            files.push_back(Shown(remainder.opened));
        }
    }
    Texts advice;
    if (!files.empty()) {
        advice.push_back("After the restart, delete by hand: " + Joined(files));
    }
    if (inCatalog) {
        advice.push_back(
            std::string(
                "Uninstall the rest of the product with its own uninstaller. Where that is not possible, "
                "nothing is left but ") +
            kReset);
    }
    return advice;
}

} // namespace

std::vector<std::string> Advise(const Rehearsal& rehearsal) {
    const std::vector<Remainder>& remainders = rehearsal.remainders;
    const std::wstring name = conv_to_wchar(rehearsal.dllName.c_str());
    if (rehearsal.verdict == Verdict::kBreaksNetworking) {
        return AdviseOnBroken(rehearsal);
    }
    const bool again =
        std::ranges::any_of(remainders, [](const Remainder& each) { return each.byRunningAgain; });
    Texts advice = {SuggestNames(rehearsal.machine.catalogs, name)};
    if (rehearsal.run.found) {
        advice = {kBackup,
                  "Run in an elevated console: " + CommandFor(name) +
                      (again ? ", and again until the rehearsal says NOTHING TO DO" : ""),
                  kCheck};
    }
    const Texts more = AdviseOnRemainders(remainders);
    advice.insert(advice.end(), more.begin(), more.end());
    return advice;
}

std::vector<std::string> AdviseOnDefects(const std::vector<Defect>& defects) {
    std::set<std::wstring> names;
    bool orphans = false;
    bool others = false;
    for (const Defect& defect : defects) {
        orphans = orphans || defect.isOrphan;
        others = others || (!defect.isOrphan && defect.dllName.empty());
        if (!defect.isOrphan && !defect.dllName.empty()) {
            names.insert(defect.dllName);
        }
    }
    Texts advice;
    for (const std::wstring& name : names) {
        advice.push_back("Reinstall the product of " + Shown(name) +
                         ", or rehearse its removal: norvane64-rehearse lsp " + Typed(name));
    }
    if (orphans) {
        advice.push_back("Rehearse the removal of the layered entries without an LSP: norvane64-rehearse "
                         "lsp \"\" (in PowerShell '\"\"')");
    }
    if (others) {
        advice.push_back(std::string("The command cannot repair every entry: ") + kReset);
    }
    return advice;
}
