// A stand-in for the network configuration object of Windows: a COM DLL, to be registered under
// CLSID_CNetCfg.
#include <initguid.h>
#include <windows.h>
#include <objbase.h>
#include <netcfgx.h>

#include <cwchar>
#include <string>

#include "common/text_conversion.h"
#include "machine/files.h"
#include "simulation/netcfg_calls.h"
#include "simulation/netcfg_state.h"

namespace {

std::string ClassName(const GUID& guid) {
    for (const auto& [name, known] : kComponentClasses) {
        if (*known == guid) {
            return name;
        }
    }
    return "unknown";
}

GUID ClassGuid(const std::string& className) {
    const GUID* guid = FindComponentClass(className);
    return guid == nullptr ? GUID{} : *guid;
}

std::string Utf8(const wchar_t* text) {
    return text == nullptr ? "null" : conv_wchar_to_utf8(text);
}

// A COM object on the heap. All references are counted together, too.
template <class... Interfaces> class Counted : public Interfaces... {
  public:
    virtual ~Counted() = default;

    ULONG STDMETHODCALLTYPE AddRef() override {
        ++configuration.references;
        return static_cast<ULONG>(++references_);
    }

    ULONG STDMETHODCALLTYPE Release() override {
        const int left = --references_;
        if (left == 0) {
            delete this;
        }
        if (--configuration.references == 0) {
            ReleaseMutex(WriteLock()); // in case it was not given back
            Record(std::string("all released: ") + (configuration.locked ? "locked" : "not locked") + ", " +
                   (configuration.initialized ? "initialized" : "not initialized"));
        }
        return static_cast<ULONG>(left);
    }

  private:
    int references_ = 0;
};

template <class I, class T> HRESULT GiveOut(T* object, void** out) {
    I* wanted = object;
    wanted->AddRef();
    *out = wanted;
    return S_OK;
}

// A method that the program never calls.
#define UNUSED(name, ...)                                                                                    \
    HRESULT STDMETHODCALLTYPE name(__VA_ARGS__) override {                                                   \
        return E_NOTIMPL;                                                                                    \
    }                                                                                                        \
    static_assert(true)

class Component : public Counted<INetCfgComponent> {
  public:
    explicit Component(const std::string& componentId) : id(componentId) {}
    const std::string id;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    HRESULT STDMETHODCALLTYPE GetClassGuid(GUID* guid) override {
        return Call("GetClassGuid", id, [&] {
            const NetworkComponent* installed = FindInstalled(id);
            *guid = ClassGuid(installed == nullptr ? "" : installed->componentClass);
            return S_OK;
        });
    }
    // clang-format off
    UNUSED(GetDisplayName, LPWSTR*); UNUSED(SetDisplayName, LPCWSTR); UNUSED(GetHelpText, LPWSTR*);
    UNUSED(GetId, LPWSTR*); UNUSED(GetCharacteristics, LPDWORD); UNUSED(GetInstanceGuid, GUID*);
    UNUSED(GetPnpDevNodeId, LPWSTR*); UNUSED(GetBindName, LPWSTR*); UNUSED(GetDeviceStatus, ULONG*);
    UNUSED(OpenParamKey, HKEY*); UNUSED(RaisePropertyUi, HWND, DWORD, IUnknown*);
    // clang-format on
};

class ComponentClass : public Counted<INetCfgClass, INetCfgClassSetup> {
  public:
    explicit ComponentClass(const std::string& className) : className_(className) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        return Call("QueryInterface", "of the class", [&] {
            return id == IID_INetCfgClassSetup ? GiveOut<INetCfgClassSetup>(this, out) : E_NOINTERFACE;
        });
    }
    HRESULT STDMETHODCALLTYPE DeInstall(INetCfgComponent* component, OBO_TOKEN* token,
                                        LPWSTR* list) override {
        const bool plain = token->Type == OBO_USER && !token->pncc && !token->pszwManufacturer &&
                           !token->fRegistered && !token->pszwProduct && !token->pszwDisplayName &&
                           list == nullptr;
        const std::string id = static_cast<Component*>(component)->id;
        return CallToChange("DeInstall", id + (plain ? ", for the user" : ", for others"),
                            [&] { return Remove(id); });
    }
    // clang-format off
    UNUSED(FindComponent, LPCWSTR, INetCfgComponent**); UNUSED(EnumComponents, IEnumNetCfgComponent**);
    UNUSED(SelectAndInstall, HWND, OBO_TOKEN*, INetCfgComponent**);
    UNUSED(Install, LPCWSTR, OBO_TOKEN*, DWORD, DWORD, LPCWSTR, LPCWSTR, INetCfgComponent**);
    // clang-format on

  private:
    HRESULT Remove(const std::string& id) const {
        const NetworkComponent* installed = FindInstalled(id);
        if (!configuration.locked) {
            return NETCFG_E_NO_WRITE_LOCK;
        }
        if (installed == nullptr || installed->componentClass != className_) {
            return E_INVALIDARG;
        }
        if (installed->removal == "still-referenced") {
            return NETCFG_S_STILL_REFERENCED;
        }
        configuration.restartDue = configuration.restartDue || installed->removal == "wants-restart";
        configuration.state.components.erase(configuration.state.components.begin() +
                                             (installed - configuration.state.components.data()));
        return S_OK;
    }

    const std::string className_;
};

class NetCfg : public Counted<INetCfg, INetCfgLock> {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        if (id == IID_INetCfg || id == IID_IUnknown) {
            return GiveOut<INetCfg>(this, out);
        }
        return Call("QueryInterface", "of the configuration",
                    [&] { return id == IID_INetCfgLock ? GiveOut<INetCfgLock>(this, out) : E_NOINTERFACE; });
    }
    // Reads the components that another program can have changed before the lock was granted.
    HRESULT STDMETHODCALLTYPE Initialize(PVOID) override {
        configuration.state.components = ParseNetcfgState(ReadWholeFile(kNetcfgStateFile)).components;
        return CallToSet("Initialize", configuration.initialized, true);
    }
    HRESULT STDMETHODCALLTYPE Uninitialize() override {
        return CallToSet("Uninitialize", configuration.initialized, false);
    }
    HRESULT STDMETHODCALLTYPE ReleaseWriteLock() override {
        ReleaseMutex(WriteLock());
        return CallToSet("ReleaseWriteLock", configuration.locked, false);
    }
    HRESULT STDMETHODCALLTYPE Apply() override {
        return CallToChange("Apply", "", [] {
            if (!configuration.locked) {
                return NETCFG_E_NO_WRITE_LOCK;
            }
            WriteWholeFile(kNetcfgStateFile, FormatNetcfgState(configuration.state));
            return configuration.restartDue ? NETCFG_S_REBOOT : S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE FindComponent(LPCWSTR id, INetCfgComponent** component) override {
        const std::string name = Utf8(id);
        return Call("FindComponent", name, [&] {
            if (!configuration.initialized) {
                return NETCFG_E_NOT_INITIALIZED;
            }
            if (FindInstalled(name) == nullptr) {
                return S_FALSE;
            }
            return GiveOut<INetCfgComponent>(new Component(name), reinterpret_cast<void**>(component));
        });
    }
    HRESULT STDMETHODCALLTYPE QueryNetCfgClass(const GUID* guid, REFIID id, void** out) override {
        return Call("QueryNetCfgClass", "of the class " + ClassName(*guid), [&] {
            return id == IID_INetCfgClass ? GiveOut<INetCfgClass>(new ComponentClass(ClassName(*guid)), out)
                                          : E_NOINTERFACE;
        });
    }
    HRESULT STDMETHODCALLTYPE AcquireWriteLock(DWORD timeout, LPCWSTR client, LPWSTR* holder) override {
        return Call("AcquireWriteLock", std::to_string(timeout) + ", " + Utf8(client), [&] {
            if (!configuration.state.holder.empty()) {
                const std::wstring wide = conv_utf8_to_wchar(configuration.state.holder.c_str());
                *holder = static_cast<LPWSTR>(CoTaskMemAlloc((wide.size() + 1) * sizeof(wchar_t)));
                std::wcscpy(*holder, wide.c_str());
            }
            configuration.locked = !configuration.state.lockedByOthers &&
                                   WaitForSingleObject(WriteLock(), timeout) != WAIT_TIMEOUT;
            return configuration.locked ? S_OK : S_FALSE;
        });
    }
    // clang-format off
    UNUSED(Cancel); UNUSED(EnumComponents, const GUID*, IEnumNetCfgComponent**);
    UNUSED(IsWriteLocked, LPWSTR*);
    // clang-format on
};

class Factory : public Counted<IClassFactory> {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
        *out = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; } // there is one for the life of the DLL
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** out) override {
        configuration = {};
        configuration.state = ParseNetcfgState(ReadWholeFile(kNetcfgStateFile));
        return Call("CreateInstance", "", [&] {
            auto* made = new NetCfg;
            made->AddRef();
            const HRESULT result = made->QueryInterface(id, out);
            made->Release();
            return result;
        });
    }
    UNUSED(LockServer, BOOL);
};

} // namespace

extern "C" HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID, REFIID id, void** out) {
    static Factory factory;
    return factory.QueryInterface(id, out);
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_DETACH && configuration.references != 0) {
        Record(std::to_string(configuration.references) + " references left");
    }
    return TRUE;
}
