#pragma once
// The automation face of a keyed list: variants as keys and positions, run-time errors.

#include <string>

#include <vector>

#include "automation/ComPtr.h"
#include "automation/Error.h"
#include "automation/Platform.h"
#include "automation/Variant.h"
#include "text/KeyedList.h"

namespace vtdl::automation {

/// An IEnumVARIANT over a snapshot: items added or removed during the walk do not disturb it.
ComPtr<IUnknown> Enumerate(std::vector<ComPtr<IDispatch>> items);

/// Items of one interface, by key (text, without regard to case) or 1-based position (numbers).
/// Errors: 457 for a key that is taken, 5 for an unknown one, 9 for a position out of range.
template <class I>
class KeyedCollection {
public:
    long Count() const noexcept { return static_cast<long>(m_items.size()); }

    void Add(I* item, const VARIANT* key) {
        if (!item) throw MakeRuntimeError(RuntimeError::invalidCall, L"there is no item to add");
        if (IsMissing(key)) {
            m_items.Add(item);
            return;
        }
        const Bstr text = ToText(*key);
        if (!m_items.Add(item, text.view()))
            throw MakeRuntimeError(RuntimeError::duplicateKey, text.view());
    }

    void Add(I* item, std::wstring_view key) {
        if (!m_items.Add(item, key)) throw MakeRuntimeError(RuntimeError::duplicateKey, key);
    }

    ComPtr<I> find(std::wstring_view key) {
        const ComPtr<I>* found = m_items.find(key);
        return found ? *found : ComPtr<I>();
    }

    ComPtr<I> Item(const VARIANT& index) {
        const Index resolved(index);
        if (const ComPtr<I>* found = LookUp(resolved)) return *found;
        throw MakeRuntimeError(resolved.isKey ? RuntimeError::invalidCall
                                              : RuntimeError::subscript);
    }

    /// Never fails for what cannot be an index.
    bool IsPresent(const VARIANT& index) {
        if (m_items.size() == 0) return false;
        try {
            return LookUp(Index(index)) != nullptr;
        } catch (const Error&) {
            return false;
        }
    }

    void Remove(const VARIANT& index) {
        const Index resolved(index);
        const bool removed = resolved.isKey ? m_items.Remove(resolved.key.view())
                                            : m_items.RemoveAt(resolved.position);
        if (!removed) throw MakeRuntimeError(RuntimeError::invalidCall);
    }

    void clear() { m_items.clear(); }

    std::vector<ComPtr<I>> Snapshot() const { return m_items.Snapshot(); }

    ComPtr<IUnknown> Enumerator() const {
        std::vector<ComPtr<IDispatch>> items;
        for (const ComPtr<I>& item : m_items.Snapshot()) items.push_back(item);
        return Enumerate(std::move(items));
    }

private:
    struct Index {
        explicit Index(const VARIANT& index) {
            const Variant resolved(index);
            isKey = resolved.get().vt == VT_BSTR;
            if (isKey)
                key = ToText(resolved.get());
            else
                position = static_cast<std::size_t>(ToLong(resolved.get()));
        }

        bool isKey;
        Bstr key;
        std::size_t position = 0;
    };

    const ComPtr<I>* LookUp(const Index& index) {
        return index.isKey ? m_items.find(index.key.view()) : m_items.at(index.position);
    }

    text::KeyedList<ComPtr<I>> m_items;
};

}  // namespace vtdl::automation
