// The "network-component" command: removes one component from the network configuration of the machine.
#pragma once

#include <windows.h>

struct INetCfg;

// Deinstalls a network component and applies the change, under the write lock of the configuration. Each step
// is traced.
//   componentId  the id of the component, NUL-terminated
// Returns the result of Apply when the component was deinstalled, S_FALSE when it is not installed, otherwise
// the code of the step that failed. A positive status of DeInstall, for example that a restart is due, also
// ends the removal, and the change is not applied.
HRESULT HrUninstallNetComponent(const wchar_t* componentId);

// Deinstalls a network component through its class, without applying the change. Each step is traced.
//   netCfg       initialized and locked; the caller keeps its reference
//   componentId  the id of the component, NUL-terminated
// Returns the result of DeInstall, S_FALSE when the component is not installed, otherwise the code of the
// step that failed.
HRESULT HrUninstallNetComponentHelper(INetCfg* netCfg, const wchar_t* componentId);
