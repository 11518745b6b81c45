#include "objectmodel/CDataFields.h"

#include <algorithm>

#include "automation/SafeArray.h"

namespace vtdl {

using namespace automation;

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

ComPtr<CDataFields> ReversedColumns(replies::Columns columns) {
    auto fields = Make<CDataFields>();
    for (std::size_t i = 0; i < columns.Specs().size(); ++i) {
        const replies::ColumnSpec& spec = columns.Specs()[i];
        NumberArray array(spec.type == replies::ColumnType::date ? VT_DATE : VT_R8,
                          columns[i].size());
        std::reverse_copy(columns[i].begin(), columns[i].end(), array.Values().begin());
        std::vector<double>().swap(columns[i]);
        AddColumn(fields.get(), spec, array.release());
    }
    return fields;
}

}  // namespace vtdl
