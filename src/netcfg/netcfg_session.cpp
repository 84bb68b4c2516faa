#include "netcfg/netcfg_session.h"

#include <exception>
#include <string>

#include "common/text_conversion.h"
#include "trace/trace_log.h"

namespace {

constexpr DWORD kLockTimeoutMilliseconds = 15000;

// The name under which the lock is taken, which support staff know.
constexpr wchar_t kLockClient[] = L"Sample Netcfg Application (netcfg.exe)";

// Tries the multithreaded mode first, then the apartment mode, because CoInitializeEx refuses the first mode
// for a thread that is already in the second.
HRESULT StartCom() {
    Trace("HrGetINetCfg: try CoInitializeEx");
    HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Trace("HrGetINetCfg: CoInitializeEx COINIT_MULTITHREADED return %08X", hr);
    if (FAILED(hr)) {
        Trace("HrGetINetCfg: try CoInitializeEx COINIT_APARTMENTTHREADED");
        hr = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        Trace("HrGetINetCfg: CoInitializeEx COINIT_APARTMENTTHREADED return %08X", hr);
    }
    return hr;
}

// The holder can be unknown (null). The conversion then throws, and this is traced as every failure of the
// conversion.
std::string HolderName(const wchar_t* holder) {
    try {
        return conv_wchar_to_utf8(holder);
    } catch (const std::exception& error) {
        Trace("HrGetINetCfg: string_conv_utf fail '%s'", error.what());
    } catch (...) {
        Trace("HrGetINetCfg: string_conv_utf fail");
    }
    return {};
}

HRESULT AcquireLock(INetCfgLock* lock) {
    wchar_t* holder = nullptr;
    Trace("HrGetINetCfg: try AcquireWriteLock");
    HRESULT hr = lock->AcquireWriteLock(kLockTimeoutMilliseconds, kLockClient, &holder);
    Trace("HrGetINetCfg: AcquireWriteLock return %08X", hr);
    if (hr == S_FALSE) {
        hr = NETCFG_E_NO_WRITE_LOCK;
        Trace("HrGetINetCfg: already locked");
        const std::string name = HolderName(holder);
        if (!name.empty()) {
            Trace("HrGetINetCfg: already locked '%s'", name.c_str());
        }
    }
    if (holder != nullptr) {
        Trace("HrGetINetCfg: try CoTaskMemFree");
        CoTaskMemFree(holder);
    }
    return hr;
}

// Finds the object's lock and takes it.
//   lock  receives the lock, also when it could not be taken; the caller releases it
HRESULT FindAndAcquireLock(INetCfg* netCfg, INetCfgLock** lock) {
    Trace("HrGetINetCfg: try QueryInterface");
    HRESULT hr = netCfg->QueryInterface(IID_INetCfgLock, reinterpret_cast<void**>(lock));
    Trace("HrGetINetCfg: QueryInterface return %08X", hr);
    hr = CheckGiven(hr, *lock);
    return hr == S_OK ? AcquireLock(*lock) : hr;
}

// Initializes the locked object. On success stores it in outNetCfg with a reference of its own; otherwise
// releases the lock.
HRESULT InitializeNetCfg(INetCfg* netCfg, INetCfgLock* lock, INetCfg** outNetCfg) {
    Trace("HrGetINetCfg: try Initialize");
    const HRESULT hr = netCfg->Initialize(nullptr);
    Trace("HrGetINetCfg: Initialize return %08X", hr);
    if (hr == S_OK) {
        *outNetCfg = netCfg;
        Trace("HrGetINetCfg: try AddRef");
        const ULONG references = netCfg->AddRef();
        Trace("HrGetINetCfg: AddRef return %d", references);
    } else if (lock != nullptr) {
        Trace("HrGetINetCfg: try ReleaseWriteLock");
        const HRESULT released = lock->ReleaseWriteLock();
        Trace("HrGetINetCfg: ReleaseWriteLock return %08X", released);
    }
    return hr;
}

// Locks and initializes the object, and releases the reference to it in every case.
HRESULT OpenNetCfg(INetCfg* netCfg, bool getWriteLock, INetCfg** outNetCfg) {
    INetCfgLock* lock = nullptr;
    HRESULT hr = getWriteLock ? FindAndAcquireLock(netCfg, &lock) : S_OK;
    if (hr == S_OK) {
        hr = InitializeNetCfg(netCfg, lock, outNetCfg);
    }
    Trace("HrGetINetCfg: try ReleaseObj pncLock");
    if (lock != nullptr) {
        lock->Release();
    }
    Trace("HrGetINetCfg: try ReleaseObj pnc");
    netCfg->Release();
    return hr;
}

HRESULT ReleaseLock(INetCfg* netCfg) {
    INetCfgLock* lock = nullptr;
    Trace("HrReleaseINetCfg: try QueryInterface");
    HRESULT rel = netCfg->QueryInterface(IID_INetCfgLock, reinterpret_cast<void**>(&lock));
    Trace("HrReleaseINetCfg: QueryInterface return %08X", rel);
    rel = CheckGiven(rel, lock);
    if (rel == S_OK) {
        Trace("HrReleaseINetCfg: try ReleaseWriteLock");
        rel = lock->ReleaseWriteLock();
        Trace("HrReleaseINetCfg: ReleaseWriteLock return %08X", rel);
        Trace("HrReleaseINetCfg: try ReleaseObj(pncLock)");
        lock->Release();
    }
    return rel;
}

} // namespace

HRESULT HrGetINetCfg(bool getWriteLock, INetCfg** outNetCfg) {
    *outNetCfg = nullptr;
    HRESULT hr = StartCom();
    if (FAILED(hr)) {
        Trace("HrGetINetCfg: return %08X", hr);
        return hr;
    }
    INetCfg* netCfg = nullptr;
    Trace("HrGetINetCfg: try CoCreateInstance");
    hr = CoCreateInstance(CLSID_CNetCfg, nullptr, CLSCTX_INPROC_SERVER, IID_INetCfg,
                          reinterpret_cast<void**>(&netCfg));
    Trace("HrGetINetCfg: CoCreateInstance return %08X", hr);
    hr = CheckGiven(hr, netCfg);
    if (hr == S_OK) {
        hr = OpenNetCfg(netCfg, getWriteLock, outNetCfg);
        if (hr == S_OK) {
            Trace("HrGetINetCfg: return %08X", hr);
            return hr;
        }
    }
    Trace("HrGetINetCfg: try CoUninitialize");
    CoUninitialize();
    Trace("HrGetINetCfg: return %08X", hr);
    return hr;
}

HRESULT HrReleaseINetCfg(INetCfg* netCfg) {
    Trace("HrReleaseINetCfg: try Uninitialize");
    HRESULT rel = netCfg->Uninitialize();
    Trace("HrReleaseINetCfg: Uninitialize return %08X", rel);
    if (rel == S_OK) {
        rel = ReleaseLock(netCfg);
    }
    Trace("HrReleaseINetCfg: try ReleaseObj(pnc)");
    netCfg->Release();
    Trace("HrReleaseINetCfg: try CoUninitialize");
    CoUninitialize();
    Trace("HrReleaseINetCfg: return %08X", rel);
    return rel;
}
