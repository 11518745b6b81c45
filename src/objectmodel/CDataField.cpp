#include "objectmodel/CDataField.h"
#include "automation/ClassTable.h"

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

}  // namespace vtdl
