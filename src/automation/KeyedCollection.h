#pragma once
// The automation face of a keyed list: variants as keys and positions, run-time errors.

#include <string>

#include "automation/ComPtr.h"
#include "automation/EnumVariant.h"
#include "automation/Error.h"
#include "automation/Platform.h"
#include "automation/Variant.h"
#include "text/KeyedList.h"

namespace vtdl::automation {

/// Items of one interface, by key (text, without regard to case) or 1-based position (numbers).
/// Errors: 457 for a key that is taken, 5 for an unknown one, 9 for a position out of range.
template <class I>
class KeyedCollection {
public:
    long count() const noexcept { return static_cast<long>(m_items.size()); }

    void add(I* item, const VARIANT* key) {
        if (!item) throw runtimeError(RuntimeError::invalidCall, L"there is no item to add");
        if (isMissing(key)) {
            m_items.add(item);
            return;
        }
        const Bstr text = toText(*key);
        if (!m_items.add(item, text.view())) throw runtimeError(RuntimeError::duplicateKey, text.view());
    }

    void add(I* item, std::wstring_view key) {
        if (!m_items.add(item, key)) throw runtimeError(RuntimeError::duplicateKey, key);
    }

    ComPtr<I> find(std::wstring_view key) {
        const ComPtr<I>* found = m_items.find(key);
        return found ? *found : ComPtr<I>();
    }

    ComPtr<I> item(const VARIANT& index) {
        const Index resolved(index);
        if (const ComPtr<I>* found = lookUp(resolved)) return *found;
        throw runtimeError(resolved.isKey ? RuntimeError::invalidCall : RuntimeError::subscript);
    }

    /// Never fails for what cannot be an index.
    bool exists(const VARIANT& index) {
        if (m_items.size() == 0) return false;
        try {
            return lookUp(Index(index)) != nullptr;
        } catch (const Error&) {
            return false;
        }
    }

    void remove(const VARIANT& index) {
        const Index resolved(index);
        const bool removed = resolved.isKey ? m_items.remove(resolved.key.view())
                                            : m_items.removeAt(resolved.position);
        if (!removed) throw runtimeError(RuntimeError::invalidCall);
    }

    void clear() { m_items.clear(); }

    std::vector<ComPtr<I>> snapshot() const { return m_items.snapshot(); }

    ComPtr<IUnknown> enumerator() const {
        std::vector<ComPtr<IDispatch>> items;
        for (const ComPtr<I>& item : m_items.snapshot()) items.push_back(item);
        return enumerate(std::move(items));
    }

private:
    struct Index {
        explicit Index(const VARIANT& index) {
            const Variant resolved(index);
            isKey = resolved.get().vt == VT_BSTR;
            if (isKey)
                key = toText(resolved.get());
            else
                position = static_cast<std::size_t>(toLong(resolved.get()));
        }

        bool isKey;
        Bstr key;
        std::size_t position = 0;
    };

    const ComPtr<I>* lookUp(const Index& index) {
        return index.isKey ? m_items.find(index.key.view()) : m_items.at(index.position);
    }

    text::KeyedList<ComPtr<I>> m_items;
};

}  // namespace vtdl::automation
