#include "text/KeyedList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>

namespace vtdl::text {
namespace {

// Random work on a list and on a plain vector of pairs side by side.
TEST(KeyedList, AgreesWithAPlainVector) {
    struct Pair {
        int item;
        std::wstring key;  // none: the empty one, which is never added
    };
    std::mt19937 generator(20040109);
    const auto below = [&](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(generator);
    };
    KeyedList<int> list;
    std::vector<Pair> plain;
    for (int step = 0; step < 20'000; ++step) {
        const std::wstring key = L'k' + std::to_wstring(below(60));
        const auto position = std::find_if(plain.begin(), plain.end(),
                                           [&](const Pair& pair) { return pair.key == key; });
        const bool isThere = position != plain.end();
        switch (below(5)) {
            case 0:
            case 1:
                ASSERT_EQ(list.Add(step, key), !isThere);
                if (!isThere) plain.push_back({step, key});
                break;
            case 2:
                if (plain.size() > 100) break;
                ASSERT_TRUE(list.Add(step));
                plain.push_back({step, {}});
                break;
            case 3:
                ASSERT_EQ(list.Remove(key), isThere);
                if (isThere) plain.erase(position);
                break;
            default:
                if (plain.empty()) break;
                const std::size_t index = below(plain.size());
                ASSERT_TRUE(list.RemoveAt(index + 1));
                plain.erase(plain.begin() + static_cast<std::ptrdiff_t>(index));
        }
        ASSERT_EQ(list.size(), plain.size());
        for (std::size_t i = 0; i < plain.size(); ++i) {
            ASSERT_EQ(*list.at(i + 1), plain[i].item);
            if (plain[i].key.empty()) continue;
            ASSERT_EQ(list.find(plain[i].key), list.at(i + 1));
        }
    }
}

// An item whose release runs code, as the release of an object's last reference does.
using Item = std::shared_ptr<void>;

Item ItemReleasedBy(std::function<void()> action) {
    return Item(nullptr, [action = std::move(action)](void*) { action(); });
}

TEST(KeyedList, ReleasingAnItemMayComeBackToTheList) {
    KeyedList<Item> list;
    int releases = 0;
    const auto addAgain = [&] {
        ++releases;
        EXPECT_EQ(list.find(L"b"), nullptr);
        EXPECT_TRUE(list.Add(nullptr, L"b"));
        EXPECT_TRUE(list.Remove(L"a"));
        EXPECT_EQ(list.find(L"c"), list.at(1));
        EXPECT_EQ(list.find(L"b"), list.at(2));
    };
    list.Add(nullptr, L"a");
    list.Add(ItemReleasedBy(addAgain), L"b");
    list.Add(nullptr, L"c");
    EXPECT_TRUE(list.Remove(L"b"));
    list.Add(ItemReleasedBy([&] { list.Add(nullptr, L"d"); }), L"e");
    list.clear();
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(list.find(L"d"), list.at(1));
}

}  // namespace
}  // namespace vtdl::text
