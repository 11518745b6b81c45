#include "replies/HistoryTables.h"

#include <cstdio>

#include "Replies.h"
#include "replies/YahooProbe.h"

namespace vtdl::replies {
namespace {

const std::string headerLine = "Date,Open,High,Low,Close,Volume,Adj Close\n";
const std::string threeRows =
    "2004-01-09,10.25,10.50,10,10.4,1000,5.2\n"
    "9-Jan-04,7,8,6.125,7.5,000,7.5\n"
    "1984-09-07,26.50,26.87,26.25,26.50,2981600,3.02\n";

std::string ReplaceAll(const std::string& text, char what, const std::string& with) {
    std::string result;
    for (const char c : text) result += c == what ? with : std::string(1, c);
    return result;
}

Parsed Parse(const std::string& page, bool adjust = false) {
    const auto parse = [=](std::string_view text, Columns& columns, OddFieldReader& reader) {
        const std::size_t count = ParseYahooPage(text, "Date,Open", adjust, columns, reader);
        EXPECT_EQ(count, columns.Rows());
    };
    return ParsedBy(parse, yahooPriceColumns, page);
}

std::vector<Row> ParseClean(const std::string& page, bool adjust = false) {
    const Parsed parsed = Parse(page, adjust);
    EXPECT_TRUE(parsed.oddTexts.empty());
    return parsed.rows;
}

std::vector<Row> PlainPrices(const std::string& page, bool adjust = false) {
    std::vector<Row> rows = PlainRows(page, ',', 7);
    for (Row& row : rows) {
        const double ratio = adjust ? row[6] / row[4] : 1;
        for (std::size_t i = 1; i <= 4; ++i) row[i] *= ratio;
        row[5] /= ratio;
    }
    return rows;
}

TEST(YahooTable, RecordedReplies) {
    for (const auto& [name, rows] : {std::pair{"dMonyy_msft_2003_65rows_nonl.csv", 65U},
                                     {"iso_2016_64rows_6dec.csv", 64U},
                                     {"iso_aapl_1984-2008_6081rows.csv", 6081U},
                                     {"iso_goog_2011_emptylastline.csv", 252U},
                                     {"iso_vix_index_2000-2012_volume000.csv", 3175U},
                                     {"req_INTC_1Y_M.csv", 13U}}) {
        SCOPED_TRACE(name);
        const std::string reply = RecordedReply(std::string("yahoo-table/") + name);
        EXPECT_EQ(ParseClean(reply).size(), rows);
        for (const bool adjust : {false, true})
            EXPECT_EQ(ParseClean(reply, adjust), PlainPrices(reply, adjust));
    }
}

TEST(YahooTable, RowsEndWhereTheTextDoes) {
    const std::string comment =
        "<!-- chart3.example.com compressed Fri Jan  9 13:59:24 UTC 2004 -->";
    std::string rows = threeRows;
    while (PlainPrices(headerLine + rows).size() < yahooFullPage)
        rows += "2003-01-02,1,2,3,4,5,6\n";
    const std::vector<Row> expected = PlainPrices(headerLine + rows);
    const std::string unended = headerLine + rows.substr(0, rows.size() - 1);
    EXPECT_EQ(ParseClean(headerLine + ReplaceAll(rows, ',', "\t")), expected);
    EXPECT_EQ(ParseClean(ReplaceAll(headerLine + rows, '\n', "\r\n")), expected);
    // A # stands for the comment.
    for (const char* tail : {"", "\n", "\n\n", "\n#", "\n#\n", "\n#\n#\n", "#", "#\n", "#\n#\n\n",
                             "\n\n#\n\n#", "##", "\r\n#\r\n", "\n<!", "<!-"}) {
        const std::string page = unended + ReplaceAll(tail, '#', comment);
        EXPECT_EQ(ParseClean(page), expected) << tail;
    }
}

TEST(YahooTable, PagesWithoutRows) {
    for (const std::string& page :
         {std::string(), headerLine + "\n\n", headerLine + "<!-- only a comment -->\n",
          " " + headerLine + threeRows, "\n" + headerLine + threeRows, "date,open\n" + threeRows,
          threeRows, std::string("<!"), std::string("<!DOCTYPE html>\n<html>\n</html>\n")})
        EXPECT_TRUE(ParseClean(page).empty()) << page;
}

TEST(YahooTable, Adjustment) {
    const double day = Serial(2004, 1, 9);
    for (const auto& [fields, row] : {std::pair{"10,12,8,10,1000,5", Row{day, 5, 6, 4, 5, 2000, 5}},
                                      {"10,12,8,0,1000,5", Row{day, 0, 0, 0, 0, 0, 5}},
                                      {"10,12,8,10,1000,0", Row{day, 0, 0, 0, 0, 0, 0}},
                                      // What the reader makes of a field is adjusted, too.
                                      {"x,12,8,10,1000,5", Row{day, 49.5, 6, 4, 5, 2000, 5}}})
        EXPECT_EQ(Parse(headerLine + "2004-01-09," + fields + "\n", true).rows,
                  (std::vector<Row>{row}))
            << fields;
}

TEST(YahooTable, EveryDateOfACenturyInBothForms) {
    using namespace std::chrono;
    for (sys_days day = 1950y / January / 1; day < sys_days{2050y / January / 1}; day += days{1}) {
        const year_month_day date{day};
        const int year = static_cast<int>(date.year());
        const auto month = static_cast<unsigned>(date.month());
        const auto dayOfMonth = static_cast<unsigned>(date.day());
        char iso[40], plain[40], named[40];
        std::snprintf(iso, sizeof iso, "%d-%02u-%02u", year, month, dayOfMonth);
        std::snprintf(plain, sizeof plain, "%d-%u-%u", year, month, dayOfMonth);
        std::snprintf(named, sizeof named, "%u-%s-%02d", dayOfMonth, monthNames[month - 1],
                      year % 100);
        for (const char* text : {iso, plain, named})
            ASSERT_EQ(ParseServiceDate(text), Serial(year, month, dayOfMonth)) << text;
    }
}

TEST(YahooTable, NoDates) {
    for (const std::string& text : Split(RecordedReply("no-dates.txt"), '\n'))
        EXPECT_EQ(ParseServiceDate(text), std::nullopt) << text;
}

// Of neighbouring rows of one month only the days are read.
TEST(YahooTable, DatesBesideDates) {
    std::string page = headerLine;
    std::vector<double> expected, dates;
    for (const std::string& text :
         Split("2003-02-27|2003-02-28|2003-02-29|2003-02-00|2003-02-01|2003-02-1|2003-02-011|2003-"
               "2-01|"
               "2003-02-1x|2003/02-01|2003-02/01|2004-02-01|2004-02-29|2004-02-30|2004-02-10",
               '|')) {
        page += text + ",1,2,3,4,5,6\n";
        expected.push_back(ParseServiceDate(text).value_or(99));
    }
    for (const Row& row : Parse(page).rows) dates.push_back(row[0]);
    EXPECT_EQ(dates, expected);
}

TEST(YahooTable, NotFoundPage) {
    EXPECT_TRUE(IsYahooNotFoundPage("<html>\r\n<body>\r\n404 NOT found</body>\r\n"));
    for (const char* page :
         {"404 Not Found\n404 Not Found\n", "\n\n 404 Not Found\n", "\n\n\n404 Not Found\n",
          "\n\n404 Not Foun\nd", "", "Date,Open\n1,2\n404,3\n"})
        EXPECT_FALSE(IsYahooNotFoundPage(page)) << page;
}

// The score of a probe's reply; what family of servers one names is held against the documented
// expression by the fuzz target.
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
