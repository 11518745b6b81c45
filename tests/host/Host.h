#pragma once
// What a host written in C++ needs to use the library.

#include <gtest/gtest.h>
#include <vtdl.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "automation/Bstr.h"
#include "automation/ComPtr.h"

namespace vtdl::tests {

using automation::Bstr;
using automation::ComPtr;

inline void Check(HRESULT hr, const char* call = "call") {
    if (SUCCEEDED(hr)) return;
    char text[200];
    std::snprintf(text, sizeof text, "%s failed: 0x%08lX", call, hr);
    throw std::runtime_error(text);
}

inline std::wstring Environment(const wchar_t* name) {
    std::wstring text(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

template <class I>
ComPtr<I> Create(const std::wstring& progId) {
    CLSID classId;
    ComPtr<I> object;
    Check(CLSIDFromProgID(progId.c_str(), &classId), "CLSIDFromProgID");
    Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(I),
                           reinterpret_cast<void**>(object.put())),
          "CoCreateInstance");
    return object;
}

/// A variant that is freed; texts and dates as a host passes them.
class Value {
public:
    Value() { VariantInit(&m_value); }
    Value(const wchar_t* text) : Value() {
        m_value.bstrVal = Bstr(text).release();
        m_value.vt = VT_BSTR;
    }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    ~Value() { VariantClear(&m_value); }

    VARIANT* operator&() { return &m_value; }
    const VARIANT& get() const { return m_value; }

private:
    VARIANT m_value;
};

/// An apartment for the time of a test.
class HostTest : public testing::Test {
protected:
    HostTest() { CoInitialize(nullptr); }
    ~HostTest() override { CoUninitialize(); }
};

}  // namespace vtdl::tests
