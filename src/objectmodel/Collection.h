#pragma once
// What the library's four published collections share.

#include <vtdl.h>

#include "automation/KeyedCollection.h"
#include "errors/MethodFrame.h"

namespace vtdl {

/// Add, Remove, Item, Count, Clear and NewEnum over items of one interface; IsPresent() for those
/// that publish Exists.
template <class D, class Coclass, class I, class Element>
class Collection : public FramedObject<D, Coclass, I> {
public:
    /// The caller's reference is left pointing at the added item, which it is already.
    STDMETHODIMP Add(Element** item, VARIANT* key) noexcept override {
        if (!item) return automation::NullReference();
        return this->template Framed<"Add">([&] { m_items.Add(*item, key); });
    }

    STDMETHODIMP Remove(VARIANT* index) noexcept override {
        if (!index) return automation::NullReference();
        return this->template Framed<"Remove">([&] { m_items.Remove(*index); });
    }

    STDMETHODIMP Item(VARIANT* index, Element** result) noexcept override {
        if (!index) return automation::NullReference();
        return this->template FramedResult<"Item">(
            result, [&] { *result = m_items.Item(*index).detach(); });
    }

    STDMETHODIMP get_Count(long* result) noexcept override {
        return this->template FramedResult<"Count">(result, [&] { *result = m_items.Count(); });
    }

    STDMETHODIMP Clear() noexcept override {
        return this->template Framed<"Clear">([&] { m_items.clear(); });
    }

    STDMETHODIMP NewEnum(IUnknown** result) noexcept override {
        return this->template FramedResult<"NewEnum">(
            result, [&] { *result = m_items.Enumerator().detach(); });
    }

    /// For the library's own classes.
    automation::KeyedCollection<Element>& Items() noexcept { return m_items; }

protected:
    HRESULT IsPresent(VARIANT* index, VARIANT_BOOL* result) noexcept {
        if (!index) return automation::NullReference();
        return this->template FramedResult<"Exists">(
            result, [&] { *result = m_items.IsPresent(*index) ? VARIANT_TRUE : VARIANT_FALSE; });
    }

private:
    automation::KeyedCollection<Element> m_items;
};

}  // namespace vtdl
