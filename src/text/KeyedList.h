#pragma once
// An ordered list whose items may have keys: the portable core of every collection of the library.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "text/CaseFold.h"

namespace vtdl::text {

/// Insertion order, 1-based positions, keys that compare without regard to case. Look-up by key and
/// by position takes constant time; removing moves what stands behind the item.
template <class T>
class KeyedList {
public:
    std::size_t size() const noexcept { return m_entries.size(); }

    /// Appends an item; without a key it is reached by position only. False when the key is taken.
    bool Add(T item, std::optional<std::wstring_view> key = std::nullopt) {
        m_entries.reserve(NextCapacity());  // so that a key is never entered without its item
        std::wstring folded;
        if (key) {
            folded = FoldCase(*key);
            if (!m_positions.emplace(folded, m_entries.size()).second) return false;
        }
        m_entries.push_back({std::move(item), std::move(folded), key.has_value()});
        return true;
    }

    T* find(std::wstring_view key) {
        const auto found = m_positions.find(FoldCase(key));
        return found == m_positions.end() ? nullptr : &m_entries[found->second].item;
    }

    T* at(std::size_t position) {
        return position >= 1 && position <= size() ? &m_entries[position - 1].item : nullptr;
    }

    bool Remove(std::wstring_view key) {
        const auto found = m_positions.find(FoldCase(key));
        return found != m_positions.end() && RemoveAt(found->second + 1);
    }

    bool RemoveAt(std::size_t position) {
        if (position < 1 || position > size()) return false;
        // The item goes last: releasing it may run code that comes back to this list.
        Entry removed = std::move(m_entries[position - 1]);
        if (removed.hasKey) m_positions.erase(removed.foldedKey);
        m_entries.erase(m_entries.begin() + static_cast<std::ptrdiff_t>(position - 1));
        for (std::size_t i = position - 1; i < m_entries.size(); ++i)
            if (m_entries[i].hasKey) m_positions[m_entries[i].foldedKey] = i;
        return true;
    }

    void clear() {
        m_positions.clear();
        std::vector<Entry> removed = std::move(m_entries);
        m_entries.clear();
    }

    /// The items in order, copied: what happens to the list later does not show.
    std::vector<T> Snapshot() const {
        std::vector<T> items;
        items.reserve(size());
        for (const Entry& entry : m_entries) items.push_back(entry.item);
        return items;
    }

private:
    std::size_t NextCapacity() const noexcept {
        return size() < m_entries.capacity() ? m_entries.capacity() : 2 * size() + 4;
    }

    struct Entry {
        T item;
        std::wstring foldedKey;
        bool hasKey;
    };

    std::vector<Entry> m_entries;
    std::unordered_map<std::wstring, std::size_t> m_positions;
};

}  // namespace vtdl::text
