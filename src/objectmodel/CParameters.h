#pragma once
// Parameters by name.

#include "objectmodel/CParameter.h"
#include "objectmodel/Collection.h"

namespace vtdl {

/// The published parameter collection. Keys are upper-cased, which shows nowhere: keys compare
/// without regard to case. Item creates a parameter that is missing, and takes every index, numbers
/// included, as a name; both on purpose.
class CParameters final : public Collection<CParameters, ::CParameters, _CParameters, _CParameter> {
public:
    static constexpr text::FixedString className{"CParameters"};

    STDMETHODIMP Item(VARIANT* index, _CParameter** result) noexcept override;
    STDMETHODIMP Exists(VARIANT* index, VARIANT_BOOL* result) noexcept override {
        return IsPresent(index, result);
    }
    STDMETHODIMP SaveValues(_CXMLSettings** settings, BSTR* section) noexcept override;
    STDMETHODIMP LoadValues(_CXMLSettings** settings, BSTR* section) noexcept override;
};

/// How a data source declares a parameter.
struct ParameterDeclaration {
    std::wstring_view name;
    vtdlParameterType type;
    automation::Variant value{};            ///< also the default value, unless that is given
    automation::Variant availableValues{};  ///< for a list
    bool isEditable = true;
    /// For the few whose first value is not their default.
    std::optional<automation::Variant> defaultValue{};
};

/// Adds a new parameter under its name; throws when the name is taken.
void DeclareParameter(_CParameters* parameters, const ParameterDeclaration& declaration);

/// The value of a named parameter, which is created when missing.
automation::Variant ParameterValue(_CParameters* parameters, std::wstring_view name);

}  // namespace vtdl
