#include "objectmodel/CDataField.h"

namespace vtdl {

using namespace automation;

STDMETHODIMP CDataField::get_Name(BSTR* result) noexcept {
    return framedResult<"Name">(result, [&] { *result = Bstr(m_name).release(); });
}

STDMETHODIMP CDataField::put_Name(BSTR value) noexcept {
    return framed<"Name">([&] { m_name = Bstr(viewOf(value)); });
}

STDMETHODIMP CDataField::get_DataType(vtdlDataType* result) noexcept {
    return framedResult<"DataType">(result, [&] { *result = m_dataType; });
}

STDMETHODIMP CDataField::put_DataType(vtdlDataType value) noexcept {
    return framed<"DataType">([&] { m_dataType = value; });
}

STDMETHODIMP CDataField::get_Data(VARIANT* result) noexcept {
    return framedResult<"Data">(result, [&] { *result = Variant(m_data).release(); });
}

STDMETHODIMP CDataField::put_Data(VARIANT* value) noexcept {
    if (!value) return E_POINTER;
    return framed<"Data">([&] { m_data = Variant(*value); });
}

}  // namespace vtdl
