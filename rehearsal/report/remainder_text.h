// How it is said what would remain.
#pragma once

#include <string>
#include <vector>

#include "rehearsal/verdict.h"

// A line for each remainder.
std::vector<std::string> DescribeRemainders(const Rehearsal& rehearsal);
