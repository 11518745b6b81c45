#pragma once
// Keys of the registry.

#include <windows.h>

#include <string>

#include "automation/UniqueHandle.h"

namespace vtdl::automation {

using RegistryKey = UniqueHandle<HKEY, RegCloseKey>;

/// A key for reading, or for what is asked; null when it is missing or denied.
inline RegistryKey OpenKey(HKEY root, const std::wstring& path, REGSAM access = KEY_READ) {
    HKEY handle = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, access, &handle) != ERROR_SUCCESS) return {};
    return RegistryKey(handle);
}

/// A text value; empty when there is none. A null name is the key's default value.
inline std::wstring ReadText(HKEY root, const std::wstring& path, const wchar_t* name) {
    wchar_t text[1024];
    DWORD size = sizeof text;
    const LSTATUS status =
        RegGetValueW(root, path.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size);
    return status == ERROR_SUCCESS ? text : std::wstring();
}

}  // namespace vtdl::automation
