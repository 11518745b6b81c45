#pragma once
// One column of a result.

#include <vtdl.h>

#include "automation/Variant.h"
#include "errors/MethodFrame.h"

namespace vtdl {

/// The published data field: a name, a data type (0 until it is set), and an array with one entry a
/// row, or a single value. Script languages, which cannot index arrays of dates or doubles, read an
/// entry as Data(index).
class CDataField final : public FramedObject<CDataField, ::CDataField, _CDataField> {
public:
    static constexpr text::FixedString className{"CDataField"};

    STDMETHODIMP get_Name(BSTR* result) noexcept override;
    STDMETHODIMP put_Name(BSTR value) noexcept override;
    STDMETHODIMP get_DataType(vtdlDataType* result) noexcept override;
    STDMETHODIMP put_DataType(vtdlDataType value) noexcept override;
    STDMETHODIMP get_Data(VARIANT* result) noexcept override;
    STDMETHODIMP put_Data(VARIANT* value) noexcept override;

    /// Takes the data over without copying it; for the library's own classes.
    void AdoptData(automation::Variant data) noexcept { m_data = std::move(data); }

private:
    bool InvokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) override;

    vtdlDataType m_dataType{};
    automation::Bstr m_name;
    automation::Variant m_data;
};

}  // namespace vtdl
