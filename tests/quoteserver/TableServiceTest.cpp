#include "TableService.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "Routes.h"
#include "Rows.h"

namespace quoteserver {
namespace {

using namespace std::chrono;

std::string Sample(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(SAMPLE_DATA "/" + name, std::ios::binary).rdbuf();
    return text.str();
}

Reply Ask(const std::string& query, const TableOptions& options = {}) {
    const TableService tables(DataFolder{SAMPLE_DATA}, options);
    Routes routes;
    routes.Add("GET", "/table.csv",
               [&](const Request& request) { return tables.Answer(request.target.query); });
    return routes.Answer({"GET", ParseTarget("/table.csv?" + query)});
}

std::string ThirdLine(const std::string& page) {
    std::istringstream in(page);
    std::string line;
    for (int i = 0; i < 3; ++i) {
        std::getline(in, line);
    }
    return line;
}

TEST(TableService, UnlimitedDailyTableIsTheFileItself) {
    for (const char* ticker : {"AAPL", "GOOG", "^VIX", "TSLA"}) {
        const Reply reply = Ask("s=" + std::string(ticker), {.rowsPerPage = 0});
        EXPECT_EQ(reply.contentType, "text/csv");
        EXPECT_EQ(reply.body, Sample(std::string(ticker) + ".csv"));
    }
    EXPECT_EQ(Ask("s=spy&g=v").body, Sample("SPY.dividends.csv"));
}

// The way a client reads more than a page: again and again, to the day before the oldest row.
std::string ReadByPages(const std::string& query, std::size_t rowsPerPage) {
    std::string all;
    std::string end;
    for (;;) {
        const Reply reply = Ask(query + end, {.rowsPerPage = rowsPerPage});
        if (reply.status != 200) {
            return all;
        }
        const std::size_t rowsAt = reply.body.find('\n') + 1;
        all += all.empty() ? reply.body : reply.body.substr(rowsAt);
        const std::size_t lastRow = reply.body.rfind('\n', reply.body.size() - 2) + 1;
        const year_month_day before{*ParseIsoDate(reply.body.substr(lastRow, 10)) - days{1}};
        end = "&d=" + std::to_string(static_cast<unsigned>(before.month()) - 1) +
              "&e=" + std::to_string(static_cast<unsigned>(before.day())) +
              "&f=" + std::to_string(static_cast<int>(before.year()));
    }
}

TEST(TableService, PagesNeitherOverlapNorSkip) {
    EXPECT_EQ(ReadByPages("s=AAPL", 200), Sample("AAPL.csv"));
    EXPECT_EQ(ReadByPages("s=ORCL", 1), Sample("ORCL.csv"));
    for (const char* query : {"s=GOOG&g=w", "s=GOOG&g=m", "s=SPY&g=v"}) {
        EXPECT_EQ(ReadByPages(query, 7), Ask(query).body) << query;
    }
}

TEST(TableService, BoundsBelongToTheRangeAndClipTheOldestPeriod) {
    EXPECT_EQ(Ask("s=GOOG&a=11&b=28&c=2011&d=11&e=29&f=2011").body,
              "Date,Open,High,Low,Close,Volume,Adj Close\n"
              "2011-12-29,641.49,643.00,635.20,642.40,1575400,642.40\n"
              "2011-12-28,642.75,645.00,638.10,639.70,2127200,639.70\n");
    EXPECT_EQ(Ask("s=GOOG&a=11&b=28&c=2011&d=11&e=29&f=2011&g=w").body,
              "Date,Open,High,Low,Close,Volume,Adj Close\n"
              "2011-12-28,642.75,645.00,635.20,642.40,1851300,642.40\n");
}

TEST(TableService, WritesTheDatesOfTheFirstYears) {
    EXPECT_EQ(Ask("s=AAPL&a=0&b=1&c=2004&d=0&e=2&f=2004", {.dates = DateForm::DayMonYy}).body,
              "Date,Open,High,Low,Close,Volume,Adj Close\n"
              "2-Jan-04,21.55,21.75,21.18,21.28,5165800,10.64\n");
}

TEST(TableService, EndsWithACommentLineWhenAskedTo) {
    const std::string body = Ask("s=GOOG", {.commentServer = "chart7.example.net"}).body;
    const std::string plain = Ask("s=GOOG").body;
    EXPECT_EQ(body.substr(0, plain.size() + 28), plain + "<!-- chart7.example.net unco");
    EXPECT_EQ(CommentLine("a", sys_days{2013y / October / 7} + 13h + 5min + 9s),
              "<!-- a uncompressed/chunked Mon Oct  7 13:05:09 UTC 2013 -->\n");
}

TEST(TableService, RefusalsSayTheirStatusOnTheThirdLine) {
    for (const char* query :
         {"s=NOPE", "s=GOOG&g=v", "s=GOOG&a=0&b=1&c=2012", "s=GOOG&d=0&e=1&f=2011&g=w",
          "s=GOOG&a=5&b=1&c=2011&d=4&e=1&f=2011"}) {
        const Reply reply = Ask(query);
        EXPECT_EQ(reply.status, 404U) << query;
        EXPECT_EQ(reply.contentType, "text/html");
        EXPECT_TRUE(ThirdLine(reply.body).starts_with("404 Not Found")) << query;
    }
    const Reply reply = Ask("s=GOOG&g=%3Cb%3E");
    EXPECT_EQ(reply.status, 400U);
    EXPECT_TRUE(ThirdLine(reply.body).starts_with("400 Bad Request"));
    EXPECT_EQ(reply.body.find("<b>"), std::string::npos);
}

TEST(Routes, DamagedFileIsA500PageThatNamesFileAndLine) {
    const auto folder =
        std::filesystem::temp_directory_path() / ("quoteserver-test-" + std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "Bad.csv") << priceLayout.header << "\n2004-01-09,1,2\n";
    const TableService tables(DataFolder{folder}, {});
    Routes routes;
    routes.Add("GET", "/table.csv",
               [&](const Request& request) { return tables.Answer(request.target.query); });

    testing::internal::CaptureStderr();
    const Reply reply = routes.Answer({"GET", ParseTarget("/table.csv?s=bad")});
    const std::string log = testing::internal::GetCapturedStderr();
    std::filesystem::remove_all(folder);

    EXPECT_EQ(reply.status, 500U);
    EXPECT_NE(reply.body.find("Bad.csv line 2"), std::string::npos) << reply.body;
    EXPECT_NE(log.find("Bad.csv line 2"), std::string::npos) << log;
    EXPECT_EQ(routes.Answer({"POST", ParseTarget("/table.csv?s=bad")}).status, 404U);
}

}  // namespace
}  // namespace quoteserver
