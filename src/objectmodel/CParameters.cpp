#include "objectmodel/CParameters.h"

#include "automation/ClassTable.h"

namespace vtdl {

using namespace automation;

CParameters::CParameters() = default;
CParameters::~CParameters() = default;

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

STDMETHODIMP CParameters::Item(VARIANT* index, _CParameter** result) noexcept {
    if (!index) return NullReference();
    return FramedResult<"Item">(result, [&] {
        const Bstr name = ToText(*index);
        ComPtr<_CParameter> found = Items().find(name.view());
        if (!found) {
            const auto created = Make<CParameter>();
            created->SetName(name.view());
            Items().Add(created.get(), name.view());
            found = created;
        }
        *result = found.detach();
    });
}

STDMETHODIMP CParameters::SaveValues(_CXMLSettings** settings, BSTR* section) noexcept {
    return Framed<"SaveValues">([&](MethodFrame& frame) {
        for (const auto& parameter : Items().Snapshot())
            frame.Step([&] { Check(parameter->SaveValue(settings, section)); });
    });
}

// A key that is missing from the file leaves the parameter at its value, as text from then on.
STDMETHODIMP CParameters::LoadValues(_CXMLSettings** settings, BSTR* section) noexcept {
    return Framed<"LoadValues">([&](MethodFrame& frame) {
        for (const auto& parameter : Items().Snapshot()) {
            frame.Step([&] {
                Variant value;
                Check(parameter->get_Value(value.put()));
                Bstr current = ToText(value.get());
                Check(parameter->LoadValue(settings, section, current.put()));
            });
        }
    });
}

void DeclareParameter(_CParameters* parameters, const ParameterDeclaration& declaration) {
    const auto parameter = Make<CParameter>();
    parameter->SetName(declaration.name);
    Check(parameter->put_ParameterType(declaration.type));
    parameter->SetAvailableValues(declaration.availableValues);
    parameter->SetDefaultValue(declaration.defaultValue.value_or(declaration.value));
    Check(parameter->put_Value(declaration.value.get()));
    parameter->SetEditable(declaration.isEditable);  // last: it locks the rest
    _CParameter* added = parameter.get();
    Check(parameters->Add(&added, Variant(declaration.name).put()));
}

Variant ParameterValue(_CParameters* parameters, std::wstring_view name) {
    if (!parameters) throw MakeRuntimeError(RuntimeError::objectNotSet);
    ComPtr<_CParameter> parameter;
    Variant value;
    Check(parameters->Item(Variant(name).put(), parameter.put()));
    if (parameter) Check(parameter->get_Value(value.put()));
    return value;
}

VTDL_CREATABLE(CParameters)

}  // namespace vtdl
