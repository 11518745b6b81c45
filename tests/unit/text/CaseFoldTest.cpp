#include "text/CaseFold.h"

#include <gtest/gtest.h>

#include <set>

namespace vtdl::text {
namespace {

TEST(CaseFold, SmallLettersBecomeTheirCapitals) {
    struct Alphabet {
        const wchar_t *small, *capital;
    };
    for (const auto& [small, capital] : {
             Alphabet{L"abcdefghijklmnopqrstuvwxyz", L"ABCDEFGHIJKLMNOPQRSTUVWXYZ"},
             Alphabet{L"àáâãäåæçèéêëìíîïðñòóôõöøùúûüýþ", L"ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖØÙÚÛÜÝÞ"},
             Alphabet{L"āăąćčďđēęěğģįĳķĺļľłńņňŋōőœŕřśşšţťŧūůűųŵŷźżž",
                      L"ĀĂĄĆČĎĐĒĘĚĞĢĮĲĶĹĻĽŁŃŅŇŊŌŐŒŔŘŚŞŠŢŤŦŪŮŰŲŴŶŹŻŽ"},
             Alphabet{L"αβγδεζηθικλμνξοπρστυφχψωϊϋ", L"ΑΒΓΔΕΖΗΘΙΚΛΜΝΞΟΠΡΣΤΥΦΧΨΩΪΫ"},
             Alphabet{L"абвгдежзийклмнопрстуфхцчшщъыьэюя", L"АБВГДЕЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЫЬЭЮЯ"},
             Alphabet{L"ѐёђѓєѕіїјљњћќѝўџѡѣґғқңҭүҿ", L"ЀЁЂЃЄЅІЇЈЉЊЋЌЍЎЏѠѢҐҒҚҢҬҮҾ"},
         }) {
        EXPECT_EQ(FoldCase(small), capital);
        EXPECT_EQ(FoldCase(capital), capital);
    }
}

// A name must never be taken for another one: folding joins two characters at most, and what it
// gives stays as it is.
TEST(CaseFold, JoinsOnlyPairs) {
    std::multiset<wchar_t> results;
    for (int code = 0; code <= 0xFFFF; ++code) {
        const auto c = static_cast<wchar_t>(code);
        const wchar_t folded = FoldCase(c);
        EXPECT_EQ(FoldCase(folded), folded) << code;
        results.insert(folded);
        EXPECT_LE(results.count(folded), 2U) << code;
    }
}

TEST(CaseFold, LeavesEverythingElse) {
    EXPECT_EQ(FoldCase(L"09@[`{÷×ßŉĸς漢字"), L"09@[`{÷×ßŉĸς漢字");
}

}  // namespace
}  // namespace vtdl::text
