#include "objectmodel/CDataFields.h"

#include <algorithm>

#include "automation/SafeArray.h"

namespace vtdl {

using namespace automation;

void addColumn(_CDataFields* fields, const replies::ColumnSpec& spec, Variant data) {
    const auto field = make<CDataField>();
    check(field->put_Name(Bstr(spec.name).get()));
    check(field->put_DataType(static_cast<vtdlDataType>(spec.type)));
    field->adoptData(std::move(data));
    _CDataField* added = field.get();
    check(fields->Add(&added, Variant(spec.name).put()));
}

ComPtr<CDataFields> announcedColumns(std::span<const replies::ColumnSpec> specs) {
    auto fields = make<CDataFields>();
    for (const replies::ColumnSpec& spec : specs) addColumn(fields.get(), spec, Variant());
    return fields;
}

ComPtr<CDataFields> reversedColumns(replies::Columns columns) {
    auto fields = make<CDataFields>();
    for (std::size_t i = 0; i < columns.specs().size(); ++i) {
        const replies::ColumnSpec& spec = columns.specs()[i];
        NumberArray array(spec.type == replies::ColumnType::date ? VT_DATE : VT_R8, columns[i].size());
        std::reverse_copy(columns[i].begin(), columns[i].end(), array.values().begin());
        std::vector<double>().swap(columns[i]);
        addColumn(fields.get(), spec, array.release());
    }
    return fields;
}

}  // namespace vtdl
