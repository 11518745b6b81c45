#include "Formats.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vtdl::host {
namespace {

Value Text(const char* text) { return std::string(text); }

const Block prices{"HISTORICAL",
                   {{"DATE", {Date{39449}, Date{39450}}},
                    {"CLOSE", {7.25 + 1e-14, 1234.5}},
                    {"VOLUME", {100.0, {}}},
                    {"NOTE", {Text("Zürich"), Text("a, \"b\"")}}}};

TEST(Tables, AlignNumbersByTheirPoints) {
    EXPECT_EQ(TableOf(prices),
              "DATE          CLOSE  VOLUME  NOTE\n"
              "----------  -------  ------  ------\n"
              "2008-01-02     7.25     100  Zürich\n"
              "2008-01-03  1234.5           a, \"b\"\n");
}

TEST(Tables, ListTheValuesOfAQuote) {
    const Block quote{"TICKER",
                      {{"TICKER", {Text("GOOG")}}, {"TRADE TIME", {Date{16.0 / 24}}}, {"BID", {}}},
                      true};
    EXPECT_EQ(TableOf(Result{"S", {quote}}), "TICKER      GOOG\nTRADE TIME  16:00:00\nBID\n");
    EXPECT_EQ(CsvOf({"S", {quote}}), "TICKER,TRADE TIME,BID\nGOOG,16:00:00,\n");
}

TEST(Csv, QuotesOnlyWhatNeedsIt) {
    EXPECT_EQ(CsvOf({"S", {prices}}),
              "DATE,CLOSE,VOLUME,NOTE\n"
              "2008-01-02,7.25000000000001,100,Zürich\n"
              "2008-01-03,1234.5,,\"a, \"\"b\"\"\"\n");
    EXPECT_EQ(CsvOf({"S", {{"B", {{"A\nB", {Text(" x"), Text("")}}}}}}), "\"A\nB\"\n\" x\"\n\n");
}

TEST(Csv, TextsThatWouldBeRunGetAnApostrophe) {
    const auto csvOf = [](const Value& value, bool asIs = false) {
        return CsvOf({"S", {{"B", {{"A", {value}}}}}}, {',', '.', asIs});
    };
    for (const char* text : {"=1+1", "+cmd|x", "@sum", "-x", " =1", "\t=1", "+1-x"}) {
        EXPECT_NE(csvOf(Text(text)).find(std::string("'") + text), std::string::npos) << text;
        EXPECT_EQ(csvOf(Text(text), true).find('\''), std::string::npos) << text;
    }
    for (const char* text : {"-1.5", "-", "+1.25%", "a=b", "", "(-)"})
        EXPECT_EQ(csvOf(Text(text)), std::string("A\n") + text + "\n");
}

TEST(Csv, IsOneTableForSeveralBlocks) {
    Result tickers{"S", {}};
    Append(tickers, {"S", {{"HISTORICAL", {{"LAST", {1.0}}}}}}, "A");
    EXPECT_EQ(CsvOf(tickers), "BLOCK,LAST\nA,1\n") << "the others have failed";
    const Block calls{"CALLS", {{"BID", {1.0, 2.0}}, {"LAST", {3.0}}}};
    Append(tickers, {"S", {calls, {"PUTS", {{"LAST", {3.0}}}}}}, "B");
    EXPECT_EQ(CsvOf(tickers), "BLOCK,LAST,BID\nA,1,\nB CALLS,3,1\nB CALLS,,2\nB PUTS,3,\n");
}

TEST(Json, KeepsOrderAndTypes) {
    const Block block{"DATA",
                      {{"Z", {Date{39449}}},
                       {"A", {70749800.0}},
                       {"C", {true}},
                       {"D", {}},
                       {"E", {Text("\"\n")}}}};
    std::string text = JsonOf(Result{"S", {block}});
    std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_EQ(text, R"({"source":"S","blocks":{"DATA":[{"Z":"2008-01-02","A":70749800,"C":true,)"
                    R"("D":null,"E":"\"\n"}]}})");
}

TEST(Results, WithoutRowsAreTold) {
    const struct {
        std::vector<Column> columns;
        bool isQuote, hasRows;
    } cases[] = {
        {{{"DATE", {Date{0}}}, {"CLOSE", {0.0}}}, false, false},
        {{{"DATE", {Date{39449}}}, {"CLOSE", {0.0}}}, false, true},
        {{{"CLOSE", {0.0}}}, false, true},
        {{{"DATE", {Date{0}, Date{0}}}, {"CLOSE", {0.0, 0.0}}}, false, true},
        {{{"TICKER", {Text("")}}, {"LAST", {}}}, true, false},
        {{{"TICKER", {Text("")}}, {"LAST", {0.0}}}, true, true},
    };
    for (const auto& [columns, isQuote, hasRows] : cases)
        EXPECT_EQ(HasRows({"S", {{"B", columns, isQuote}}}), hasRows)
            << CsvOf({"S", {{"B", columns}}});
}

TEST(Results, AreCutToTheirNewestRows) {
    const auto cut = [](std::vector<Value> dates, std::size_t rows) {
        const Block block{"B", {{"N", {1.0, 2.0, 3.0}}, {"DATE", std::move(dates)}}};
        return CsvOf(Newest({"S", {block}}, rows));
    };
    EXPECT_EQ(cut({Date{39449}, Date{39450}, Date{39451}}, 2),
              "N,DATE\n2,2008-01-03\n3,2008-01-04\n");
    EXPECT_EQ(cut({Date{39451}, Date{39450}, Date{39449}}, 1), "N,DATE\n1,2008-01-04\n");
    EXPECT_EQ(cut({}, 1), "N,DATE\n1,\n2,\n3,\n");
}

constexpr Date november{42692}, january{42755};

// The second row has no put, the third no call, the last neither.
const Block calls{"CALLS",
                  {{"TICKER", {Text("K105"), Text("K110"), Text(""), Text("")}},
                   {"EXPIRATION", {november, november, Date{0}, Date{0}}},
                   {"STRIKE", {105.0, 110.0, 0.0, 0.0}},
                   {"BID", {4.7, 0.09, 0.0, 0.0}}}};
const Block puts{"PUTS",
                 {{"TICKER", {Text("W105"), Value{}, Text("M97.5"), Value{}}},
                  {"EXPIRATION", {november, Value{}, january, Value{}}},
                  {"STRIKE", {105.0, Value{}, 97.5, Value{}}},
                  {"BID", {0.0, Value{}, 1.25, Value{}}}}};

TEST(Chains, AreOneTableWithTheSeriesInTheMiddle) {
    EXPECT_EQ(TableOf(Result{"CBOE", {calls, puts}}),
              "CALLS         |                      |  PUTS\n"
              "TICKER   BID  |  STRIKE  EXPIRATION  |   BID  TICKER\n"
              "------  ----  |  ------  ----------  |  ----  ------\n"
              "K105    4.7   |   105    2016-11-18  |  0     W105\n"
              "K110    0.09  |   110    2016-11-18  |\n"
              "              |    97.5  2017-01-20  |  1.25  M97.5\n");
}

// Side by side they would say that options belong together which do not.
TEST(Chains, AreNoneWhenTheSidesDoNotMatch) {
    void (*const changes[])(Block&) = {
        [](Block& side) { side.columns[2].values[0] = 100.0; },
        [](Block& side) { side.columns[1].values[0] = january; },
        [](Block& side) { side.columns.clear(); },
    };
    for (const auto& change : changes) {
        Block others = puts;
        change(others);
        EXPECT_FALSE(ChainOf(calls, others));
    }
}

}  // namespace
}  // namespace vtdl::host
