// The module's entry points.

#include <olectl.h>
#include <pthread.h>
#include <windows.h>

#include <array>
#include <cstring>
#include <new>

#include "automation/ClassTable.h"
#include "automation/Object.h"
#include "server/Registration.h"
#include "settings/SharedSettings.h"

using namespace vtdl;

// Of the compiler's start-up code and threads, which declare them to nobody.
extern "C" IMAGE_DOS_HEADER __ImageBase;
extern "C" const IMAGE_TLS_DIRECTORY _tls_used;
extern "C" void* __pth_gpointer_locked(pthread_t thread);

namespace __gnu_cxx {
void __freeres() noexcept;  // what exceptions have when there is no other memory
}

namespace {

// Makes objects of a row of the class table.
class ClassFactory final : public IClassFactory, private automation::LiveObject {
public:
    explicit ClassFactory(const automation::ClassEntry& entry) : m_entry(entry) {}

    STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
        if (!object) return E_POINTER;
        *object = id == __uuidof(IUnknown) || id == __uuidof(IClassFactory) ? this : nullptr;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP_(ULONG) AddRef() noexcept override {
        return static_cast<ULONG>(InterlockedIncrement(&m_references));
    }

    STDMETHODIMP_(ULONG) Release() noexcept override {
        const long left = InterlockedDecrement(&m_references);
        if (left == 0) delete this;
        return static_cast<ULONG>(left);
    }

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) noexcept override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        ApplyErrorHandlerSettingsOnce();  // nothing fails before it is known how that is reported
        return m_entry.create(id, object);
    }

    STDMETHODIMP LockServer(BOOL isLocked) noexcept override {
        if (isLocked)
            Lock();
        else
            Unlock();
        return S_OK;
    }

private:
    ~ClassFactory() = default;

    const automation::ClassEntry& m_entry;
    long m_references = 1;
};

HRESULT CreateFactory(const automation::ClassEntry& entry, REFIID interfaceId,
                      void** factory) noexcept {
    auto* created = new (std::nothrow) ClassFactory(entry);
    if (!created) return E_OUTOFMEMORY;
    const HRESULT hr = created->QueryInterface(interfaceId, factory);
    created->Release();
    return hr;
}

template <class Action>
HRESULT Registering(Action&& action, server::Scope scope) noexcept {
    try {
        action(scope);
        return S_OK;
    } catch (...) {
        return automation::Raise(automation::CurrentError());
    }
}

#if defined(__i386__)
// The compiler's start-up code gives the module's unwind tables to libgcc_s_dw2-1.dll when a host
// has loaded that, but exceptions here are unwound by the module's own unwinder: it has to know
// them too. They are the section that the module's headers name.
const void* ForeignlyRegisteredFrames(HINSTANCE module) noexcept {
    if (!GetModuleHandleW(L"libgcc_s_dw2-1.dll")) return nullptr;
    const auto* base = reinterpret_cast<const BYTE*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(headers);
    for (WORD i = 0; i < headers->FileHeader.NumberOfSections; ++i, ++section)
        if (std::memcmp(section->Name, ".eh_fram", sizeof section->Name) == 0)
            return base + section->VirtualAddress;
    return nullptr;
}

extern "C" void __register_frame(const void* begin);
extern "C" void __deregister_frame(const void* begin);

const void* frames = nullptr;

void RegisterFrames(HINSTANCE module) noexcept {
    frames = ForeignlyRegisteredFrames(module);
    if (frames) __register_frame(frames);
}

void DeregisterFrames() noexcept {
    if (frames) __deregister_frame(frames);
}
#else
void RegisterFrames(HINSTANCE) noexcept {}
void DeregisterFrames() noexcept {}
#endif

// Semaphores of the compiler's threads, which alone make some by this function, and keep them.
std::array<HANDLE, 16> semaphores{};
LONG semaphoreCount = 0;

HANDLE WINAPI MakeSemaphore(LPSECURITY_ATTRIBUTES rights, LONG initial, LONG most,
                            LPCSTR) noexcept {
    const HANDLE made = CreateSemaphoreW(rights, initial, most, nullptr);
    const auto index = static_cast<std::size_t>(InterlockedIncrement(&semaphoreCount) - 1);
    if (index < semaphores.size()) semaphores[index] = made;
    return made;
}

// What the compiler's threads take of the process when an object or an exception is made, nobody
// gives back: a slot, those semaphores, and two handles of the thread that unloads the library.
// After a thousand times the process would have no slot left, and be ended. Made before everything
// else, so that its end is last.
struct ThreadRuntime {
    bool isUnloading = false;

    ThreadRuntime() = default;
    ThreadRuntime(const ThreadRuntime&) = delete;
    ThreadRuntime& operator=(const ThreadRuntime&) = delete;
    ~ThreadRuntime() {
        if (!isUnloading) return;  // but the process ends
        constexpr DWORD slots = TLS_MINIMUM_AVAILABLE + 1024;
        const void* const own = __pth_gpointer_locked(pthread_self());
        DWORD slot = 0;
        while (slot < slots && TlsGetValue(slot) != own) ++slot;
        const auto* callback =
            reinterpret_cast<const PIMAGE_TLS_CALLBACK*>(_tls_used.AddressOfCallBacks);
        for (; *callback; ++callback) (*callback)(&__ImageBase, DLL_THREAD_DETACH, nullptr);
        if (slot < slots) TlsFree(slot);
        for (const HANDLE semaphore : semaphores)
            if (semaphore) CloseHandle(semaphore);
        __gnu_cxx::__freeres();
    }
} threadRuntime __attribute__((init_priority(101)));

}  // namespace

#if defined(__i386__)
#define VTDL_IMPORTED(name, arguments) asm("__imp__" name "@" arguments)
#else
#define VTDL_IMPORTED(name, arguments) asm("__imp_" name)
#endif
// In place of the system's, for whoever the linker puts into this module.
extern "C" {
extern decltype(&MakeSemaphore)
    const importedCreateSemaphore VTDL_IMPORTED("CreateSemaphoreA", "16");
decltype(&MakeSemaphore) const importedCreateSemaphore = MakeSemaphore;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID isProcessEnding) {
    if (reason == DLL_PROCESS_ATTACH) {
        DisableThreadLibraryCalls(module);
        RegisterFrames(module);
    } else if (reason == DLL_PROCESS_DETACH && !isProcessEnding) {
        DeregisterFrames();
        threadRuntime.isUnloading = true;
    }
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID interfaceId, LPVOID* object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    for (const automation::ClassEntry& entry : automation::ClassTable())
        if (entry.identifier == classId) return CreateFactory(entry, interfaceId, object);
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
