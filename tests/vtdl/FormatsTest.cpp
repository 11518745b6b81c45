#include "Formats.h"

#include <gtest/gtest.h>

#include "Output.h"

namespace vtdl::host {
namespace {

Value Text(const char* text) { return std::string(text); }

const Block prices{"HISTORICAL",
                   {{"DATE", {Date{39449}, Date{39450}}},
                    {"CLOSE", {7.25, 1234.5}},
                    {"VOLUME", {100.0, {}}},
                    {"NOTE", {Text("Zürich"), Text("a, \"b\"")}}}};

TEST(Tables, AlignNumbersByTheirPoints) {
    EXPECT_EQ(TableOf(prices),
              "DATE          CLOSE  VOLUME  NOTE\n"
              "----------  -------  ------  ------\n"
              "2008-01-02     7.25     100  Zürich\n"
              "2008-01-03  1234.5           a, \"b\"\n");
}

TEST(Tables, AlignTextsThatLookLikeNumbersToTheLeft) {
    EXPECT_EQ(
        TableOf(Block{"", {{"T", {Text("100"), Text("a\nb\x7F\u009B")}}, {"U", {Text("1")}}}}),
        "T      U\n-----  -\n100    1\na b\n");
}

TEST(Tables, NameTheirBlocksWhenThereAreSeveral) {
    const Block one{"CALLS", {{"BID", {1.0}}}};
    const Block two{"PUTS", {{"BID", {2.0}}}};
    EXPECT_EQ(TableOf(Result{"S", {one}}), "BID\n---\n  1\n");
    EXPECT_EQ(TableOf(Result{"S", {one, two}}),
              "CALLS\n\nBID\n---\n  1\n\nPUTS\n\nBID\n---\n  2\n");
}

TEST(Tables, ListTheValuesOfAQuote) {
    const Block quote{"TICKER",
                      {{"TICKER", {Text("GOOG")}},
                       {"LAST TRADE", {759.66}},
                       {"TRADE TIME", {Date{16.0 / 24}}},
                       {"BID", {}}},
                      true};
    const std::string list =
        "TICKER      GOOG\n"
        "LAST TRADE  759.66\n"
        "TRADE TIME  16:00:00\n"
        "BID\n";
    EXPECT_EQ(TableOf(quote), list);
    EXPECT_EQ(TableOf(Result{"S", {quote}}), list);
    EXPECT_EQ(CsvOf({"S", {quote}}), "TICKER,LAST TRADE,TRADE TIME,BID\nGOOG,759.66,16:00:00,\n");
}

TEST(Csv, QuotesOnlyWhatNeedsIt) {
    EXPECT_EQ(CsvOf({"S", {prices}}),
              "DATE,CLOSE,VOLUME,NOTE\n"
              "2008-01-02,7.25,100,Zürich\n"
              "2008-01-03,1234.5,,\"a, \"\"b\"\"\"\n");
    EXPECT_EQ(CsvOf({"S", {{"B", {{"A\nB", {Text(" x"), Text("")}}}}}}), "\"A\nB\"\n\" x\"\n\n");
}

TEST(Csv, TextsThatWouldBeRunGetAnApostrophe) {
    for (const char* text : {"=1+1", "+cmd|x", "@sum", "-x", " =1", "\t=1", "+1-x"}) {
        const Result result{"S", {{"B", {{"A", {Text(text)}}}}}};
        EXPECT_NE(CsvOf(result).find(std::string("'") + text), std::string::npos) << text;
        EXPECT_EQ(CsvOf(result, {',', '.', true}).find('\''), std::string::npos) << text;
    }
    for (const char* text : {"-1.5", "-", "+1.25%", "a=b", "", "(-)"})
        EXPECT_EQ(CsvOf({"S", {{"B", {{"A", {Text(text)}}}}}}), std::string("A\n") + text + "\n");
    EXPECT_EQ(CsvOf({"S", {{"B", {{"A", {-1.5}}}}}}), "A\n-1.5\n");
}

TEST(Csv, IsOneTableForSeveralBlocks) {
    Result tickers{"S", {}};
    Append(tickers, {"S", {{"HISTORICAL", {{"LAST", {1.0}}}}}}, "A");
    EXPECT_EQ(CsvOf(tickers), "BLOCK,LAST\nA,1\n") << "the others have failed";
    Append(tickers, {"S", {{"CALLS", {{"LAST", {2.0}}}}, {"PUTS", {{"LAST", {3.0}}}}}}, "B");
    EXPECT_EQ(CsvOf(tickers), "BLOCK,LAST\nA,1\nB CALLS,2\nB PUTS,3\n");
    const Block quote{"TICKER", {{"LAST", {5.0}}}};
    const Block calls{"CALLS", {{"BID", {1.0, 2.0}}, {"LAST", {3.0}}}};
    EXPECT_EQ(CsvOf({"S", {quote, calls}}),
              "BLOCK,LAST,BID\n"
              "TICKER,5,\n"
              "CALLS,3,1\n"
              "CALLS,,2\n");
}

TEST(Json, KeepsOrderAndTypes) {
    const Block block{"DATA",
                      {{"Z", {Date{39449}}},
                       {"A", {70749800.0}},
                       {"B", {0.1}},
                       {"C", {true}},
                       {"D", {}},
                       {"E", {Text("\"\n")}}}};
    std::string text = JsonOf(Result{"S", {block}});
    std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_EQ(text,
              "{\"source\":\"S\",\"blocks\":{\"DATA\":[{\"Z\":\"2008-01-02\",\"A\":70749800,"
              "\"B\":0.1,\"C\":true,\"D\":null,\"E\":\"\\\"\\n\"}]}}");
}

TEST(Results, WithoutRowsAreTold) {
    const auto hasRows = [](std::vector<Column> columns) {
        return HasRows({"S", {{"HISTORICAL", std::move(columns)}}});
    };
    EXPECT_FALSE(HasRows({"S", {}}));
    EXPECT_FALSE(hasRows({}));
    EXPECT_FALSE(hasRows({{"DATE", {}}, {"CLOSE", {}}}));
    EXPECT_FALSE(hasRows({{"DATE", {Date{0}}}, {"CLOSE", {0.0}}}));
    EXPECT_TRUE(hasRows({{"DATE", {Date{0}}}, {"CLOSE", {1.0}}}));
    EXPECT_TRUE(hasRows({{"DATE", {Date{39449}}}, {"CLOSE", {0.0}}}));
    EXPECT_TRUE(hasRows({{"CLOSE", {0.0}}}));
    EXPECT_TRUE(hasRows({{"DATE", {Date{0}, Date{0}}}, {"CLOSE", {0.0, 0.0}}}));

    const auto hasQuote = [](std::vector<Column> columns) {
        return HasRows({"S", {{"TICKER", std::move(columns), true}}});
    };
    EXPECT_FALSE(hasQuote({{"TICKER", {Text("")}}, {"LAST", {}}}));
    EXPECT_TRUE(hasQuote({{"TICKER", {Text("")}}, {"LAST", {0.0}}}));
}

TEST(Results, AreCutToTheirNewestRows) {
    const auto cut = [](std::vector<Value> dates, std::size_t rows) {
        const Block block{"B", {{"N", {1.0, 2.0, 3.0}}, {"DATE", std::move(dates)}}};
        return CsvOf(Newest({"S", {block}}, rows));
    };
    const std::string head = "N,DATE\n", one = "1,2008-01-02\n", two = "2,2008-01-03\n",
                      three = "3,2008-01-04\n";
    EXPECT_EQ(cut({Date{39449}, Date{39450}, Date{39451}}, 2), head + two + three);
    EXPECT_EQ(cut({Date{39449}, Date{39450}, Date{39451}}, 3), head + one + two + three);
    EXPECT_EQ(cut({Date{39451}, Date{39450}, Date{39449}}, 1), head + "1,2008-01-04\n");
    EXPECT_EQ(cut({}, 1), head + "1,\n2,\n3,\n");
}

TEST(ProgressLines, FitALine) {
    EXPECT_EQ(ProgressLine("S", 40, "host"), "S [##########...............]  40% host");
    EXPECT_EQ(ProgressLine("S", 250, ""), "S [#########################] 100%");
    EXPECT_EQ(ProgressLine("S", -1, ""), "S [.........................]   0%");
    EXPECT_LT(ProgressLine("S", 1, std::string(500, 'x')).size(), 80u);
}

}  // namespace
}  // namespace vtdl::host
