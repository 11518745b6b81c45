#include "automation/TypeInformation.h"

#include "automation/Error.h"

namespace vtdl::automation {

HMODULE Module() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&Module), &module))
        ThrowLastError(L"GetModuleHandleEx");
    return module;
}

std::wstring ModulePath() {
    const HMODULE module = Module();
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) ThrowLastError(L"GetModuleFileName");
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

// Kept for the life of the module and never released: when statics are destroyed, the automation
// library may be gone already.
ITypeLib* TypeLibrary() {
    static ITypeLib* const library = [] {
        ITypeLib* loaded = nullptr;
        Check(LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, &loaded));
        return loaded;
    }();
    return library;
}

ITypeInfo* TypeInformation(REFGUID identifier) {
    ITypeInfo* information = nullptr;
    Check(TypeLibrary()->GetTypeInfoOfGuid(identifier, &information));
    return information;
}

std::wstring TextOf(REFGUID identifier) {
    wchar_t text[40];
    StringFromGUID2(identifier, text, ARRAYSIZE(text));
    return text;
}

}  // namespace vtdl::automation
