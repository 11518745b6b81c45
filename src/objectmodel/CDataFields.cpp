#include "objectmodel/CDataFields.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "automation/ClassTable.h"
#include "automation/SafeArray.h"

namespace vtdl {

using namespace automation;

namespace {

long ToInteger(double number, std::wstring_view column) {
    const double rounded = std::nearbyint(number);
    if (!(rounded >= LONG_MIN && rounded <= LONG_MAX))
        throw MakeRuntimeError(RuntimeError::overflow, column);
    return static_cast<long>(rounded);
}

Variant LongArray(const std::vector<double>& numbers, std::wstring_view column) {
    NumberArray<long> array(VT_I4, numbers.size());
    std::transform(numbers.begin(), numbers.end(), array.Values().begin(),
                   [&](double number) { return ToInteger(number, column); });
    return array.release();
}

}  // namespace

void AddColumn(_CDataFields* fields, const replies::ColumnSpec& spec, Variant data) {
    const auto field = Make<CDataField>();
    Check(field->put_Name(Bstr(spec.name).get()));
    Check(field->put_DataType(static_cast<vtdlDataType>(spec.type)));
    field->AdoptData(std::move(data));
    _CDataField* added = field.get();
    Check(fields->Add(&added, Variant(spec.name).put()));
}

ComPtr<CDataFields> AnnouncedColumns(std::span<const replies::ColumnSpec> specs) {
    auto fields = Make<CDataFields>();
    for (const replies::ColumnSpec& spec : specs) AddColumn(fields.get(), spec, Variant());
    return fields;
}

ComPtr<CDataFields> FieldsOf(replies::Columns columns, RowOrder order) {
    auto fields = Make<CDataFields>();
    for (std::size_t i = 0; i < columns.Specs().size(); ++i)
        AddColumn(fields.get(), columns.Specs()[i], TakeArray(columns, i, order));
    return fields;
}

Variant TakeArray(replies::Columns& columns, std::size_t column, RowOrder order) {
    using replies::ColumnType;
    const replies::ColumnSpec& spec = columns.Specs()[column];
    if (spec.type == ColumnType::string) {
        auto texts = std::exchange(columns.Texts(column), {});
        if (order == RowOrder::reversed) std::reverse(texts.begin(), texts.end());
        return AnsiTextArray(texts);
    }
    auto numbers = std::exchange(columns[column], {});
    if (order == RowOrder::reversed) std::reverse(numbers.begin(), numbers.end());
    if (spec.type == ColumnType::integer) return LongArray(numbers, spec.name);
    NumberArray array(spec.type == ColumnType::date ? VT_DATE : VT_R8, numbers.size());
    std::copy(numbers.begin(), numbers.end(), array.Values().begin());
    return array.release();
}

VTDL_CREATABLE(CDataFields)

}  // namespace vtdl
