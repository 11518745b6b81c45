// The module's entry points.

#include <olectl.h>
#include <windows.h>

#include "automation/ClassTable.h"
#include "automation/Object.h"
#include "server/ClassFactory.h"
#include "server/Registration.h"

using namespace vtdl;

namespace {

template <class Action>
HRESULT Registering(Action&& action, server::Scope scope) noexcept {
    try {
        action(scope);
        return S_OK;
    } catch (...) {
        return automation::Raise(automation::CurrentError());
    }
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID interfaceId, LPVOID* object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    for (const automation::ClassEntry& entry : automation::ClassTable())
        if (entry.identifier == classId) return server::CreateFactory(entry, interfaceId, object);
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() { return automation::LiveObject::Count() == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() { return Registering(server::RegisterLibrary, server::Scope::machine); }

STDAPI DllUnregisterServer() {
    return Registering(server::UnregisterLibrary, server::Scope::machine);
}

/// "regsvr32 /n /i:user" registers for the current user, without administrator rights; without
/// "user" it is DllRegisterServer.
STDAPI DllInstall(BOOL isInstall, LPCWSTR commandLine) {
    const bool isUser = commandLine && lstrcmpiW(commandLine, L"user") == 0;
    if (commandLine && *commandLine && !isUser) return E_INVALIDARG;
    return Registering(isInstall ? server::RegisterLibrary : server::UnregisterLibrary,
                       isUser ? server::Scope::user : server::Scope::machine);
}
