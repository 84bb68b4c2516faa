// Calls that fail on purpose: which call, which time, with which code, and whether the failure occurred.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

constexpr int kEachCall = -1; // as the number of a planned fault

struct PlannedFault {
    std::string call; // the name of a function or method
    int number;       // the call that fails, from 1 on; or kEachCall
    int code;
    int occurrences = 0; // how often it failed
};

struct FaultPlan {
    std::vector<PlannedFault> faults;
    std::map<std::string, int> calls; // how often each call with a planned fault was made
};

// Counts a call. Returns the code with which it fails, or nothing; the fault then has occurred.
std::optional<int> NextFault(FaultPlan& plan, const std::string& call);

// Whether a fault of that call with that code occurred.
bool HasOccurred(const FaultPlan& plan, const std::string& call, int code);

// Reads "fail CALL NUMBER CODE", or "failed ..." for a fault that occurred, without its first word. Throws
// std::runtime_error, also for a call that is none of known.
PlannedFault ParseFault(std::string text, const std::set<std::string>& known);

// Writes a line of a state that ParseFault reads, with its first word.
std::string FormatFault(const PlannedFault& fault);
