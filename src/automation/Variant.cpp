#include "automation/Variant.h"

#include "automation/Error.h"

namespace vtdl::automation {

Variant::Variant(const VARIANT& value) : Variant() {
    Check(VariantCopyInd(&m_value, const_cast<VARIANT*>(&value)));
}

Variant::Variant(IDispatch* object) noexcept : Variant() {
    if (object) object->AddRef();
    m_value.vt = VT_DISPATCH;
    m_value.pdispVal = object;
}

Variant Variant::Long(long value) noexcept {
    Variant result;
    result.m_value.vt = VT_I4;
    result.m_value.lVal = value;
    return result;
}

Variant Variant::Bool(bool value) noexcept {
    Variant result;
    result.m_value.vt = VT_BOOL;
    result.m_value.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return result;
}

Variant Variant::Double(double number) noexcept {
    Variant value;
    value.m_value.vt = VT_R8;
    value.m_value.dblVal = number;
    return value;
}

Variant Variant::Date(double automationDate) noexcept {
    Variant value;
    value.m_value.vt = VT_DATE;
    value.m_value.date = automationDate;
    return value;
}

Variant Variant::Array(VARTYPE elementType, SAFEARRAY* elements) noexcept {
    Variant value;
    value.m_value.vt = static_cast<VARTYPE>(VT_ARRAY | elementType);
    value.m_value.parray = elements;
    return value;
}

Variant Converted(const VARIANT& value, VARTYPE type) {
    const Variant resolved(value);
    Variant result;
    CheckConversion(VariantChangeTypeEx(result.put(), const_cast<VARIANT*>(&resolved.get()),
                                        LOCALE_USER_DEFAULT, VARIANT_ALPHABOOL, type));
    return result;
}

Bstr ToText(const VARIANT& value) {
    VARIANT text = Converted(value, VT_BSTR).release();
    Bstr result;
    *result.put() = text.bstrVal;
    return result;
}

long ToLong(const VARIANT& value) { return Converted(value, VT_I4).get().lVal; }

double ToDate(const VARIANT& value) { return Converted(value, VT_DATE).get().date; }

bool ToBool(const VARIANT& value) {
    return Converted(value, VT_BOOL).get().boolVal != VARIANT_FALSE;
}

bool IsMissing(const VARIANT* value) noexcept {
    if (!value) return true;
    if (value->vt == (VT_BYREF | VT_VARIANT)) return IsMissing(value->pvarVal);
    return value->vt == VT_ERROR && value->scode == DISP_E_PARAMNOTFOUND;
}

}  // namespace vtdl::automation
