#include "objectmodel/CParameter.h"

namespace vtdl {

using namespace automation;

STDMETHODIMP CParameter::get_Editable(VARIANT_BOOL* result) noexcept {
    return framedResult<"Editable">(
        result, [&] { *result = m_isEditable ? VARIANT_TRUE : VARIANT_FALSE; });
}

STDMETHODIMP CParameter::get_DefaultValue(VARIANT* result) noexcept {
    return framedResult<"DefaultValue">(result, [&] { *result = Variant(m_defaultValue).release(); });
}

STDMETHODIMP CParameter::get_AvailableValues(VARIANT* result) noexcept {
    return framedResult<"AvailableValues">(result,
                                           [&] { *result = Variant(m_availableValues).release(); });
}

STDMETHODIMP CParameter::get_ParameterType(vtdlParameterType* result) noexcept {
    return framedResult<"ParameterType">(result, [&] { *result = m_type; });
}

STDMETHODIMP CParameter::put_ParameterType(vtdlParameterType value) noexcept {
    return framed<"ParameterType">([&] {
        if (m_isEditable) m_type = value;
    });
}

STDMETHODIMP CParameter::get_Value(VARIANT* result) noexcept {
    return framedResult<"Value">(result, [&] { *result = Variant(m_value).release(); });
}

STDMETHODIMP CParameter::put_Value(VARIANT value) noexcept {
    return framed<"Value">([&] {
        if (m_isEditable) m_value = Variant(value);
    });
}

STDMETHODIMP CParameter::putref_Value(VARIANT value) noexcept { return put_Value(value); }

STDMETHODIMP CParameter::get_Name(BSTR* result) noexcept {
    return framedResult<"Name">(result, [&] { *result = Bstr(m_name).release(); });
}

STDMETHODIMP CParameter::SaveValue(_CXMLSettings** settings, BSTR* section) noexcept {
    if (!settings || !*settings || !section) return E_POINTER;
    return framed<"SaveValue">([&] {
        const Bstr value = toText(m_value.get());
        check((*settings)->SaveSetting(*section, m_name.get(), value.get()));
    });
}

// The value is text afterwards, whatever the parameter's type.
STDMETHODIMP CParameter::LoadValue(_CXMLSettings** settings, BSTR* section,
                                   BSTR* defaultValue) noexcept {
    if (!settings || !*settings || !section) return E_POINTER;
    return framed<"LoadValue">([&] {
        Bstr key = m_name, fallback(defaultValue ? viewOf(*defaultValue) : std::wstring_view()), value;
        check((*settings)->GetSetting(section, key.put(), fallback.put(), value.put()));
        check(put_Value(Variant(value.view()).get()));
    });
}

void CParameter::setName(std::wstring_view name) {
    if (m_isEditable) m_name = Bstr(name);
}

void CParameter::setDefaultValue(const Variant& value) {
    if (m_isEditable) m_defaultValue = value;
}

void CParameter::setAvailableValues(const Variant& values) {
    if (m_isEditable) m_availableValues = values;
}

}  // namespace vtdl
