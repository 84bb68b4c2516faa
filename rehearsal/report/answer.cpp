#include "rehearsal/report/answer.h"

#include "rehearsal/report/list.h"
#include "rehearsal/report/report.h"

namespace {

constexpr int kDefect = 5; // of "list"

} // namespace

Answer AnswerTo(const Arguments& arguments, const Machine& machine) {
    if (arguments.command == "list") {
        const MachineHealth health = Examine(machine);
        const size_t faults = CountFaults(health.catalog64) + CountFaults(health.catalog32);
        return {ListText(machine, health), faults == 0 ? 0 : kDefect};
    }
    const Rehearsal rehearsal = Rehearse(machine, arguments.dllName);
    return {arguments.brief ? WriteBrief(rehearsal) : WriteReport(rehearsal, arguments.full),
            static_cast<int>(rehearsal.verdict)};
}
