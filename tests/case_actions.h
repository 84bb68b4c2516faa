// The actions of the cases in process: each calls a function of the product and returns its result as text.
#pragma once

#include <vector>

#include "support/case_file.h"

// All actions. They throw std::exception for arguments that they do not know.
const std::vector<Step>& Actions();
