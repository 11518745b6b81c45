#pragma once
// One-dimensional safe arrays.

#include <new>
#include <span>
#include <string_view>
#include <utility>

#include "automation/Bstr.h"
#include "automation/Error.h"
#include "automation/Platform.h"
#include "automation/Variant.h"

namespace vtdl::automation {

/// A zero-based array of numbers, filled in place through Values(): doubles (VT_R8 or VT_DATE), or
/// longs (VT_I4).
template <class Element = double>
class NumberArray {
public:
    NumberArray(VARTYPE elementType, std::size_t size)
        : m_type(elementType),
          m_array(SafeArrayCreateVector(elementType, 0, static_cast<ULONG>(size))) {
        if (!m_array) throw std::bad_alloc();
    }
    NumberArray(const NumberArray&) = delete;
    NumberArray& operator=(const NumberArray&) = delete;
    ~NumberArray() { SafeArrayDestroy(m_array); }

    /// Valid while the array is owned here, where nothing else can lock or resize it.
    std::span<Element> Values() const {
        return {static_cast<Element*>(m_array->pvData), m_array->rgsabound[0].cElements};
    }

    Variant release() { return Variant::Array(m_type, std::exchange(m_array, nullptr)); }

private:
    VARTYPE m_type;
    SAFEARRAY* m_array;
};

/// A zero-based array of texts.
template <class Texts>
Variant TextArray(const Texts& texts) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(std::size(texts)));
    if (!array) throw std::bad_alloc();
    Variant owner = Variant::Array(VT_BSTR, array);
    auto* element = static_cast<BSTR*>(array->pvData);
    for (const auto& text : texts) *element++ = Bstr(std::wstring_view(text)).release();
    return owner;
}

/// The same from bytes in the system's code page.
inline Variant AnsiTextArray(std::span<const std::string_view> texts) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(texts.size()));
    if (!array) throw std::bad_alloc();
    Variant owner = Variant::Array(VT_BSTR, array);
    auto* element = static_cast<BSTR*>(array->pvData);
    for (const std::string_view text : texts) *element++ = Bstr::FromBytes(text).release();
    return owner;
}

/// The same texts as variants, the only array elements that script languages can reach.
template <class Texts>
Variant VariantArray(const Texts& texts) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(std::size(texts)));
    if (!array) throw std::bad_alloc();
    Variant owner = Variant::Array(VT_VARIANT, array);
    auto* element = static_cast<VARIANT*>(array->pvData);
    for (const auto& text : texts) *element++ = Variant(std::wstring_view(text)).release();
    return owner;
}

}  // namespace vtdl::automation
