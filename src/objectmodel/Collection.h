#pragma once
// What the library's four published collections share.

#include <vtdl.h>

#include "automation/KeyedCollection.h"
#include "support/MethodFrame.h"

namespace vtdl {

/// Add, Remove, Item, Count, Clear and NewEnum over items of one interface; exists() for those that
/// publish Exists.
template <class D, class Coclass, class I, class Element>
class Collection : public FramedObject<D, Coclass, I> {
public:
    /// The caller's reference is left pointing at the added item, which it is already.
    STDMETHODIMP Add(Element** item, VARIANT* key) noexcept override {
        if (!item) return E_POINTER;
        return this->template framed<"Add">([&] { m_items.add(*item, key); });
    }

    STDMETHODIMP Remove(VARIANT* index) noexcept override {
        if (!index) return E_POINTER;
        return this->template framed<"Remove">([&] { m_items.remove(*index); });
    }

    STDMETHODIMP Item(VARIANT* index, Element** result) noexcept override {
        if (!index) return E_POINTER;
        return this->template framedResult<"Item">(result,
                                                   [&] { *result = m_items.item(*index).detach(); });
    }

    STDMETHODIMP get_Count(long* result) noexcept override {
        return this->template framedResult<"Count">(result, [&] { *result = m_items.count(); });
    }

    STDMETHODIMP Clear() noexcept override {
        return this->template framed<"Clear">([&] { m_items.clear(); });
    }

    STDMETHODIMP NewEnum(IUnknown** result) noexcept override {
        return this->template framedResult<"NewEnum">(
            result, [&] { *result = m_items.enumerator().detach(); });
    }

    /// For the library's own classes.
    automation::KeyedCollection<Element>& items() noexcept { return m_items; }

protected:
    HRESULT exists(VARIANT* index, VARIANT_BOOL* result) noexcept {
        if (!index) return E_POINTER;
        return this->template framedResult<"Exists">(result, [&] {
            *result = m_items.exists(*index) ? VARIANT_TRUE : VARIANT_FALSE;
        });
    }

private:
    automation::KeyedCollection<Element> m_items;
};

}  // namespace vtdl
