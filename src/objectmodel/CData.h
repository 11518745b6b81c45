#pragma once
// The result of a session: named blocks, each of columns.

#include <vtdl.h>

#include "automation/Variant.h"
#include "errors/MethodFrame.h"
#include "objectmodel/CParameters.h"
#include "objectmodel/Collection.h"
#include "replies/Columns.h"

namespace vtdl {

/// The published data field: a name, a data type (0 until it is set), and an array with one entry a
/// row, or a single value. Script languages, which cannot index arrays of dates or doubles, read an
/// entry as Data(index).
class CDataField final : public FramedObject<CDataField, ::CDataField, _CDataField> {
public:
    static constexpr text::FixedString className{"CDataField"};

    CDataField();
    ~CDataField();

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

/// The published column collection. Unlike parameters, a missing column is an error.
class CDataFields final : public Collection<CDataFields, ::CDataFields, _CDataFields, _CDataField> {
public:
    static constexpr text::FixedString className{"CDataFields"};

    CDataFields();
    ~CDataFields();

    STDMETHODIMP Exists(VARIANT* index, VARIANT_BOOL* result) noexcept override {
        return IsPresent(index, result);
    }
};

/// Adds a typed column under its name; throws when the name is taken.
void AddColumn(_CDataFields* fields, const replies::ColumnSpec& spec, automation::Variant data);

/// Columns without data: what a data source announces.
automation::ComPtr<CDataFields> AnnouncedColumns(std::span<const replies::ColumnSpec> specs);

/// The order of a result's rows, seen from the reply's.
enum class RowOrder { same, reversed };

/// Turns parsed columns into fields with zero-based arrays of dates, doubles, longs or texts. Each
/// column's memory is freed as soon as it is converted. Throws run-time error 6 for a number that
/// its integer column cannot hold; others are rounded, halves to even.
automation::ComPtr<CDataFields> FieldsOf(replies::Columns columns, RowOrder order);

/// The array of one column, as above; the column is left empty.
automation::Variant TakeArray(replies::Columns& columns, std::size_t column, RowOrder order);

/// The published result: named blocks, each a parameter whose value is a CDataFields.
class CData final : public FramedObject<CData, ::CData, _CData> {
public:
    static constexpr text::FixedString className{"CData"};

    CData();
    ~CData();

    STDMETHODIMP get_Values(_CParameters** result) noexcept override;

    /// For the library's own classes.
    CParameters& Values() noexcept { return *m_values.get(); }

private:
    automation::ComPtr<CParameters> m_values;
};

/// Puts a block into a new result under its name; a fixed block cannot be changed by the host.
void SetBlock(CData& data, std::wstring_view name, _CDataFields* fields, bool isEditable);

}  // namespace vtdl
