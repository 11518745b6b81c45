#pragma once
// The environment variables that configure the library for one process.

#include <windows.h>

#include <string>

namespace vtdl {

/// The value of a variable; empty when there is none.
inline std::wstring EnvironmentText(const wchar_t* variable) {
    std::wstring text(GetEnvironmentVariableW(variable, nullptr, 0), L'\0');
    text.resize(GetEnvironmentVariableW(variable, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

}  // namespace vtdl
