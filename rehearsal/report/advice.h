// What to do about the findings of a rehearsal, and about entries that do not work.
#pragma once

#include <string>
#include <vector>

#include "rehearsal/defects.h"
#include "rehearsal/verdict.h"

// The steps, in their order. A step can have more lines.
std::vector<std::string> Advise(const Rehearsal& rehearsal);

// What to do about entries that do not work: a sentence each.
std::vector<std::string> AdviseOnDefects(const std::vector<Defect>& defects);
