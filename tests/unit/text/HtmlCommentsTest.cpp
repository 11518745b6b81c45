#include "text/HtmlComments.h"

#include <gtest/gtest.h>

namespace vtdl::text {
namespace {

TEST(HtmlComments, AreRemoved) {
    EXPECT_EQ(RemoveHtmlComments(""), "");
    EXPECT_EQ(RemoveHtmlComments("no <b>comment</b> -->"), "no <b>comment</b> -->");
    EXPECT_EQ(RemoveHtmlComments("a<!-- c -->b"), "ab");
    EXPECT_EQ(RemoveHtmlComments("<!---->a<!--\n--><!--c--->b<!--d-->"), "ab");
    EXPECT_EQ(RemoveHtmlComments("a<!--> <!-- -->b"), "ab");
}

TEST(HtmlComments, AfterAnUnterminatedOneTheScanStartsAgainAtTheThirdCharacter) {
    EXPECT_EQ(RemoveHtmlComments("abcd<!-- e"), "abcdcd<!-- e");
    EXPECT_EQ(RemoveHtmlComments("a<!-- e"), "a!-- e");
    EXPECT_EQ(RemoveHtmlComments("<!--"), "--");
    EXPECT_EQ(RemoveHtmlComments("abcd<!--1-->ef<!--2"), "abcdefcdef<!--2");
}

}  // namespace
}  // namespace vtdl::text
