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

/// Turns parsed columns into fields with zero-based arrays of dates or doubles, in reverse row
/// order: the services list the newest row first, results the oldest. Each column's memory is freed
/// as soon as it is converted.
automation::ComPtr<CDataFields> ReversedColumns(replies::Columns columns);

}  // namespace vtdl
