// What a person types and reads: values, parameters, settings, a terminal's window, file names.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>

#include "Output.h"
#include "Parameters.h"
#include "ReportParts.h"
#include "Services.h"
#include "Values.h"
#include "XmlFault.h"

namespace vtdl::host {
namespace {

std::string Lines(std::string text) {
    for (std::size_t at = 0; (at = text.find("\\n", at)) != text.npos;) text.replace(at, 2, "\n");
    return text;
}

std::string Number(const std::string& text) {
    const std::optional<double> number = ParseNumber(text);
    const std::string shown = number ? FormatNumber(*number) : "none";
    EXPECT_EQ(number, ParseNumber(shown));
    return shown;
}

std::string Day(const std::string& text) {
    const std::optional<Date> date = ParseDate(text);
    return date ? FormatNumber(date->days) : "none";
}

TEST(Texts, AreReadAndShown) {
    const std::map<std::string, std::function<std::string(const std::string&)>> functions = {
        {"number", Number},
        {"day", Day},
        {"date", [](const std::string& days) { return FormatDate({std::stod(days)}); }},
        {"xml", [](const std::string& text) { return XmlFault(Lines(text)); }},
        {"file", [](const std::string& name) { return FormatOfFile(name); }}};
    std::ifstream rows(TEST_DATA "/host-texts.txt");
    std::string what, text, expected;
    std::getline(rows, what);  // names the columns
    int count = 0;
    for (; std::getline(rows, what, '|') && std::getline(rows, text, '|') &&
           std::getline(rows, expected);
         ++count)
        EXPECT_EQ(functions.at(what)(text), expected) << text;
    EXPECT_EQ(count, 49);
}

const std::vector<Parameter> parameters = {
    {"TICKER", ParameterType::text},
    {"STARTDATE", ParameterType::date},
    {"PERIODICITY", ParameterType::list, {"DAILY", "WEEKLY", "MONTHLY"}},
    {"ADJUST VALUES", ParameterType::truth},
    {"PERIOD", ParameterType::number},
};

Assignment Parse(std::string_view text) { return ParseAssignment(text, "SOURCE", parameters); }

TEST(Assignments, TakeTheTypeOfTheParameterAndNamesInAnyCaseOrAreWrong) {
    for (const auto& [text, value] : {std::pair{"TICKER=12", Value{std::string("12")}},
                                      {"TICKER=", Value{std::string()}},
                                      {"Ticker=A=B C", Value{std::string("A=B C")}},
                                      {"STARTDATE=2008-01-02", Value{Date{39449}}},
                                      {"adjust_values=TRUE", Value{true}},
                                      {"ADJUST VALUES=False", Value{false}},
                                      {"periodicity=weekly", Value{std::string("WEEKLY")}},
                                      {"PERIOD=1000", Value{1000.0}}})
        EXPECT_EQ(Parse(text).value, value) << text;
    for (const char* text :
         {"AAPL", "TIKCER=A", "PERIODICITY=YEARLY", "ADJUST VALUES=1", "PERIOD=1,5"})
        EXPECT_THROW(Parse(text), UsageError) << text;
}

TEST(Tickers, AreARequestEach) {
    using Texts = std::vector<std::string>;
    const struct {
        Texts assignments, tickers;
        const char* last;
    } cases[] = {
        {{"A=1"}, {""}, "A=1"},
        {{"A=1,2", "ticker= A, B"}, {"A", "B"}, "TICKER=A"},
        {{"TICKER="}, {""}, "TICKER="},
        {{"TICKER"}, {""}, "TICKER"},
    };
    for (const auto& [assignments, expected, last] : cases) {
        Texts tickers;
        for (const TickerRequest& request : PerTicker(assignments))
            tickers.push_back(request.ticker);
        EXPECT_EQ(tickers, expected);
        EXPECT_EQ(PerTicker(assignments)[0].assignments.back(), last);
    }
    for (const char* list : {"TICKER=A, ", "TICKER=,"}) EXPECT_THROW(PerTicker({list}), UsageError);
}

TEST(Services, SettingsThatDoNotCountAreTold) {
    std::ifstream rows(TEST_DATA "/settings-faults.txt");
    std::string section, key, value, fault;
    int count = -1;  // the first line names the columns
    for (; std::getline(rows, section, '|') && std::getline(rows, key, '|') &&
           std::getline(rows, value, '|') && std::getline(rows, fault);
         ++count) {
        if (section.starts_with('#')) continue;
        const auto faults = SettingsFaults({{section, key, value}});
        const std::string name = section + (key.empty() ? "" : "/") + key + " ";
        EXPECT_EQ(faults.empty() ? "" : faults[0], fault.empty() ? "" : name + fault);
    }
    EXPECT_EQ(count, 14);
}

TEST(Reports, HaveNoSecrets) {
    const std::vector<Setting> settings = {
        {"hosts", "cboe", "127.0.0.1:1"},           {"hosts", "ino", "me:geheim0@x"},
        {"pcquote/parameters", "name", "PCQuote"},  {"pcquote/parameters", "user", "geheim1"},
        {"my program", "API-Key", "geheim2"},       {"my program", "colour", "red"},
        {"errorhandler", "supportmail", "geheim3"}, {"http", "strict", ""}};
    EXPECT_EQ(SettingsWithoutSecrets(settings),
              "hosts/cboe = 127.0.0.1:1\nhosts/ino = (set)\npcquote/parameters/name = PCQuote\n"
              "pcquote/parameters/user = (set)\nmy program/API-Key = (set)\n"
              "my program/colour = (set)\nerrorhandler/supportmail = (set)\nhttp/strict = \n");
    EXPECT_EQ(WithoutSecrets("PCQuote red me:geheim0@x geheim1geheim2 geheim3", settings),
              "PCQuote red ************ ************** *******");
    EXPECT_EQ(LastLines("one\ntwo\nthree\n", 7), "three\n");
    EXPECT_EQ(StatusText("{\"copies\": 2, \"replies\": [\"\u00fc\"]}"),
              "{\n \"copies\": 2,\n \"replies\": [\n  \"\\u00fc\"\n ]\n}\n");
}

TEST(Servers, AreKnownByTheHeadsOfTheirReplies) {
    for (const auto& [head, who] :
         {std::pair{"", "it does not say who it is"},
          {"SSH-2.0-x\r\n", "some other server, not of the web"},
          {"HTTP/1.0 200 OK\r\nServer: a\x1b[2J\r\n", "some other server, a [2J"}})
        EXPECT_EQ(WhoAnswers(head).text, who);
}

TEST(Screens, CutWhatDoesNotFitAndCoverWhatWasDrawnBefore) {
    using Lines = std::vector<std::string>;
    EXPECT_EQ(Fitted("a\n\nbcd\n", 3, 10, 0), (Lines{"a  ", "   ", "bcd"}));
    EXPECT_EQ(Fitted("a", 2, 10, 3), (Lines{"a ", "  ", "  "}));
    EXPECT_EQ(Fitted("Züricher\nZü\n", 3, 10, 0), (Lines{"Zür", "Zü "}));
    EXPECT_EQ(Fitted("a\nb\nc\nd\n", 4, 3, 5), (Lines{"a   ", "b   ", "... "}));
    EXPECT_EQ(ProgressLine("S", 40, "host"), "S [##########...............]  40% host");
    EXPECT_LT(ProgressLine("S", 1, std::string(500, 'x')).size(), 80u);
}

TEST(FileNames, HaveTheTickerForItsMark) {
    EXPECT_EQ(FileNameFor("a.csv", "X"), "a.csv");
    EXPECT_EQ(FileNameFor("d/{ticker}-{Ticker}.csv", "^A/B:{ticker}"),
              "d/^A_B_{ticker}-^A_B_{ticker}.csv");
    EXPECT_TRUE(HasTickerMark("--output", "{TICKER}{.csv"));
    EXPECT_FALSE(HasTickerMark("--output", "{a b}{}.csv"));
    EXPECT_THROW(HasTickerMark("--output", "{ticker}-{date}.csv"), UsageError);
}

}  // namespace
}  // namespace vtdl::host
