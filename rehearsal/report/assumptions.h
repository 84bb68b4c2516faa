// What is assumed of a machine that only its description is known of.
#pragma once

#include <string>
#include <vector>

#include "machine/machine.h"

// A sentence for each assumption.
std::vector<std::string> DescribeAssumptions(const Machine& machine);
