#include "text/HtmlComments.h"

#include <gtest/gtest.h>

namespace vtdl::text {
namespace {

TEST(HtmlComments, AreRemoved) {
    EXPECT_EQ(removeHtmlComments(""), "");
    EXPECT_EQ(removeHtmlComments("no <b>comment</b> -->"), "no <b>comment</b> -->");
    EXPECT_EQ(removeHtmlComments("a<!-- c -->b"), "ab");
    EXPECT_EQ(removeHtmlComments("<!---->a<!--\n--><!--c--->b<!--d-->"), "ab");
    EXPECT_EQ(removeHtmlComments("a<!--> <!-- -->b"), "ab");
}

TEST(HtmlComments, AfterAnUnterminatedOneTheScanStartsAgainAtTheThirdCharacter) {
    EXPECT_EQ(removeHtmlComments("abcd<!-- e"), "abcdcd<!-- e");
    EXPECT_EQ(removeHtmlComments("a<!-- e"), "a!-- e");
    EXPECT_EQ(removeHtmlComments("<!--"), "--");
    EXPECT_EQ(removeHtmlComments("abcd<!--1-->ef<!--2"), "abcdefcdef<!--2");
}

}  // namespace
}  // namespace vtdl::text
