#include "rehearsal/advice.h"

#include <algorithm>

#include "machine/lsp_list.h"
#include "machine/text_sections.h"
#include "machine/utf8_text.h"
#include "rehearsal/removal_order.h"

namespace {

using Texts = std::vector<std::string>;

constexpr char kReset[] =
    "\"netsh winsock reset\" and a restart, which remove every LSP; then reinstall the products "
    "that are still wanted";
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
        std::erase(products, step.product);
        products.push_back(step.product);
        others.insert(others.end(), step.dllName == steps.back().dllName ? 0 : 1, step.product);
    }
    const std::string all = Joined(products);
    return {kBackup, "Uninstall these products with their own uninstallers, in this order: " + all,
            WriteSteps(steps), kCheck,
            "Reinstall these products if they are still wanted: " +
                (others.empty() ? "none" : Joined(others))};
}

Texts AdviseOnBroken(const Rehearsal& rehearsal) {
    const RemovalOrder order = FindRemovalOrder(rehearsal);
    if (!order.steps.empty()) {
        return AdviseOnOrder(order.steps);
    }
    if (order.runs > 0) {
        return {kBackup,
                "Run the command " + std::to_string(order.runs) + " times: " +
                    CommandFor(FromAnsi(rehearsal.dllName)) + ". Afterwards what remains works as before",
                kCheck};
    }
    return {"No order of removals avoids this" + (order.obstacle.empty() ? "" : ": " + order.obstacle),
            std::string("Uninstall the products with their own uninstallers. Where that is not possible: ") +
                kReset};
}

// What to do about what remains after the command.
Texts AdviseOnRemainders(const std::vector<Remainder>& remainders) {
    Texts files;
    bool inCatalog = false;
    for (const Remainder& remainder : remainders) {
        inCatalog = inCatalog || (remainder.inCatalog && !remainder.byRunningAgain);
        files.insert(files.end(), remainder.deletable.empty() ? 0 : 1, remainder.deletable);
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
    const std::string name = FromAnsi(rehearsal.dllName);
    if (rehearsal.verdict == Verdict::kBreaksNetworking) {
        return AdviseOnBroken(rehearsal);
    }
    const bool again = std::any_of(remainders.begin(), remainders.end(),
                                   [](const Remainder& each) { return each.byRunningAgain; });
    Texts advice = {SuggestNames(rehearsal.machine.state, name)};
    if (rehearsal.foreseen.found) {
        advice = {kBackup,
                  "Run in an elevated console: " + CommandFor(name) +
                      (again ? ", and again until the rehearsal says NOTHING TO DO" : ""),
                  kCheck};
    }
    const Texts more = AdviseOnRemainders(remainders);
    advice.insert(advice.end(), more.begin(), more.end());
    return advice;
}
