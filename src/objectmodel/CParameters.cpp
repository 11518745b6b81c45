#include "objectmodel/CParameters.h"
#include "automation/ClassTable.h"

namespace vtdl {

using namespace automation;

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
