#include "objectmodel/CParameter.h"
#include "automation/ClassTable.h"

namespace vtdl {

using namespace automation;

STDMETHODIMP CParameter::get_Editable(VARIANT_BOOL* result) noexcept {
    return FramedResult<"Editable">(result,
                                    [&] { *result = m_isEditable ? VARIANT_TRUE : VARIANT_FALSE; });
}

STDMETHODIMP CParameter::get_DefaultValue(VARIANT* result) noexcept {
    return FramedResult<"DefaultValue">(result,
                                        [&] { *result = Variant(m_defaultValue).release(); });
}

STDMETHODIMP CParameter::get_AvailableValues(VARIANT* result) noexcept {
    return FramedResult<"AvailableValues">(result,
                                           [&] { *result = Variant(m_availableValues).release(); });
}

STDMETHODIMP CParameter::get_ParameterType(vtdlParameterType* result) noexcept {
    return FramedResult<"ParameterType">(result, [&] { *result = m_type; });
}

STDMETHODIMP CParameter::put_ParameterType(vtdlParameterType value) noexcept {
    return Framed<"ParameterType">([&] {
        if (m_isEditable) m_type = value;
    });
}

STDMETHODIMP CParameter::get_Value(VARIANT* result) noexcept {
    return FramedResult<"Value">(result, [&] { *result = Variant(m_value).release(); });
}

STDMETHODIMP CParameter::put_Value(VARIANT value) noexcept {
    return Framed<"Value">([&] {
        if (m_isEditable) m_value = Variant(value);
    });
}

STDMETHODIMP CParameter::putref_Value(VARIANT value) noexcept { return put_Value(value); }

STDMETHODIMP CParameter::get_Name(BSTR* result) noexcept {
    return FramedResult<"Name">(result, [&] { *result = Bstr(m_name).release(); });
}

STDMETHODIMP CParameter::SaveValue(_CXMLSettings** settings, BSTR* section) noexcept {
    if (!settings || !*settings || !section) return NullReference();
    return Framed<"SaveValue">([&] {
        const Bstr value = ToText(m_value.get());
        Check((*settings)->SaveSetting(*section, m_name.get(), value.get()));
    });
}

// The value is text afterwards, whatever the parameter's type.
STDMETHODIMP CParameter::LoadValue(_CXMLSettings** settings, BSTR* section,
                                   BSTR* defaultValue) noexcept {
    if (!settings || !*settings || !section) return NullReference();
    return Framed<"LoadValue">([&] {
        // Copies: the settings store lower-cases what it is given.
        Bstr sectionName(ViewOf(*section)),
            key = m_name, fallback(defaultValue ? ViewOf(*defaultValue) : std::wstring_view()),
            value;
        Check((*settings)->GetSetting(sectionName.put(), key.put(), fallback.put(), value.put()));
        Check(put_Value(Variant(value.view()).get()));
    });
}

void CParameter::SetName(std::wstring_view name) {
    if (m_isEditable) m_name = Bstr(name);
}

void CParameter::SetDefaultValue(const Variant& value) {
    if (m_isEditable) m_defaultValue = value;
}

void CParameter::SetAvailableValues(const Variant& values) {
    if (m_isEditable) m_availableValues = values;
}

VTDL_CREATABLE(CParameter)

}  // namespace vtdl
