#include "rehearsal/report/answer.h"

#include "rehearsal/report/list.h"
#include "rehearsal/report/report.h"

Answer AnswerTo(const Arguments& arguments, const Machine& machine) {
    if (arguments.command == "list") {
        const MachineHealth health = Examine(machine);
        return {arguments.brief ? BriefListText(machine, health) : ListText(machine, health, arguments.full),
                static_cast<int>(JudgeMachine(machine, health))};
    }
    const Rehearsal rehearsal = Rehearse(machine, arguments.dllName);
    return {arguments.brief ? WriteBrief(rehearsal) : WriteReport(rehearsal, arguments.full),
            static_cast<int>(rehearsal.verdict)};
}
