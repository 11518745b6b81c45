// Databases as sources, on the one that needs no server; databases.sh has another.
#include "living/Database.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "living/Feed.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

const Today today{sys_days{2026y / November / 22}, true};

const char* const prices =
    "select day as date, o as open, h as high, l as low, c as close, v as volume,"
    " a as adj_close from p where t = ? and day between ? and ?";

class DatabaseTest : public testing::Test {
protected:
    void SetUp() override {
        TearDown();
        ASSERT_EQ(
            RunCommand({"sqlite3", m_file, ".read " TEST_DATA "/tables.sql"}, seconds(5)).status,
            200U);
    }
    void TearDown() override { std::filesystem::remove(m_file); }

    Outcome Ask(const Statements& statements, Kind kind = Kind::History, const char* ticker = "X",
                const char* driver = "SQLite3") {
        FeedSpec spec{"db"};
        spec.pace = {1000, seconds(1)};
        spec.timeout = seconds(1);
        spec.odbc = std::string("Driver=") + driver + ";Pwd=geheim;Database=" + m_file;
        spec.statements = statements;
        FeedsFile file;
        file.secrets = {"geheim"};
        return Feed(spec, file, *m_client).Fetch({kind, ticker}, today);
    }

    const std::string m_file =
        std::filesystem::temp_directory_path() / ("prices" + std::to_string(getpid()) + ".db");
    const std::unique_ptr<WebClient> m_client = ReplayClient(".");
};

TEST_F(DatabaseTest, TablesBecomeFiles) {
    const Statements all{
        prices,
        "select day as date, amount as dividends from events where t = ?",
        "select day as date, shares as splits from events where t = ? and day > ?",
        "select 'Of 3M, \"new\"' as n, c as l1, '10.50' as p, moment as time from p where t = ? "
        "and v > 0",
        "select option, bid, iv as implied_volatility, moment as time, share as underlying_last "
        "from o"
        " where t = ?",
        "select 'NYM' as exchange, 'Of \"3\", NY' as name",
        "select 'CL' as ticker, 'NYM' as exchange, '2026-12-01 00:00' as month"};
    const struct {
        Statements statements;
        Kind kind;
        const char *ticker, *suffix, *part;
    } cases[] = {
        // Numbers of any type, null and texts filled up among them.
        {all, Kind::History, "X", ".csv",
         "\n2024-01-03,20.1,22,20,21,000,21\n"
         "2024-01-02,10,11.25,9.5,10.5,12000000000,10.4\n"},
        {all, Kind::History, "X", ".dividends.csv", "\n2024-01-03,0.25\n"},
        {all, Kind::History, "X", ".splits.csv", "\n2024-01-03,0.5\n"},
        {all, Kind::Quotes, "X", ".quote.csv",
         "d1,l1,n,p,p2,s,t1\n+0.00,1/2/2024,10.5,Of 3M new,"
         "10.5,+0.00%,X,4:00pm\n"},
        {all, Kind::Options, "X", ".options.csv", "(X2618L100),0.0,0.0,1.50,"},
        {all, Kind::Options, "X", ".chain.csv",
         "\nX,101.5,,2026-11-20,,,\n#CALLS\nTICKER,EXPIRATION,STRIKE,LAST,NET,BID,ASK,VOLUME,"
         "OPENINT,"
         "IMPLIED VOLATILITY\nX261218C00100000,2026-12-18,100,,,1.5,,,,0.25\n#PUTS\n"},
        {all, Kind::Lists, "EXCHANGES", ".list.csv", "EXCHANGE,NAME\n\"NYM\",\"Of '3', NY\"\n"},
        {all, Kind::Lists, "CONTRACTS", ".list.csv",
         "TICKER,EXCHANGE,MONTH\n\"CL\",\"NYM\",\"2026-12-01\"\n"},
        {all, Kind::Futures, "X", ".futures.csv", "\n2024-01-02,10,11.25,9.5,10.5,12000000000\n"},
        // A ticker is a value, whatever it looks like.
        {all, Kind::History, "O'X", ".csv", "Close\n2024-01-02,1,1,1,1,5,1\n"},
        // Closes alone, and moments as days.
        {{"select moment as \"Date\", c as CLOSE from p where t = ?"},
         Kind::History,
         "X",
         ".csv",
         "\n2024-01-02,10.5,10.5,10.5,10.5,000,10.5\n"},
        // Events beside the prices, and adjusted closes worked out of them.
        {{"select p.day as date, c as close, amount as dividends, shares as splits from p left join"
          " events on events.day = p.day where p.t = ?"},
         Kind::History,
         "X",
         ".csv",
         "\n2024-01-02,10.5,10.5,10.5,10.5,000,20.75\n"},
    };
    for (const auto& test : cases) {
        const Outcome outcome = Ask(test.statements, test.kind, test.ticker);
        ASSERT_EQ(outcome.state, State::Rows) << outcome.why;
        EXPECT_NE(outcome.files.at(test.suffix).find(test.part), std::string::npos)
            << outcome.files.at(test.suffix);
    }
}

TEST_F(DatabaseTest, WhatFailsSaysWhy) {
    const struct {
        const char *statement, *ticker, *driver;
        State state;
        const char* why;
    } cases[] = {
        {prices, "X' or '1'='1", "SQLite3", State::Unknown, "there are no rows of it"},
        {"select day as date, c as price from p", "X", "SQLite3", State::Nonsense,
         "the statement has a column of an unknown name: price"},
        {"select day as date from p", "X", "SQLite3", State::Nonsense,
         "the statement has no column Close"},
        {"select day as date, 'much' as close from p", "X", "SQLite3", State::Nonsense,
         "\"much\" is not a number"},
        {"select day as date, hex(zeroblob(64)) as close from p", "X", "SQLite3", State::Nonsense,
         "a value is longer than 127 bytes"},
        {"select o as date, c as close from p", "X", "SQLite3", State::Nonsense, "is not a date"},
        {"select 1 where 1 in (?, ?, ?, ?)", "X", "SQLite3", State::Nonsense, "three parameters"},
        {"create table q(t text)", "X", "SQLite3", State::Nonsense, "brings no table"},
        {"select day as date, c as close, 'geheim' from nowhere", "X", "SQLite3", State::Refused,
         "no such table: nowhere"},
        {"with recursive n(i) as (select 1 union all select i + 1 from n) select max(i) from n",
         "X", "SQLite3", State::Down, "not done in time"},
        {prices, "X", "/nowhere/geheim.so", State::Down, "'/nowhere/******.so'"},
    };
    for (const auto& test : cases) {
        const Outcome outcome = Ask({test.statement}, Kind::History, test.ticker, test.driver);
        EXPECT_EQ(NameOf(outcome.state), NameOf(test.state)) << test.statement << outcome.why;
        EXPECT_NE(outcome.why.find(test.why), std::string::npos) << outcome.why;
        EXPECT_EQ(outcome.why.find("geheim"), std::string::npos) << outcome.why;
    }
}

}  // namespace
}  // namespace quoteserver::living
