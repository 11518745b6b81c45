#pragma once
// What configures the library from outside: environment variables, and where the settings file is.
// Programs that only look for it share this too.

#include <windows.h>

#include <string>

#include "automation/RegistryKey.h"

namespace vtdl {

/// The value of a variable; empty when there is none.
inline std::wstring EnvironmentText(const wchar_t* variable) {
    std::wstring text(GetEnvironmentVariableW(variable, nullptr, 0), L'\0');
    text.resize(GetEnvironmentVariableW(variable, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

inline constexpr wchar_t settingsFileName[] = L"VTDL33.Settings.xml";

inline constexpr wchar_t dataFolderVariable[] = L"VTDL_DATA";

inline bool IsDataFolderGiven() {
    return GetEnvironmentVariableW(dataFolderVariable, nullptr, 0) != 0;
}

/// The environment variable VTDL_DATA, else the user's or the machine's registry value, else "C:".
inline std::wstring DataFolder() {
    std::wstring folder = EnvironmentText(dataFolderVariable);
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
        if (folder.empty())
            folder = automation::ReadText(root, L"Software\\Vestora\\VTDL", L"DataFolder");
    return folder.empty() ? L"C:" : folder;
}

}  // namespace vtdl
