// What an action should have released.
#pragma once

#include <functional>
#include <string>

// Runs the action, then ends the planned failures and an impersonation that remains. Returns a line for each
// kind of resource that was not released: blocks of the private heap, starts of COM, the impersonation,
// handles. Handles are not counted when COM was used, because COM keeps some of its own.
std::string ResidueOf(const std::function<void()>& action);
