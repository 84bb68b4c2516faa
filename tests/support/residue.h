// What an action should have given back.
#pragma once

#include <functional>
#include <string>

// Runs the action, and ends the planned failures and what impersonation it left. Returns a line for each kind of thing that is
// left: blocks of the private heap, starts of COM, the impersonation, handles. Handles are not counted where COM was used,
// which keeps some of its own.
std::string ResidueOf(const std::function<void()>& action);
