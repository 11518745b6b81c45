#pragma once
// The inputs of a session and of a data source.

#include <vtdl.h>

#include <string>

#include "automation/Variant.h"
#include "errors/MethodFrame.h"
#include "objectmodel/Collection.h"

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

// Constructors and destructors stand in the .cpp files: so does then, once, all that they bring.
/// The published parameter collection. Keys are upper-cased, which shows nowhere: keys compare
/// without regard to case. Item creates a parameter that is missing, and takes every index, numbers
/// included, as a name; both on purpose.
class CParameters final : public Collection<CParameters, ::CParameters, _CParameters, _CParameter> {
public:
    static constexpr text::FixedString className{"CParameters"};

    CParameters();
    ~CParameters();

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
