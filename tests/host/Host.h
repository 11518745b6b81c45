#pragma once
// What a host written in C++ needs to use the library.

#include <gtest/gtest.h>
#include <vtdl.h>

#include "support/Com.h"

namespace vtdl::tests {

inline std::wstring Environment(const wchar_t* name) {
    std::wstring text(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

template <class I>
Ptr<I> Create(const std::wstring& className) {
    return Ptr<I>((L"vtdl." + className).c_str(), nullptr, CLSCTX_INPROC_SERVER);
}

/// An apartment for the time of a test, and the library as a module.
class HostTest : public testing::Test {
protected:
    HostTest() { CoInitialize(nullptr); }
    ~HostTest() override { CoUninitialize(); }

    template <class... Arguments>
    static HRESULT Call(const char* name, Arguments... arguments) {
        const HMODULE module = LoadLibraryW(Environment(L"VTDL_DLL").c_str());
        const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(Arguments...)>(
            reinterpret_cast<void*>(GetProcAddress(module, name)));
        const HRESULT hr = function(arguments...);
        FreeLibrary(module);
        return hr;
    }
};

}  // namespace vtdl::tests
