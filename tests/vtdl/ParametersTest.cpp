#include "Parameters.h"

#include <gtest/gtest.h>

#include "Values.h"

namespace vtdl::host {
namespace {

const std::vector<Parameter> parameters = {
    {"TICKER", ParameterType::text},
    {"STARTDATE", ParameterType::date},
    {"PERIODICITY", ParameterType::list, {"DAILY", "WEEKLY", "MONTHLY"}},
    {"ADJUST VALUES", ParameterType::truth},
    {"PERIOD", ParameterType::number},
};

Assignment Parse(std::string_view text) { return ParseAssignment(text, "SOURCE", parameters); }

std::string Complaint(std::string_view text) {
    try {
        Parse(text);
    } catch (const UsageError& e) {
        return e.what();
    }
    return "no complaint";
}

TEST(Assignments, TakeTheTypeOfTheParameter) {
    EXPECT_EQ(Parse("TICKER=12").value, Value{std::string("12")});
    EXPECT_EQ(Parse("STARTDATE=2008-01-02").value, Value{Date{39449}});
    EXPECT_EQ(Parse("ADJUST VALUES=False").value, Value{false});
    EXPECT_EQ(Parse("PERIOD=1000").value, Value{1000.0});
}

TEST(Tickers, AreARequestEach) {
    using Texts = std::vector<std::string>;
    const struct {
        Texts assignments, tickers, first;
    } cases[] = {
        {{"A=1"}, {""}, {"A=1"}},
        {{"TICKER=AAPL"}, {"AAPL"}, {"TICKER=AAPL"}},
        {{"A=1,2", "ticker= A, B"}, {"A", "B"}, {"A=1,2", "TICKER=A"}},
        {{"TICKER="}, {""}, {"TICKER="}},
        {{"TICKER"}, {""}, {"TICKER"}},
    };
    for (const auto& test : cases) {
        Texts tickers;
        for (const TickerRequest& request : PerTicker(test.assignments))
            tickers.push_back(request.ticker);
        EXPECT_EQ(tickers, test.tickers);
        EXPECT_EQ(PerTicker(test.assignments)[0].assignments, test.first);
    }
    for (const char* list : {"TICKER=A,,B", "TICKER=A, ", "TICKER=,"})
        EXPECT_THROW(PerTicker({list}), UsageError) << list;
}

TEST(Assignments, TakeNamesAndChoicesInAnyCase) {
    EXPECT_EQ(Parse("periodicity=weekly").value, Value{std::string("WEEKLY")});
    EXPECT_EQ(Parse("adjust_values=TRUE").parameter, 3u);
    EXPECT_EQ(Parse("Ticker=aapl").value, Value{std::string("aapl")});
}

TEST(Assignments, KeepTheValueAsItIs) {
    EXPECT_EQ(Parse("TICKER=").value, Value{std::string()});
    EXPECT_EQ(Parse("TICKER=A=B C").value, Value{std::string("A=B C")});
}

TEST(Assignments, SayWhatIsWrong) {
    EXPECT_EQ(Complaint("AAPL"), "\"AAPL\" is not of the form NAME=VALUE");
    EXPECT_EQ(Complaint("TIKCER=A"),
              "SOURCE has no parameter TIKCER; did you mean TICKER?\n"
              "Its parameters are TICKER, STARTDATE, PERIODICITY, ADJUST VALUES, PERIOD");
    EXPECT_EQ(Complaint("STARTDATE=1.2.2008"),
              "STARTDATE: \"1.2.2008\" is not a date like 2008-01-31");
    EXPECT_EQ(Complaint("PERIODICITY=YEARLY"),
              "PERIODICITY: YEARLY is none of DAILY, WEEKLY, MONTHLY");
    EXPECT_EQ(Complaint("ADJUST VALUES=1"), "ADJUST VALUES: 1 is neither True nor False");
    EXPECT_EQ(Complaint("PERIOD=1,5"), "PERIOD: \"1,5\" is not a number like 12.5");
}

TEST(Suggestions, AreNearNamesOnly) {
    const std::vector<std::string> known = {"YAHOOHIST", "YAHOODIVIDENDS", "DDE", "CBOE"};
    EXPECT_EQ(Suggestion("yahohist", known), "; did you mean YAHOOHIST?");
    EXPECT_EQ(Suggestion("YAHOODIV", known), "; did you mean YAHOODIVIDENDS?");
    EXPECT_EQ(Suggestion("DDR", known), "; did you mean DDE?");
    EXPECT_EQ(Suggestion("NYSE", known), "");
    EXPECT_EQ(Suggestion("", known), "");
}

}  // namespace
}  // namespace vtdl::host
