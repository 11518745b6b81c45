#pragma once
// One named, typed input.

#include <vtdl.h>

#include <string>

#include "automation/Variant.h"
#include "errors/MethodFrame.h"

namespace vtdl {

/// The published parameter. While it is not editable, its setters succeed and change nothing.
class CParameter final : public FramedObject<CParameter, ::CParameter, _CParameter> {
public:
    static constexpr text::FixedString className{"CParameter"};

    STDMETHODIMP get_Editable(VARIANT_BOOL* result) noexcept override;
    STDMETHODIMP get_DefaultValue(VARIANT* result) noexcept override;
    STDMETHODIMP get_AvailableValues(VARIANT* result) noexcept override;
    STDMETHODIMP get_ParameterType(vtdlParameterType* result) noexcept override;
    STDMETHODIMP put_ParameterType(vtdlParameterType value) noexcept override;
    STDMETHODIMP get_Value(VARIANT* result) noexcept override;
    STDMETHODIMP put_Value(VARIANT value) noexcept override;
    STDMETHODIMP putref_Value(VARIANT value) noexcept override;
    STDMETHODIMP get_Name(BSTR* result) noexcept override;
    STDMETHODIMP SaveValue(_CXMLSettings** settings, BSTR* section) noexcept override;
    STDMETHODIMP LoadValue(_CXMLSettings** settings, BSTR* section,
                           BSTR* defaultValue) noexcept override;

    // For the library's own classes; hosts cannot reach these.
    void SetName(std::wstring_view name);
    void SetDefaultValue(const automation::Variant& value);
    void SetAvailableValues(const automation::Variant& values);
    void SetEditable(bool editable) noexcept { m_isEditable = editable; }

private:
    // 0 while it is not set, which is no member of the enumeration.
    vtdlParameterType m_type{};
    bool m_isEditable = true;
    automation::Bstr m_name;
    automation::Variant m_value;
    automation::Variant m_availableValues;
    automation::Variant m_defaultValue;
};

}  // namespace vtdl
