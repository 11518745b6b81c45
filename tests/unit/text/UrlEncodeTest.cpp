#include "text/UrlEncode.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>

namespace vtdl::text {
namespace {

TEST(UrlEncode, SpaceIsPlusOrHexadecimal) {
    EXPECT_EQ(UrlEncode("A B", true), "A+B");
    EXPECT_EQ(UrlEncode("A B", false), "A%20B");
    EXPECT_EQ(UrlEncode("", true), "");
}

TEST(UrlEncode, EveryOtherByte) {
    for (int code = 0; code < 256; ++code) {
        if (code == ' ') continue;
        const char c = static_cast<char>(code);
        const bool isPlain = code < 128 && std::isalnum(code) != 0;
        const bool hasOneDigit = code >= 10 && code <= 15;
        char hex[8];
        std::snprintf(hex, sizeof hex, hasOneDigit ? "%%%X" : "%%%02X",
                      static_cast<unsigned>(code));
        EXPECT_EQ(UrlEncode({&c, 1}, true), isPlain ? std::string(1, c) : hex) << code;
    }
}

}  // namespace
}  // namespace vtdl::text
