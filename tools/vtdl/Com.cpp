#include "Com.h"

#include "Failure.h"
#include "text/ErrorNumber.h"

namespace vtdl::host {
namespace {

std::string SystemText(HRESULT hr) {
    wchar_t text[512];
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                       static_cast<DWORD>(hr), 0, text, ARRAYSIZE(text), nullptr);
    std::string result = ToUtf8({text, length});
    result.resize(result.find_last_not_of(" \r\n.") + 1);
    return result.empty() ? "it failed" : result;
}

std::string ErrorText(HRESULT hr) {
    ComPtr<IErrorInfo> information;
    Bstr description;
    if (GetErrorInfo(0, information.put()) == S_OK) information->GetDescription(description.put());
    return description.view().empty() ? SystemText(hr) : ToUtf8(description.view());
}

// One element; its bytes are laid out where a variant of that type keeps them.
Value Element(SAFEARRAY* array, VARTYPE type, LONG index) {
    Variant element;
    VARIANT* const value = element.put();
    void* const target = type == VT_VARIANT ? static_cast<void*>(value) : &value->llVal;
    Check(SafeArrayGetElement(array, &index, target), "reading an array");
    if (type != VT_VARIANT) value->vt = type;
    return ToValue(element.get());
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    std::string result(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length,
                                                                    nullptr, 0, nullptr, nullptr)),
                       '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(),
                        static_cast<int>(result.size()), nullptr, nullptr);
    return result;
}

std::wstring ToWide(std::string_view text) {
    const int length = static_cast<int>(text.size());
    std::wstring result(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0)),
        L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(),
                        static_cast<int>(result.size()));
    return result;
}

void Check(HRESULT hr, const std::string& action) {
    if (FAILED(hr)) throw Failure(action + ": " + ErrorText(hr) + text::InParentheses(hr));
}

Variant::Variant(const Value& value) : Variant() {
    if (const bool* truth = std::get_if<bool>(&value)) {
        m_value.boolVal = *truth ? VARIANT_TRUE : VARIANT_FALSE;
        m_value.vt = VT_BOOL;
    } else if (const double* number = std::get_if<double>(&value)) {
        m_value.dblVal = *number;
        m_value.vt = VT_R8;
    } else if (const Date* date = std::get_if<Date>(&value)) {
        m_value.date = date->days;
        m_value.vt = VT_DATE;
    } else if (const std::string* text = std::get_if<std::string>(&value)) {
        m_value.bstrVal = Bstr(ToWide(*text)).release();
        m_value.vt = VT_BSTR;
    }
}

Value ToValue(const VARIANT& value) {
    switch (value.vt) {
        case VT_EMPTY:
        case VT_NULL:
        case VT_ERROR:
            return {};
        case VT_BOOL:
            return value.boolVal != VARIANT_FALSE;
        case VT_DATE:
            return Date{value.date};
        case VT_BSTR:
            return ToUtf8(automation::ViewOf(value.bstrVal));
        default:
            break;
    }
    Variant number;
    Check(
        VariantChangeTypeEx(number.put(), const_cast<VARIANT*>(&value), LOCALE_INVARIANT, 0, VT_R8),
        "reading a value of type " + std::to_string(value.vt));
    return number.get().dblVal;
}

std::vector<Value> ToValues(const VARIANT& value) {
    if (value.vt == VT_EMPTY) return {};
    if (!(value.vt & VT_ARRAY)) return {ToValue(value)};
    SAFEARRAY* const array = value.parray;
    LONG lower = 0, upper = -1;
    if (!array || SafeArrayGetDim(array) != 1) return {};
    Check(SafeArrayGetLBound(array, 1, &lower), "reading an array");
    Check(SafeArrayGetUBound(array, 1, &upper), "reading an array");
    const auto type = static_cast<VARTYPE>(value.vt & ~VT_ARRAY);
    std::vector<Value> values;
    for (LONG index = lower; index <= upper; ++index) values.push_back(Element(array, type, index));
    return values;
}

std::vector<ComPtr<IUnknown>> Enumerated(IUnknown* enumerator) {
    std::vector<ComPtr<IUnknown>> items;
    const auto walk = automation::Query<IEnumVARIANT>(enumerator);
    for (;;) {
        Variant item;
        ULONG fetched = 0;
        if (!walk || walk->Next(1, item.put(), &fetched) != S_OK) return items;
        if (item.get().vt == VT_DISPATCH || item.get().vt == VT_UNKNOWN)
            items.emplace_back(item.get().punkVal);
    }
}

}  // namespace vtdl::host
