// The "network-component" command: one component out of the machine's network configuration.
#pragma once

#include <windows.h>

// Deinstalls a network component and applies the change, under the configuration's write lock. Each step is
// traced.
//   componentId  the component's id, NUL-terminated
// Returns S_OK, or Apply's own result, when the component is gone; S_FALSE when it was not installed;
// otherwise the code of the step that stopped the removal. A positive status of the deinstalling, such as a
// notice that a restart is due, stops it too: nothing is applied then.
HRESULT HrUninstallNetComponent(const wchar_t* componentId);
