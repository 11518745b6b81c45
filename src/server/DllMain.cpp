// The module's entry points.

#include <windows.h>
#include <olectl.h>

#include "automation/ClassTable.h"
#include "automation/Object.h"
#include "server/ClassFactory.h"
#include "server/Registration.h"

using namespace vtdl;

namespace {

template <class Action>
HRESULT registering(Action&& action, server::Scope scope) noexcept {
    try {
        action(scope);
        return S_OK;
    } catch (...) {
        return automation::raise(automation::currentError());
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
    for (const automation::ClassEntry& entry : automation::classTable())
        if (entry.identifier == classId) return server::createFactory(entry, interfaceId, object);
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() { return automation::LiveObject::count() == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() { return registering(server::registerLibrary, server::Scope::machine); }

STDAPI DllUnregisterServer() { return registering(server::unregisterLibrary, server::Scope::machine); }

/// "regsvr32 /n /i:user" registers for the current user, without administrator rights; without
/// "user" it is DllRegisterServer.
STDAPI DllInstall(BOOL isInstall, LPCWSTR commandLine) {
    const bool isUser = commandLine && lstrcmpiW(commandLine, L"user") == 0;
    if (commandLine && *commandLine && !isUser) return E_INVALIDARG;
    return registering(isInstall ? server::registerLibrary : server::unregisterLibrary,
                       isUser ? server::Scope::user : server::Scope::machine);
}
