#include "objectmodel/CData.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "automation/ClassTable.h"
#include "automation/SafeArray.h"

namespace vtdl {

using namespace automation;

namespace {

Variant Entry(const VARIANT& data, long index) {
    const VARTYPE type = static_cast<VARTYPE>(data.vt & ~VT_ARRAY);
    const bool isPlain = (data.vt & VT_ARRAY) && SafeArrayGetDim(data.parray) == 1 &&
                         (type == VT_VARIANT || SafeArrayGetElemsize(data.parray) <= 8);
    if (!isPlain || type == VT_RECORD) throw MakeRuntimeError(RuntimeError::typeMismatch);
    Variant value;
    if (type == VT_VARIANT) {
        if (FAILED(SafeArrayGetElement(data.parray, &index, value.put())))
            throw MakeRuntimeError(RuntimeError::subscript);
        return value;
    }
    if (FAILED(SafeArrayGetElement(data.parray, &index, &value.put()->llVal)))
        throw MakeRuntimeError(RuntimeError::subscript);
    value.put()->vt = type;
    return value;
}

}  // namespace

CDataField::CDataField() = default;
CDataField::~CDataField() = default;
CDataFields::CDataFields() = default;
CDataFields::~CDataFields() = default;
CData::CData() : m_values(Make<CParameters>()) {}
CData::~CData() = default;

STDMETHODIMP CData::get_Values(_CParameters** result) noexcept {
    return FramedResult<"Values">(result, [&] { *result = m_values.AddRefed(); });
}

STDMETHODIMP CDataField::get_Name(BSTR* result) noexcept {
    return FramedResult<"Name">(result, [&] { *result = Bstr(m_name).release(); });
}

STDMETHODIMP CDataField::put_Name(BSTR value) noexcept {
    return Framed<"Name">([&] { m_name = Bstr(ViewOf(value)); });
}

STDMETHODIMP CDataField::get_DataType(vtdlDataType* result) noexcept {
    return FramedResult<"DataType">(result, [&] { *result = m_dataType; });
}

STDMETHODIMP CDataField::put_DataType(vtdlDataType value) noexcept {
    return Framed<"DataType">([&] { m_dataType = value; });
}

STDMETHODIMP CDataField::get_Data(VARIANT* result) noexcept {
    return FramedResult<"Data">(result, [&] { *result = Variant(m_data).release(); });
}

STDMETHODIMP CDataField::put_Data(VARIANT* value) noexcept {
    if (!value) return NullReference();
    return Framed<"Data">([&] { m_data = Variant(*value); });
}

bool CDataField::InvokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) {
    constexpr DISPID data = 3;
    const bool isIndexed =
        member == data && (flags & DISPATCH_PROPERTYGET) && parameters.cArgs == 1;
    if (!isIndexed || !result) return false;
    *result = Entry(m_data.get(), ToLong(parameters.rgvarg[0])).release();
    return true;
}

VTDL_CREATABLE(CDataField)

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

void SetBlock(CData& data, std::wstring_view name, _CDataFields* fields, bool isEditable) {
    const auto block = Make<CParameter>();
    block->SetName(name);
    Check(block->put_ParameterType(vtdlParameterTypeDataFields));
    Check(block->putref_Value(Variant(fields).get()));
    block->SetEditable(isEditable);
    data.Values().Items().Add(block.get(), name);
}

VTDL_CREATABLE(CData)

}  // namespace vtdl
