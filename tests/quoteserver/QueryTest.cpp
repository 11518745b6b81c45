#include <gtest/gtest.h>

#include "TableQuery.h"

namespace quoteserver {
namespace {

using namespace std::chrono;

TEST(Query, SurvivesStrayAmpersandsAndReadsEscapes) {
    const Target target = ParseTarget("/table.csv?&s=%5eVIX&&flag&x=a%20b+c%3D&s=second&");
    EXPECT_EQ(target.path, "/table.csv");
    EXPECT_EQ(target.query.value("s"), "^VIX");
    EXPECT_EQ(target.query.value("x"), "a b c=");
    EXPECT_EQ(target.query.value("flag"), "");
    EXPECT_EQ(target.query.value("missing"), "");
}

TEST(Query, KeepsPercentSignsThatBeginNoEscape) {
    const Query query{"a=%&b=%4&c=%zz&d=%41"};
    EXPECT_EQ(query.value("a"), "%");
    EXPECT_EQ(query.value("b"), "%4");
    EXPECT_EQ(query.value("c"), "%zz");
    EXPECT_EQ(query.value("d"), "A");
}

TEST(TableQuery, CountsMonthsFromZeroInAnyOrderOfKeys) {
    const TableQuery query =
        ParseTableQuery(Query{"&g=w&f=2016&d=11&e=31&c=2015&b=9&a=0&s=aapl&ignore=.csv"});
    EXPECT_EQ(query.ticker, "aapl");
    EXPECT_EQ(query.range.first, Date{2015y / January / 9});
    EXPECT_EQ(query.range.last, Date{2016y / December / 31});
    EXPECT_EQ(query.kind, TableKind::Weekly);
}

TEST(TableQuery, HasNoBoundsWithoutDates) {
    const TableQuery query = ParseTableQuery(Query{"s=AAPL&a=&b=&c="});
    EXPECT_FALSE(query.range.first || query.range.last);
    EXPECT_EQ(query.kind, TableKind::Daily);
}

TEST(TableQuery, RefusesWhatMakesNoSense) {
    for (const char* text : {"",
                             "s=",
                             "s=A/B",
                             "s=A%5CB",
                             "s=..",
                             "s=A..B",
                             "s=A%00",
                             "s=A%0AB",
                             "s=C:A",
                             "s=A*",
                             "s=A&g=x",
                             "s=A&g=dd",
                             "s=A&a=1",
                             "s=A&a=0&b=1&c=20x8",
                             "s=A&a=12&b=1&c=2008",
                             "s=A&a=-1&b=1&c=2008",
                             "s=A&a=1&b=30&c=2008",
                             "s=A&a=1&b=29&c=2007",
                             "s=A&d=0&e=257&f=2008",
                             "s=A&d=0&e=1&f=99999999999",
                             "s=A&d=0&e=1&f=67544"}) {
        EXPECT_THROW(ParseTableQuery(Query{text}), BadQuery) << text;
    }
}

}  // namespace
}  // namespace quoteserver
