#include "objectmodel/CParameters.h"

namespace vtdl {

using namespace automation;

STDMETHODIMP CParameters::Item(VARIANT* index, _CParameter** result) noexcept {
    if (!index) return E_POINTER;
    return framedResult<"Item">(result, [&] {
        const Bstr name = toText(*index);
        ComPtr<_CParameter> found = items().find(name.view());
        if (!found) {
            const auto created = make<CParameter>();
            created->setName(name.view());
            items().add(created.get(), name.view());
            found = created;
        }
        *result = found.detach();
    });
}

STDMETHODIMP CParameters::SaveValues(_CXMLSettings** settings, BSTR* section) noexcept {
    return framed<"SaveValues">([&](MethodFrame& frame) {
        for (const auto& parameter : items().snapshot())
            frame.step([&] { check(parameter->SaveValue(settings, section)); });
    });
}

// A key that is missing from the file leaves the parameter at its value, as text from then on.
STDMETHODIMP CParameters::LoadValues(_CXMLSettings** settings, BSTR* section) noexcept {
    return framed<"LoadValues">([&](MethodFrame& frame) {
        for (const auto& parameter : items().snapshot()) {
            frame.step([&] {
                Variant value;
                check(parameter->get_Value(value.put()));
                Bstr current = toText(value.get());
                check(parameter->LoadValue(settings, section, current.put()));
            });
        }
    });
}

void declareParameter(_CParameters* parameters, const ParameterDeclaration& declaration) {
    const auto parameter = make<CParameter>();
    parameter->setName(declaration.name);
    check(parameter->put_ParameterType(declaration.type));
    parameter->setAvailableValues(declaration.availableValues);
    parameter->setDefaultValue(declaration.value);
    check(parameter->put_Value(declaration.value.get()));
    parameter->setEditable(declaration.isEditable);  // last: it locks the rest
    _CParameter* added = parameter.get();
    check(parameters->Add(&added, Variant(declaration.name).put()));
}

Variant parameterValue(_CParameters* parameters, std::wstring_view name) {
    ComPtr<_CParameter> parameter;
    Variant value;
    check(parameters->Item(Variant(name).put(), parameter.put()));
    if (parameter) check(parameter->get_Value(value.put()));
    return value;
}

}  // namespace vtdl
