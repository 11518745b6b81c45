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
    const std::string line = Unquoted(RecordedReply("yahoo-quotes/simple_TSLA.csv"));
    EXPECT_EQ(SplitQuote(line)[1], "Inc.");
    EXPECT_EQ(SplitQuote(line)[2], "TSLA");
}

// Symbol, price, date and time of every recorded line, read by eye and by field.
TEST(Quote, RecordedLines) {
    struct Expected {
        std::string symbol;
        double date, time;
    };
    const Expected expected[] = {{"USVOE.OB", Serial(2000, 4, 12), 960 * minute},
                                 {"NT.TO", Serial(2002, 12, 2), 1013 * minute},
                                 {"SUNW", Serial(2002, 12, 3), 960 * minute}};
    const std::vector<std::string> lines =
        Split(RecordedReply("yahoo-quotes/quoted-lines.txt"), '\n');
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string quote = Unquoted(lines[i]);
        const Values values = SplitQuote(quote);
        ASSERT_EQ(values.size(), 9U) << lines[i];
        EXPECT_TRUE(ParseQuoteDate(values[2])) << lines[i];
        EXPECT_GT(ParseQuoteTime(values[3]), 0) << lines[i];
        if (i >= std::size(expected)) continue;
        EXPECT_EQ(values[0], expected[i].symbol);
        EXPECT_EQ(ParseQuoteDate(values[2]), expected[i].date);
        EXPECT_DOUBLE_EQ(*ParseQuoteTime(values[3]), expected[i].time);
    }
}

TEST(Quote, Times) {
    EXPECT_DOUBLE_EQ(*ParseQuoteTime("4:05pm"), 965 * minute);
    EXPECT_DOUBLE_EQ(*ParseQuoteTime("4:05am"), 245 * minute);
    EXPECT_DOUBLE_EQ(*ParseQuoteTime("12:30pm"), 1 + 30 * minute);  // the next day, on purpose
    EXPECT_DOUBLE_EQ(*ParseQuoteTime("12:15am"), 735 * minute);     // noon, on purpose
    EXPECT_EQ(ParseQuoteTime("4pm"), 0);
    EXPECT_EQ(ParseQuoteTime(""), 0);
    for (const char* text : {":", "4:", "4:p", "4:pm", "x:05pm", "4:xxpm", "16:05"})
        EXPECT_EQ(ParseQuoteTime(text), std::nullopt) << text;
}

TEST(Quote, Dates) {
    EXPECT_EQ(ParseQuoteDate("1/9/2004"), Serial(2004, 1, 9));
    EXPECT_EQ(ParseQuoteDate("12/31/1969"), Serial(1969, 12, 31));
    for (const char* text :
         {"", "/", "//", "1/9", "2004-01-09", "13/1/2004", "2/30/2004", "a/b/c", "1/9/2004/5"})
        EXPECT_EQ(ParseQuoteDate(text), std::nullopt) << text;
}

}  // namespace
}  // namespace vtdl::replies
