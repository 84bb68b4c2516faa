// How the defects of a machine are said.
#pragma once

#include <string>
#include <vector>

#include "rehearsal/defects.h"

// Why an entry does not work, as the end of a sentence: "it names the missing id 1011". Empty for one that
// works.
std::string ReasonText(const FaultReason& reason);

// A line for each product: "AcmeShield (acme.dll): its file is missing (10 entries, both catalogs)", and one
// for each catalog without a base provider.
std::vector<std::string> DescribeDefects(const MachineHealth& health);
