#include "Output.h"

#include <gtest/gtest.h>

namespace vtdl::host {
namespace {

using Lines = std::vector<std::string>;

TEST(Screens, CoverWhatWasDrawnBefore) {
    EXPECT_EQ(Fitted("a\n\nbcd\n", 3, 10, 0), (Lines{"a  ", "   ", "bcd"}));
    EXPECT_EQ(Fitted("a", 2, 10, 3), (Lines{"a ", "  ", "  "}));
}

TEST(Screens, CutWhatDoesNotFit) {
    EXPECT_EQ(Fitted("Züricher\nZü\n", 3, 10, 0), (Lines{"Zür", "Zü "}));
    EXPECT_EQ(Fitted("a\nb\nc\n", 4, 3, 5), (Lines{"a   ", "b   ", "c   "}));
    EXPECT_EQ(Fitted("a\nb\nc\nd\n", 4, 3, 5), (Lines{"a   ", "b   ", "... "}));
    EXPECT_EQ(Fitted("abc\n", 2, 0, 4), Lines{});
}

}  // namespace
}  // namespace vtdl::host
