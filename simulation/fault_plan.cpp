#include "simulation/fault_plan.h"

#include <algorithm>
#include <climits>
#include <stdexcept>

#include "machine/text.h"

std::optional<int> NextFault(FaultPlan& plan, const std::string& call) {
    std::optional<int> code;
    int number = 0;
    for (PlannedFault& fault : plan.faults) {
        if (fault.call != call) {
            continue;
        }
        if (number == 0) {
            number = ++plan.calls[call];
        }
        if (fault.number == kEachCall || fault.number == number) {
            ++fault.occurrences;
            code = fault.code;
        }
    }
    return code;
}

bool HasOccurred(const FaultPlan& plan, const std::string& call, int code) {
    return std::any_of(plan.faults.begin(), plan.faults.end(), [&](const PlannedFault& fault) {
        return fault.occurrences > 0 && fault.call == call && fault.code == code;
    });
}

PlannedFault ParseFault(std::string text, const std::set<std::string>& known) {
    const std::string call = TakeWord(text);
    if (!known.contains(call)) {
        throw std::runtime_error("not a call that can be made to fail: " + call);
    }
    const int number = static_cast<int>(ParseNumber(TakeWord(text), 1, INT_MAX));
    return {call, number, static_cast<int>(ParseNumber32(text))};
}

std::string FormatFault(const PlannedFault& fault) {
    return std::string(fault.occurrences > 0 ? "failed " : "fail ") + fault.call + " " +
           std::to_string(fault.number) + " " + std::to_string(fault.code) + "\n";
}
