// What to do about the findings of a rehearsal.
#pragma once

#include <string>
#include <vector>

#include "rehearsal/verdict.h"

// The steps, in their order. A step can have more lines.
std::vector<std::string> Advise(const Rehearsal& rehearsal);
