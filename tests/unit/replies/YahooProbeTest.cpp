// The score of a probe's reply and the family of servers it names, by the documented expressions.

#include "replies/YahooProbe.h"

#include "Replies.h"

namespace vtdl::replies {
namespace {

TEST(YahooProbe, ScoreCountsDailyRows) {
    const std::string row = "9-Jan-04,1.0,1.0,1.0,1.0,100,1.0";
    const std::pair<std::string, long> cases[] = {
        {"Date,Ope", -1},
        {" Date,Open\n" + row, -1},
        {"dATE,oPEN", 0},
        {"Date,Open\r\n" + row + "\r\n\r\n" + row + "\n<!-- x -->\n", 2},
        {"Date,Open\n" + row + "\r" + row + "\n " + row + "\n" + row + " \n" + row + ",\n", 2},
        {"Date,Open\n1-_-2,.,.,.,.,1,.\n1-J-04,1,1,1,1,1.0,1\n2004-01-09,1,1,1,1,1,1\n", 2},
        {"Date,Open\n-Jan-04,1,1,1,1,1,1\n9-J\xE9-04,1,1,1,1,1,1\n9-Jan-04,1,,1,1,1,1\n", 0},
    };
    for (const auto& [reply, score] : cases)
        EXPECT_EQ(YahooReplyValidityIndex(reply), score) << reply;
}

// Any text is compared with the documented expression by the fuzz target.
TEST(YahooProbe, FamilyOfAComment) {
    EXPECT_EQ(FindServerFamily("x\n<!-- quotes5.family.example uncompressed/chunked -->\r\nmore"),
              (ServerFamily{"quotes", "family.example"}));
    EXPECT_EQ(FindServerFamily("<!-- a1.b -->"), std::nullopt);
}

// Whatever a server sends, it is looked at once.
TEST(YahooProbe, TimeGrowsWithTheReply) {
    const auto start = std::chrono::steady_clock::now();
    for (const char* piece : {" ", "a", "1", ".", "<!-- a1.b \r", "<!--\n", "<!-- a1.b x\r\n"}) {
        std::string text = "<!-- a1.b";
        while (text.size() < 400'000) text += piece;
        EXPECT_EQ(FindServerFamily(text), std::nullopt) << piece;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace vtdl::replies
