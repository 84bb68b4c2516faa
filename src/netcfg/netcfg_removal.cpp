// Finds the component and its class, and deinstalls it.
#include "netcfg/netcfg_removal.h"

#include "netcfg/netcfg_session.h"
#include "trace/trace_log.h"

namespace {

HRESULT DeInstall(INetCfgClassSetup* classSetup, INetCfgComponent* component) {
    OBO_TOKEN onBehalfOf = {};
    onBehalfOf.Type = OBO_USER;
    Trace("HrUninstallNetComponentHelper: try DeInstall");
    const HRESULT result = classSetup->DeInstall(component, &onBehalfOf, nullptr);
    Trace("HrUninstallNetComponentHelper: DeInstall returns %08X", result);
    return result;
}

HRESULT DeInstallThroughClass(INetCfgClass* classObject, INetCfgComponent* component) {
    INetCfgClassSetup* classSetup = nullptr;
    Trace("HrUninstallNetComponentHelper: try QueryInterface IID_INetCfgClassSetup");
    HRESULT result =
        classObject->QueryInterface(IID_INetCfgClassSetup, reinterpret_cast<void**>(&classSetup));
    Trace("HrUninstallNetComponentHelper: QueryInterface IID_INetCfgClassSetup returns %08X", result);
    result = CheckGiven(result, classSetup);
    if (result == S_OK) {
        result = DeInstall(classSetup, component);
        Trace("HrUninstallNetComponentHelper: try ReleaseObj(pncClassSetup)");
        classSetup->Release();
    }
    return result;
}

HRESULT DeInstallComponent(INetCfg* netCfg, INetCfgComponent* component) {
    GUID classGuid = {};
    Trace("HrUninstallNetComponentHelper: try GetClassGuid");
    HRESULT result = component->GetClassGuid(&classGuid);
    Trace("HrUninstallNetComponentHelper: GetClassGuid returns %08X", result);
    if (result != S_OK) {
        return result;
    }
    INetCfgClass* classObject = nullptr;
    Trace("HrUninstallNetComponentHelper: try QueryNetCfgClass");
    result = netCfg->QueryNetCfgClass(&classGuid, IID_INetCfgClass, reinterpret_cast<void**>(&classObject));
    Trace("HrUninstallNetComponentHelper: QueryNetCfgClass returns %08X", result);
    result = CheckGiven(result, classObject);
    if (result == S_OK) {
        result = DeInstallThroughClass(classObject, component);
        Trace("HrUninstallNetComponentHelper: try ReleaseObj(pncClass)");
        classObject->Release();
    }
    return result;
}

// Applies the change only after S_OK. A positive status, for example that a restart is due, is traced as an
// error and returned.
HRESULT DeInstallAndApply(INetCfg* netCfg, const wchar_t* componentId) {
    Trace("HrUninstallNetComponent: try HrUninstallNetComponentHelper");
    const HRESULT hr = HrUninstallNetComponentHelper(netCfg, componentId);
    if (hr == S_OK) {
        Trace("HrUninstallNetComponent: try Apply");
        return netCfg->Apply();
    }
    if (hr == S_FALSE) {
        Trace("HrUninstallNetComponent: is not installed");
    } else {
        Trace("HrUninstallNetComponent: error=%08X", hr);
    }
    return hr;
}

} // namespace

HRESULT HrUninstallNetComponent(const wchar_t* componentId) {
    INetCfg* netCfg = nullptr;
    Trace("HrUninstallNetComponent: try HrGetINetCfg");
    HRESULT hr = HrGetINetCfg(true, &netCfg);
    if (hr == S_OK) {
        hr = DeInstallAndApply(netCfg, componentId);
        Trace("HrUninstallNetComponent: try HrReleaseINetCfg");
        const HRESULT released = HrReleaseINetCfg(netCfg);
        Trace("HrUninstallNetComponent: HrReleaseINetCfg returns %08X", released);
    }
    Trace("HrUninstallNetComponent: return %08X", hr);
    return hr;
}

HRESULT HrUninstallNetComponentHelper(INetCfg* netCfg, const wchar_t* componentId) {
    INetCfgComponent* component = nullptr;
    Trace("HrUninstallNetComponentHelper: try FindComponent");
    HRESULT result = netCfg->FindComponent(componentId, &component);
    Trace("HrUninstallNetComponentHelper: FindComponent returns %08X", result);
    result = CheckGiven(result, component);
    if (result == S_OK) {
        result = DeInstallComponent(netCfg, component);
        Trace("HrUninstallNetComponentHelper: try ReleaseObj(pncc)");
        component->Release();
    }
    Trace("HrUninstallNetComponentHelper: return %08X", result);
    return result;
}
