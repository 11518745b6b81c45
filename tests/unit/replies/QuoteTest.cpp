#include "replies/Quote.h"

#include "Replies.h"

namespace vtdl::replies {
namespace {

using Values = std::vector<std::string_view>;

constexpr double minute = 1 / 1440.0;

TEST(Quote, Values) {
    EXPECT_EQ(SplitQuote(""), (Values{""}));
    EXPECT_EQ(SplitQuote("A , 1.5,,\tN/A\r\n"), (Values{"A", "1.5", "", "N/A"}));
    EXPECT_EQ(Unquoted("\"A\",1,\"B \"\"C\"\r\n"), "A,1,B C");
    // A name with a comma shifts what follows by one place; that is accepted.
    EXPECT_EQ(SplitQuote(Unquoted(RecordedReply("yahoo-quotes/simple_TSLA.csv")))[2], "TSLA");
    for (const std::string& line : Split(RecordedReply("yahoo-quotes/quoted-lines.txt"), '\n')) {
        const std::string quote = Unquoted(line);
        const Values values = SplitQuote(quote);
        ASSERT_EQ(values.size(), 9U) << line;
        EXPECT_TRUE(ParseQuoteDate(values[2])) << line;
        EXPECT_GT(ParseQuoteTime(values[3]), 0) << line;
    }
}

TEST(Quote, Times) {
    for (const auto& [text, time] : {std::pair{"4:05pm", 965 * minute},
                                     {"4:05am", 245 * minute},
                                     {"12:30pm", 1 + 30 * minute},  // the next day, on purpose
                                     {"12:15am", 735 * minute},     // noon, on purpose
                                     {"4pm", 0.0},
                                     {"", 0.0}})
        EXPECT_DOUBLE_EQ(ParseQuoteTime(text).value_or(-1), time) << text;
    for (const char* text : {":", "4:", "4:p", "4:pm", "x:05pm", "4:xxpm", "16:05"})
        EXPECT_EQ(ParseQuoteTime(text), std::nullopt) << text;
}

TEST(Quote, Dates) {
    EXPECT_EQ(ParseQuoteDate("12/31/1969"), Serial(1969, 12, 31));
    for (const std::string& text :
         Split("|/|//|1/9|2004-01-09|13/1/2004|2/30/2004|a/b/c|1/9/2004/5", '|'))
        EXPECT_EQ(ParseQuoteDate(text), std::nullopt) << text;
}

}  // namespace
}  // namespace vtdl::replies
