#pragma once
// An owned variant, and the conversions that hosts' values go through.

#include <string>
#include <string_view>
#include <utility>

#include "automation/Bstr.h"
#include "automation/Platform.h"

namespace vtdl::automation {

class Variant {
public:
    Variant() noexcept { VariantInit(&m_value); }
    Variant(const Variant& other) : Variant(other.m_value) {}
    Variant(Variant&& other) noexcept : m_value(other.m_value) { VariantInit(&other.m_value); }
    /// A copy of the value, with references resolved (script variables arrive as references).
    explicit Variant(const VARIANT& value);
    explicit Variant(std::wstring_view text) : Variant() {
        m_value.bstrVal = Bstr(text).release();
        m_value.vt = VT_BSTR;
    }
    /// Takes the text over.
    explicit Variant(Bstr text) noexcept : Variant() {
        m_value.bstrVal = text.release();
        m_value.vt = VT_BSTR;
    }
    explicit Variant(IDispatch* object) noexcept;
    ~Variant() { VariantClear(&m_value); }

    Variant& operator=(Variant other) noexcept {
        std::swap(m_value, other.m_value);
        return *this;
    }

    static Variant Long(long value) noexcept;
    static Variant Bool(bool value) noexcept;
    static Variant Double(double value) noexcept;
    static Variant Date(double automationDate) noexcept;
    /// Takes the array over.
    static Variant Array(VARTYPE elementType, SAFEARRAY* elements) noexcept;

    const VARIANT& get() const noexcept { return m_value; }
    VARIANT* put() noexcept { return &m_value; }
    bool IsObject() const noexcept { return m_value.vt == VT_DISPATCH || m_value.vt == VT_UNKNOWN; }
    VARIANT release() noexcept {
        VARIANT value = m_value;
        VariantInit(&m_value);
        return value;
    }

private:
    VARIANT m_value;
};

/// The platform's conversions, in the user's locale; a failure is a run-time error.
Variant Converted(const VARIANT& value, VARTYPE type);
Bstr ToText(const VARIANT& value);
long ToLong(const VARIANT& value);
double ToDate(const VARIANT& value);
bool ToBool(const VARIANT& value);

/// True for a missing optional argument.
bool IsMissing(const VARIANT* value) noexcept;

}  // namespace vtdl::automation
