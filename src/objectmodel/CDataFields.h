#pragma once
// The columns of one block of a result.

#include "objectmodel/CDataField.h"
#include "objectmodel/Collection.h"
#include "replies/Columns.h"

namespace vtdl {

/// The published column collection. Unlike parameters, a missing column is an error.
class CDataFields final : public Collection<CDataFields, ::CDataFields, _CDataFields, _CDataField> {
public:
    static constexpr text::FixedString className{"CDataFields"};

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

}  // namespace vtdl
