#pragma once
// Where the settings file is; programs that only look for it share this too.

#include <windows.h>

#include <string>

#include "automation/RegistryKey.h"

namespace vtdl {

inline constexpr wchar_t settingsFileName[] = L"VTDL33.Settings.xml";

/// The environment variable VTDL_DATA, else the user's or the machine's registry value, else "C:".
inline std::wstring DataFolder() {
    constexpr wchar_t variable[] = L"VTDL_DATA";
    std::wstring folder(GetEnvironmentVariableW(variable, nullptr, 0), L'\0');
    folder.resize(
        GetEnvironmentVariableW(variable, folder.data(), static_cast<DWORD>(folder.size())));
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
        if (folder.empty())
            folder = automation::ReadText(root, L"Software\\Vestora\\VTDL", L"DataFolder");
    return folder.empty() ? L"C:" : folder;
}

}  // namespace vtdl
