#include "Formats.h"

#include <gtest/gtest.h>

#include <algorithm>


namespace vtdl::host {
namespace {

Value Text(const char* text) { return std::string(text); }

constexpr Date november{42692}, january{42755};

Block SideOf(const char* name, std::vector<Value> tickers, std::vector<Value> expirations,
             std::vector<Value> strikes, std::vector<Value> bids) {
    return {name,
            {{"TICKER", std::move(tickers)},
             {"EXPIRATION", std::move(expirations)},
             {"STRIKE", std::move(strikes)},
             {"BID", std::move(bids)}}};
}

// The second row has no put, the third no call, the last neither.
const Block calls =
    SideOf("CALLS", {Text("K105"), Text("K110"), Text(""), Text("")},
           {november, november, Date{0}, Date{0}}, {105.0, 110.0, 0.0, 0.0}, {4.7, 0.09, 0.0, 0.0});
const Block puts = SideOf("PUTS", {Text("W105"), Value{}, Text("M97.5"), Value{}},
                          {november, Value{}, january, Value{}}, {105.0, Value{}, 97.5, Value{}},
                          {0.0, Value{}, 1.25, Value{}});

TEST(Chains, AreOneTableWithTheSeriesInTheMiddle) {
    const Block quote{"TICKER", {{"PRICE", {109.8}}}, true};
    EXPECT_EQ(TableOf(Result{"CBOE", {quote, calls, puts}}),
              "TICKER\n"
              "\n"
              "PRICE  109.8\n"
              "\n"
              "CALLS         |                      |  PUTS\n"
              "TICKER   BID  |  STRIKE  EXPIRATION  |   BID  TICKER\n"
              "------  ----  |  ------  ----------  |  ----  ------\n"
              "K105    4.7   |   105    2016-11-18  |  0     W105\n"
              "K110    0.09  |   110    2016-11-18  |\n"
              "              |    97.5  2017-01-20  |  1.25  M97.5\n");
}

TEST(Chains, KeepEveryRowInCsv) {
    const std::string csv = CsvOf({"CBOE", {calls, puts}});
    EXPECT_TRUE(
        csv.starts_with("BLOCK,TICKER,EXPIRATION,STRIKE,BID\nCALLS,K105,2016-11-18,105,4.7\n"))
        << csv;
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 9);
}

// Side by side they would say that options belong together which do not.
TEST(Chains, AreNoneWhenTheSidesDoNotMatch) {
    Block others = puts;
    others.columns[2].values[0] = 100.0;
    EXPECT_FALSE(ChainOf(calls, others));
    others = puts;
    others.columns[1].values[0] = january;
    EXPECT_FALSE(ChainOf(calls, others));
    others = puts;
    for (Column& column : others.columns) column.values.pop_back();
    EXPECT_FALSE(ChainOf(calls, others));
    others = puts;
    others.columns.erase(others.columns.begin() + 1);
    EXPECT_FALSE(ChainOf(calls, others));
    EXPECT_FALSE(ChainOf(Block{"CALLS", {}}, Block{"PUTS", {}}));

    const std::string text = TableOf(Result{"CBOE", {calls, others}});
    EXPECT_TRUE(text.starts_with("CALLS\n\nTICKER  EXPIRATION  STRIKE")) << text;
    EXPECT_NE(text.find("\n\nPUTS\n\nTICKER  STRIKE"), std::string::npos) << text;
}

}  // namespace
}  // namespace vtdl::host
