// How the defects of a machine are said.
#pragma once

#include <string>
#include <vector>

#include "rehearsal/defects.h"

// Why an entry does not work, as the end of a sentence: "it names the missing id 1011". Empty for one that
// works.
std::string ReasonText(const FaultReason& reason);

// A line for each defect: "both catalogs: 1021 Filter over Example TCP, of Filter (filterlsp.dll): it names
// the missing id 1011".
std::vector<std::string> DescribeDefects(const std::vector<Defect>& defects);
