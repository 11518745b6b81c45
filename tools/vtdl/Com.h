// Automation in terms of the tool's own values: texts in UTF-8, failures as exceptions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Values.h"
#include "automation/Bstr.h"
#include "automation/ComPtr.h"

namespace vtdl::host {

using automation::Bstr;
using automation::ComPtr;

std::string ToUtf8(std::wstring_view text);
std::wstring ToWide(std::string_view text);

/// Throws Failure with what the failed call left as error information, else with the system's text.
void Check(HRESULT hr, const std::string& action);

class Variant {
public:
    Variant() noexcept { VariantInit(&m_value); }
    explicit Variant(const Value& value);
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant() { VariantClear(&m_value); }

    const VARIANT& get() const noexcept { return m_value; }
    VARIANT* put() noexcept { return &m_value; }

private:
    VARIANT m_value;
};

Value ToValue(const VARIANT& value);

/// The elements of an array, or the single value itself; nothing for an empty variant.
std::vector<Value> ToValues(const VARIANT& value);

/// A text property.
template <class I>
std::string TextOf(I* object, HRESULT (STDMETHODCALLTYPE I::*getter)(BSTR*)) {
    Bstr text;
    Check((object->*getter)(text.put()), "reading a text");
    return ToUtf8(text.view());
}

std::vector<ComPtr<IUnknown>> Enumerated(IUnknown* enumerator);

/// The items of one of the library's collections, in their order.
template <class I, class Collection>
std::vector<ComPtr<I>> ItemsOf(Collection* collection) {
    ComPtr<IUnknown> enumerator;
    Check(collection->NewEnum(enumerator.put()), "listing a collection");
    std::vector<ComPtr<I>> items;
    for (const ComPtr<IUnknown>& item : Enumerated(enumerator.get()))
        if (ComPtr<I> face = automation::Query<I>(item.get())) items.push_back(std::move(face));
    return items;
}

}  // namespace vtdl::host
