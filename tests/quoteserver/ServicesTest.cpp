#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "AccountService.h"
#include "Check.h"
#include "FuturesService.h"
#include "HistoryService.h"
#include "OptionService.h"
#include "QuoteService.h"
#include "QuoteTable.h"

namespace quoteserver {
namespace {

const DataFolder& Samples() {
    static const DataFolder folder{SAMPLE_DATA};
    return folder;
}

template <typename Service>
std::string Ask(const std::string& query) {
    return Service(Samples()).Answer(Query{query}).body;
}

constexpr const char* allFields = "f=sl1d1t1c1p2ohgvb3b2rt8wj1mepnx&e=.csv&s=";

TEST(QuoteService, WritesTheFieldsInTheOrderOfTheRequest) {
    EXPECT_EQ(Ask<QuoteService>(allFields + std::string("tsla")),
              "\"TSLA\",226.16,\"8/8/2016\",\"4:00pm\",-3.87,\"-1.68%\",228.00,229.60,226.09,"
              "2259465,N/A,N/A,N/A,240.08,\"141.05 - 271.57\",31.66B,\"226.09 - 229.60\",-8.45,"
              "230.03,\"Tesla Motors, Inc.\",\"NMS\"\n");
    EXPECT_EQ(Ask<QuoteService>("f=vl1sz9s&s=INTC"), "29457900,35.44,\"INTC\",N/A,\"INTC\"\n");
}

TEST(QuoteService, HasALineForEachTicker) {
    EXPECT_EQ(Ask<QuoteService>("f=sl1n&s=GOOG+a1b2%22,EURUSD=X"),
              "\"GOOG\",759.66,\"Alphabet Inc.\"\n\"a1b2\"\"\",N/A,N/A\n\"EURUSD=X\",1.1235,N/A\n");
    for (const char* query : {"f=&s=GOOG", "f=l1", "f=l1&s=+,"}) {
        EXPECT_THROW(Ask<QuoteService>(query), BadQuery) << query;
    }
}

TEST(HistoryService, WritesTheRangeNewestFirstWithTwoDecimals) {
    EXPECT_EQ(Ask<HistoryService>("q=NASDAQ:tsla&histperiod=DAILY&startdate=Sep+8%2C+2016"
                                  "&enddate=Sep+9%2C+2016&output=csv"),
              "\xEF\xBB\xBF"
              "Date,Open,High,Low,Close,Volume\n"
              "9-Sep-16,199.09,199.92,193.70,194.47,3742900\n"
              "8-Sep-16,199.55,199.89,196.36,197.36,3370000\n");
    EXPECT_EQ(Ask<HistoryService>("q=goog&histperiod=WEEKLY&startdate=Dec+28,+2011"
                                  "&enddate=Dec+29,+2011"),
              "\xEF\xBB\xBF"
              "Date,Open,High,Low,Close,Volume\n"
              "28-Dec-11,642.75,645.00,635.20,642.40,1851300\n");
    // The index has no volumes; 200 rows are no limit here.
    const std::string index = Ask<HistoryService>("q=^VIX");
    EXPECT_TRUE(index.ends_with(",0\n"));
    EXPECT_EQ(std::ranges::count(index, '\n'), 3176);
}

TEST(HistoryService, TellsNoRowsNoTickerAndNoDateApart) {
    EXPECT_EQ(Ask<HistoryService>("q=GOOG&startdate=Jan+1,+2015"),
              "\xEF\xBB\xBF"
              "Date,Open,High,Low,Close,Volume\n");
    for (const char* ticker : {"nope", "quotes", "CL.futures", "AAPL.Options", ""}) {
        EXPECT_NE(Ask<HistoryService>("q=" + std::string(ticker)).find("404 Not Found"),
                  std::string::npos)
            << ticker;
    }
    for (const char* date : {"2015-01-01", "Feb 30, 2004", "Jan 9 2004", "Jan , 2004",
                             "jan 9, 2004", "Jan 009, 2004", "Jan 9, 20040", "J"}) {
        EXPECT_THROW(Ask<HistoryService>("q=GOOG&enddate=" + std::string(date)), BadQuery) << date;
    }
    EXPECT_THROW(Ask<HistoryService>("q=GOOG&histperiod=MONTHLY"), BadQuery);
}

TEST(FuturesService, WritesTheRangeOldestFirstAndFillsRowsUp) {
    EXPECT_EQ(Ask<FuturesService>("t=ts&tid=cl&sd=1998-08-31&ed=1998-09-01"),
              "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt\r\n"
              "1998-08-31\t13.47\t13.53\t13.18\t13.34\t0\t0\r\n"
              "1998-09-01\t13.25\t13.78\t13.2\t13.73\t58086\t483365\r\n");
    EXPECT_TRUE(Ask<FuturesService>("tid=CL").ends_with(
        "\r\n2017-11-16\t55.3\t55.62\t54.93\t55.14\t1051426\t0\r\n"));
    EXPECT_EQ(Ask<FuturesService>("tid=CL&sd=2020-01-01"),
              "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt\r\n");
    EXPECT_NE(Ask<FuturesService>("tid=GOOG").find("404 Not Found"), std::string::npos);
    EXPECT_THROW(Ask<FuturesService>("tid=CL&sd=9-Jan-04"), BadQuery);
}

Reply AskForm(const std::string& body) {
    return OptionService(Samples()).Answer({"POST", ParseTarget("/"), body});
}

TEST(OptionService, SendsTheFileOfTheFormsTicker) {
    std::ostringstream file;
    file << std::ifstream(SAMPLE_DATA "/AAPL.options.csv", std::ios::binary).rdbuf();
    ASSERT_GT(file.str().size(), 30000U);
    // The end of the real form, after a field whose name ends almost so.
    const Reply reply = AskForm(
        "__VIEWSTATE=%2FwEPDwU&ctl00%24ucHeader%24QuoteBox%24txtHeaderQuote=GOOG"
        "&ctl00%24ContentMain%24QuoteTableDownloadCtl1%24txtTicker=aapl"
        "&ctl00%24cmdSubmit=DownloadGET /DelayedQuote/QuoteData.dat HTTP/1.1");
    EXPECT_EQ(reply.contentType, "application/x-unknown");
    EXPECT_EQ(reply.body, file.str());

    for (const char* form : {"", "txtTicker=", "txtTicker=GOOG", "txtHeaderQuote=AAPL"}) {
        const Reply page = AskForm(form);
        EXPECT_EQ(page.status, 200U) << form;
        EXPECT_EQ(page.contentType, "text/html") << form;
    }
}

Reply AskAccount(const std::string& query, const std::string& credentials = "Basic ZGVtbzpkZW1v") {
    return AccountService(Samples(), {"demo", "demo"})
        .Answer({"GET", ParseTarget("/?" + query), "", credentials});
}

TEST(AccountService, AnswersTheOwnerOfTheAccountOnly) {
    for (const char* credentials : {"", "Basic ", "Basic ZGVtbzpkZW1p", "ZGVtbzpkZW1v"}) {
        const Reply reply = AskAccount("FIELDS=TICK&TICKER=GOOG", credentials);
        EXPECT_EQ(reply.status, 401U) << credentials;
        EXPECT_TRUE(reply.challenge.starts_with("Basic realm=")) << credentials;
    }
    // Lengths that need one and two characters of padding.
    for (const auto& [password, text] : {std::pair{"sesame", "Basic QWxhZGRpbjpzZXNhbWU="},
                                         {"sesam", "Basic QWxhZGRpbjpzZXNhbQ=="}}) {
        const AccountService service(Samples(), {"Aladdin", password});
        EXPECT_EQ(service.Answer({"GET", ParseTarget("/?FIELDS=TICK&TICKER=GOOG"), "", text}).body,
                  "GOOG\n");
    }
}

TEST(AccountService, WritesOneLineOfPlainValues) {
    EXPECT_EQ(
        AskAccount("HIDEPACKAGE=1&FORMAT=DECIMAL&PACKAGE=CUSTOM&FIELDS=TICK,LAST,NET,TIME,SIZE,"
                   "VOLUME,OPEN,HIGH,LOW,CLOSE,BID,ASK,BIDASKSIZE,EXCHANGE,NAME,YRHIGH,YRLOW,"
                   "DIVFREQ,DIVIDEND,EARNINGS,SHARES,PERATIO,DIVDATE,VOLATILITY,YIELD,STATUS"
                   "&TICKER=intc")
            .body,
        "INTC,35.44,-1.00,16:00:00,2689519,29457900,36.10,36.39,35.44,36.44,35.00,35.44,"
        "200x200,NMS,Intel Corporation,36.65,27.68,,1.04,2.06,4731000000,17.19,9/1/2016,,2.85,"
        "\n");
    EXPECT_EQ(AskAccount("FIELDS=TIME,NAME&TICKER=^FCHI").body, "11:40:00,\n");
    EXPECT_EQ(AskAccount("FIELDS=NAME&TICKER=TSLA").body, "Tesla Motors, Inc.\n");
    EXPECT_EQ(AskAccount("FIELDS=TICK,LAST&TICKER=nope").body.find(','), std::string::npos);
}

class QuoteFile : public testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directory(m_folder); }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    QuoteTable table(const std::string& text) const {
        std::ofstream(m_folder / "quotes.csv", std::ios::binary) << text;
        return QuoteTable(DataFolder{m_folder});
    }

    std::string error(const std::string& text) const {
        try {
            table(text);
            return "none";
        } catch (const std::runtime_error& e) {
            return e.what();
        }
    }

    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("quotes-test-" + std::to_string(::getpid()));
};

TEST_F(QuoteFile, IsReadAsEditorsLeaveIt) {
    const QuoteTable quotes = table(
        "\xEF\xBB\xBF"
        "n,s,l1\r\n\"A \"\"B\"\", C\",abc,\r\n\r\n,x,1");
    EXPECT_EQ(quotes.Of("ABC").value("n"), "A \"B\", C");
    EXPECT_EQ(quotes.Of("ABC").value("l1"), "");
    EXPECT_EQ(quotes.Of("X").value("l1"), "1");
    EXPECT_EQ(quotes.Of("X").value("l"), "N/A");
    EXPECT_FALSE(
        QuoteTable(DataFolder{SAMPLE_DATA "/.."}).Of("X").IsKnown());  // no such file there
}

TEST_F(QuoteFile, DailyPricesStandForWhatItLacks) {
    std::ofstream(m_folder / "y.csv")
        << "Date,Open,High,Low,Close,Volume\n2004-01-08,1,2,0.5,1.60,7\n"
           "2004-01-09,1.1,2.1,0.6,2.00,8\n";
    const Quote quote = table("s,l1\nX,1\n").Of("Y");
    for (const auto& [letters, value] : {std::pair{"s", "Y"},
                                         {"l1", "2.00"},
                                         {"c1", "+0.40"},
                                         {"p2", "+25.00%"},
                                         {"p", "1.60"},
                                         {"d1", "1/9/2004"},
                                         {"v", "8"},
                                         {"n", "Y daily close of 2004-01-09"},
                                         {"t1", "N/A"}})
        EXPECT_EQ(quote.value(letters), value) << letters;
}

TEST_F(QuoteFile, ChecksNameEveryDamagedLine) {
    std::ofstream(m_folder / "A.csv")
        << "Date,Open,High,Low,Close,Volume,Adj Close\n2004-01-09,1,2,3\n"
           "2004-01-08,1,2,3,x,5,6\n2004-01-07,1,2,3,4,5,6\n";
    std::ofstream(m_folder / "B.dividends.csv") << "Date,Amount\n";
    std::ofstream(m_folder / "a b.csv") << "";
    std::string quotes = "s,l1\nA\nB,1\n";
    for (int i = 0; i < 21; ++i) quotes += "C,1,2\n";
    std::ofstream(m_folder / "quotes.csv") << quotes;
    const std::string head = "A (A INC),1\r\nNov 33 2016\r\nCalls\r\n";
    std::ofstream(m_folder / "A.options.csv")
        << head << "16 Nov 70.00 (AK),1,2,3,x,5,6,xx Nov 70.00 (AW),1,2,3,4,5,6,\r\n16 Nov\r\nend";
    std::ofstream(m_folder / "B.options.csv") << "B,1,2\r\nNov 15 2016\r\nCalls\r\n";
    std::ostringstream out;
    EXPECT_EQ(CheckFolder(m_folder, out), 33U);
    const std::string told = out.str();
    EXPECT_EQ(std::ranges::count(told, '\n'), 32);
    EXPECT_NE(told.find("\nquotes.csv has 2 more\n"), told.npos);
    EXPECT_EQ(told.substr(0, told.find("quotes.csv line 4")),
              "A.csv line 2: 4 values instead of 7\nA.csv line 3: \"x\" is not a number\n"
              "A.options.csv line 4: \"x\" is not a number\n"
              "A.options.csv line 4: \"xx Nov\" is not a month like 16 Nov\n"
              "A.options.csv line 1: ticker, price and change are not all there\n"
              "A.options.csv line 2: \"Nov 33 2016\" is not a date like Nov 04 2016\n"
              "A.options.csv line 5: no options from here on, of 14 values a line\n"
              "A.options.csv line 6: the last line does not end with CR LF\n"
              "B.dividends.csv line 1: no column is called Dividends\n"
              "B.options.csv line 4: no options from here on, of 14 values a line\n"
              "a b.csv is not named after a ticker, and never read\n"
              "quotes.csv line 2: 1 values instead of 2\n");
}

TEST_F(QuoteFile, IsRefusedWithTheLineThatIsDamaged) {
    EXPECT_EQ(error("n,l1\n"), "quotes.csv line 1: no column is called s");
    EXPECT_EQ(error("s,l1\nA,1\n\nB\n"), "quotes.csv line 4: 1 values instead of 2");
    EXPECT_EQ(error("s,l1\nA,1,2\n"), "quotes.csv line 2: 3 values instead of 2");
}

}  // namespace
}  // namespace quoteserver
