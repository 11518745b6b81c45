#include "text/KeyedList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace vtdl::text {
namespace {

// Random work on a list and on a plain vector of pairs side by side; an empty key is none.
TEST(KeyedList, AgreesWithAPlainVector) {
    std::mt19937 numbers(20040109);
    const auto below = [&](std::size_t limit) { return numbers() % limit; };
    KeyedList<int> list;
    std::vector<std::pair<int, std::wstring>> plain;
    for (int step = 0; step < 5'000; ++step) {
        const std::size_t action = below(5), index = below(plain.size() + 1);
        const std::wstring key = L'k' + std::to_wstring(below(60));
        const auto found = std::ranges::find(plain, key, &std::pair<int, std::wstring>::second);
        const bool isThere = found != plain.end();
        if (action < 2) {
            ASSERT_EQ(list.Add(step, key), !isThere);
            if (!isThere) plain.emplace_back(step, key);
        } else if (action == 2 && plain.size() <= 100) {
            ASSERT_TRUE(list.Add(step));
            plain.emplace_back(step, L"");
        } else if (action == 3) {
            ASSERT_EQ(list.Remove(key), isThere);
            if (isThere) plain.erase(found);
        } else {
            ASSERT_EQ(list.RemoveAt(index + 1), index < plain.size());
            if (index < plain.size())
                plain.erase(plain.begin() + static_cast<std::ptrdiff_t>(index));
        }
        ASSERT_EQ(list.size(), plain.size());
        for (std::size_t i = 0; i < plain.size(); ++i) {
            ASSERT_EQ(*list.at(i + 1), plain[i].first);
            if (plain[i].second.empty()) continue;
            ASSERT_EQ(list.find(plain[i].second), list.at(i + 1));
        }
    }
}

// An item's release may run code, as the release of an object's last reference does.
TEST(KeyedList, ReleasingAnItemMayComeBackToTheList) {
    KeyedList<std::shared_ptr<void>> list;
    const auto releasedBy = [](auto action) {
        return std::shared_ptr<void>(nullptr, [=](void*) { action(); });
    };
    list.Add(nullptr, L"a");
    list.Add(releasedBy([&] {
                 EXPECT_EQ(list.find(L"b"), nullptr);
                 EXPECT_TRUE(list.Add(nullptr, L"b"));
                 EXPECT_TRUE(list.Remove(L"a"));
                 EXPECT_EQ(list.find(L"c"), list.at(1));
             }),
             L"b");
    list.Add(nullptr, L"c");
    EXPECT_TRUE(list.Remove(L"b"));
    EXPECT_EQ(list.find(L"b"), list.at(2)) << "it came back";
    list.Add(releasedBy([&] { list.Add(nullptr, L"d"); }), L"e");
    list.clear();
    EXPECT_EQ(list.find(L"d"), list.at(1));
}

}  // namespace
}  // namespace vtdl::text
