// What each of the services answers, from the sample files.
#include "Services.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace quoteserver {
namespace {

using namespace std::chrono;

const DataFolder& Samples() {
    static const DataFolder folder{SAMPLE_DATA};
    return folder;
}

std::string Sample(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(SAMPLE_DATA "/" + name, std::ios::binary).rdbuf();
    return text.str();
}

using Service = Reply (*)(const Query&);

// The page of a refusal names the status in its third line, where clients look.
std::string Ask(Service service, const std::string& query) {
    Routes routes;
    routes.Add("GET", "/", [=](const Request& request) { return service(request.target.query); });
    const Reply reply = routes.Answer({"GET", ParseTarget("/?" + query)});
    if (reply.status == 200) return reply.body;
    EXPECT_EQ(reply.contentType, "text/html");
    std::istringstream page(reply.body);
    std::string line;
    for (int i = 0; i < 3; ++i) std::getline(page, line);
    EXPECT_EQ(line.substr(0, 3), std::to_string(reply.status));
    return line.substr(0, 3);
}

template <std::size_t rowsPerPage, DateForm dates = DateForm::Iso>
Reply Table(const Query& query) {
    return AnswerTable(Samples(), {rowsPerPage, dates}, query);
}
Reply Quotes(const Query& query) { return AnswerQuotes(Samples(), query); }
Reply History(const Query& query) { return AnswerHistory(Samples(), query); }
Reply Futures(const Query& query) { return AnswerFutures(Samples(), query); }
Reply Options(const Query& query) { return AnswerOptions(Samples(), query); }
Reply Own(const Query& query) { return AnswerOwn(query.value("of"), Samples(), query); }

TEST(Query, IsReadAsClientsWriteIt) {
    const Target target =
        ParseTarget("/table.csv?&s=%5eVIX&&flag&x=a%20b+c%3D&s=second&%=%4&z=%zz#f");
    EXPECT_EQ(target.path, "/table.csv");
    for (const auto& [key, value] :
         {std::pair{"s", "^VIX"}, {"x", "a b c="}, {"flag", ""}, {"%", "%4"}, {"z", "%zz"}}) {
        EXPECT_EQ(target.query.value(key), value) << key;
    }
}

TEST(Services, AnswerToTheLetter) {
    const std::string prices = std::string(priceLayout.header) + "\n";
    const std::string history =
        "\xEF\xBB\xBF"
        "Date,Open,High,Low,Close,Volume\n";
    const std::string futures = "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt\r\n";
    const struct {
        Service service;
        const char* query;
        std::string reply;
    } cases[] = {
        // Without a limit the table is the file itself; bounds belong to the range.
        {Table<0>, "s=aapl", Sample("AAPL.csv")},
        {Table<0>, "s=^VIX&a=&b=&c=", Sample("^VIX.csv")},
        {Table<200>, "s=spy&g=v", Sample("SPY.dividends.csv")},
        {Table<200>, "&f=2011&d=11&e=29&c=2011&b=28&a=11&s=GOOG&ignore=.csv",
         prices + "2011-12-29,641.49,643.00,635.20,642.40,1575400,642.40\n"
                  "2011-12-28,642.75,645.00,638.10,639.70,2127200,639.70\n"},
        {Table<200>, "s=GOOG&a=11&b=28&c=2011&d=11&e=29&f=2011&g=w",
         prices + "2011-12-28,642.75,645.00,635.20,642.40,1851300,642.40\n"},
        {Table<200, DateForm::DayMonYy>, "s=AAPL&a=0&b=1&c=2004&d=0&e=2&f=2004",
         prices + "2-Jan-04,21.55,21.75,21.18,21.28,5165800,10.64\n"},
        // A page keeps the newest.
        {Table<1>, "s=GOOG&a=11&b=28&c=2011&d=11&e=29&f=2011",
         prices + "2011-12-29,641.49,643.00,635.20,642.40,1575400,642.40\n"},
        {Table<200>, "s=NOPE", "404"},
        {Table<200>, "s=GOOG&a=0&b=1&c=2012", "404"},
        {Table<200>, "s=GOOG&a=5&b=1&c=2011&d=4&e=1&f=2011", "404"},
        // Two decimals, newest first, in one piece; an index has no volumes.
        {History,
         "q=NASDAQ:tsla&histperiod=DAILY&startdate=Sep+8%2C+2016&enddate=Sep+9%2C+2016&output=csv",
         history + "9-Sep-16,199.09,199.92,193.70,194.47,3742900\n"
                   "8-Sep-16,199.55,199.89,196.36,197.36,3370000\n"},
        {History, "q=goog&histperiod=WEEKLY&startdate=Dec+28,+2011&enddate=Dec+29,+2011",
         history + "28-Dec-11,642.75,645.00,635.20,642.40,1851300\n"},
        {History, "q=^VIX&enddate=Feb+1,+2000", history + "1-Feb-00,23.45,23.45,23.45,23.45,0\n"},
        {History, "q=GOOG&startdate=Jan+1,+2015", history},
        {History, "q=nope", "404"},
        {History, "q=GOOG&histperiod=MONTHLY", "400"},
        // Oldest first, rows filled up.
        {Futures, "t=ts&tid=cl&sd=1998-08-31&ed=1998-09-01",
         futures + "1998-08-31\t13.47\t13.53\t13.18\t13.34\t0\t0\r\n"
                   "1998-09-01\t13.25\t13.78\t13.2\t13.73\t58086\t483365\r\n"},
        {Futures, "tid=CL&sd=2020-01-01", futures},
        {Futures, "tid=GOOG", "404"},
        {Futures, "tid=CL&sd=9-Jan-04", "400"},
        // In the order of the request; an unknown ticker has a line too.
        {Quotes, "f=sl1d1t1c1p2ohgvb3b2rt8wj1mepnx&e=.csv&s=tsla",
         "\"TSLA\",226.16,\"8/8/2016\",\"4:00pm\",-3.87,\"-1.68%\",228.00,229.60,226.09,2259465,"
         "N/A,N/A,N/A,240.08,\"141.05 - 271.57\",31.66B,\"226.09 - 229.60\",-8.45,230.03,"
         "\"Tesla Motors Inc.\",\"NMS\"\n"},
        {Quotes, "f=vl1sz9s&s=INTC", "29457900,35.44,\"INTC\",N/A,\"INTC\"\n"},
        {Quotes, "f=sl1n&s=GOOG+a1b2%22,EURUSD=X",
         "\"GOOG\",759.66,\"Alphabet Inc.\"\n\"a1b2\"\"\",N/A,N/A\n\"EURUSD=X\",1.1235,N/A\n"},
        {Quotes, "f=&s=GOOG", "400"},
        {Quotes, "f=l1&s=+,", "400"},
        // What is not known is nothing; names keep their commas.
        {Own, "of=YAHOOSNAPSHOT&ticker=tsla",
         "#vtdl-own 1 YAHOOSNAPSHOT\n#TICKER\nTICKER,LAST TRADE,TRADE DATE,TRADE TIME,CHANGE,"
         "CHANGE%,OPEN,HIGH,LOW,VOLUME,BID,ASK,P/E,1YR TARGET PRICE,52WK RANGE,MARKET CAP,"
         "DAY'S RANGE,EPS,PREV CLOSE,NAME,STOCK EXCHANGE\nTSLA,226.16,2016-08-08,16:00,-3.87,-1.68,"
         "228.00,229.60,226.09,2259465,226.15,226.77,,240.08,141.05 - 271.57,31.66B,"
         "226.09 - 229.60,-8.45,230.03,\"Tesla Motors, Inc.\",NMS\n#end 4\n"},
        {Own, "of=INOSNAPSHOT&ticker=CL",
         "#vtdl-own 1 INOSNAPSHOT\n#TICKER\nTICKER,NAME,LAST,NET,DATE,OPEN,HIGH,LOW,VOLUME,OPENINT,"
         "PREV CLOSE\nCL,\"Crude oil, first "
         "month\",55.14,-0.19,2017-11-16,55.3,55.62,54.93,1051426,"
         ",55.33\n#end 4\n"},
        {Own, "of=INOFUTURESLIST&ticker=cmx",
         "#vtdl-own 1 INOFUTURESLIST\n#FUTURES\nTICKER,NAME,EXCHANGE,MONTH,EXPIRATION\n"
         "GCZ17,Gold December 2017,CMX,2017-12-01,2017-12-27\n#end 4\n"},
        {Own, "of=INOEXCHANGES",
         "#vtdl-own 1 INOEXCHANGES\n#EXCHANGES\n" + Sample("exchanges.list.csv") + "#end 7\n"},
        {Own, "of=YAHOOOPTIONS&ticker=aapl",
         "#vtdl-own 1 YAHOOOPTIONS\n" + Sample("AAPL.chain.csv") + "#end 232\n"},
        {Own, "of=INOOPTIONS&ticker=AAPL", "404"},
        {Own, "of=INOFUTURESLIST&ticker=ICE", "404"},
        {Own, "of=YAHOOSNAPSHOT&ticker=nope", "404"},
        // The end of the real form, after a field whose name ends almost so.
        {Options,
         "__VIEWSTATE=%2FwEPDwU&ctl00%24ucHeader%24QuoteBox%24txtHeaderQuote=GOOG"
         "&ctl00%24ContentMain%24QuoteTableDownloadCtl1%24txtTicker=aapl"
         "&ctl00%24cmdSubmit=DownloadGET /DelayedQuote/QuoteData.dat HTTP/1.1",
         Sample("AAPL.options.csv")},
    };
    for (const auto& [service, query, reply] : cases)
        EXPECT_EQ(Ask(service, query), reply) << query;
    for (const char* form : {"", "txtTicker=", "txtTicker=GOOG", "txtHeaderQuote=AAPL"}) {
        EXPECT_EQ(Options(Query(form)).contentType, "text/html") << form;
    }
}

TEST(Services, RefuseWhatMakesNoSense) {
    for (const char* query : {"", "s=", "s=A/B", "s=A%5CB", "s=..", "s=A%00", "s=C:A", "s=A*",
                              "s=A&g=x", "s=A&g=%3Cb%3E", "s=A&a=1", "s=A&a=0&b=1&c=20x8",
                              "s=A&a=12&b=1&c=2008", "s=A&a=-1&b=1&c=2008", "s=A&a=1&b=29&c=2007",
                              "s=A&d=0&e=257&f=2008", "s=A&d=0&e=1&f=99999999999"})
        EXPECT_EQ(Ask(Table<200>, query), "400") << query;
    for (const char* date : {"2015-01-01", "Feb 30, 2004", "Jan 9 2004", "Jan , 2004",
                             "jan 9, 2004", "Jan 009, 2004", "Jan 9, 20040", "J"})
        EXPECT_EQ(Ask(History, std::string("q=GOOG&enddate=") + date), "400") << date;
    EXPECT_EQ(ErrorPage(400, "<b>").body.find("<b>"), std::string::npos);
    Routes routes;
    routes.Add("GET", "/", [](const Request&) { return Reply{}; });
    EXPECT_EQ(routes.Answer({"POST", ParseTarget("/")}).status, 404U);
}

TEST(Services, TablesEndWithACommentWhereAsked) {
    EXPECT_TRUE(AnswerTable(Samples(), {.commentServer = "chart7"}, Query("s=GOOG"))
                    .body.starts_with(Ask(Table<200>, "s=GOOG") + "<!-- chart7 unco"));
    EXPECT_EQ(CommentLine("a", sys_days{2013y / October / 7} + 13h + 5min + 9s),
              "<!-- a uncompressed/chunked Mon Oct  7 13:05:09 UTC 2013 -->\n");
}

TEST(Account, GetsPlainValuesAndNobodyElseDoes) {
    const auto ask = [](const char* password, const char* credentials, const char* query) {
        return AnswerAccount(Samples(), {"demo", password},
                             {"GET", ParseTarget(std::string("/?") + query), "", credentials});
    };
    for (const auto& [query, body] :
         {std::pair{
              "FIELDS=TICK,LAST,NET,TIME,SIZE,VOLUME,OPEN,HIGH,LOW,CLOSE,BID,ASK,BIDASKSIZE,"
              "EXCHANGE,NAME,YRHIGH,YRLOW,DIVFREQ,DIVIDEND,EARNINGS,SHARES,PERATIO,DIVDATE,"
              "VOLATILITY,YIELD,STATUS&TICKER=intc",
              "INTC,35.44,-1.00,16:00:00,2689519,29457900,36.10,36.39,35.44,36.44,35.00,35.44,"
              "200x200,NMS,Intel Corporation,36.65,27.68,,1.04,2.06,4731000000,17.19,9/1/2016,"
              ",2.85,\n"},
          {"FIELDS=TIME,NAME&TICKER=^FCHI", "11:40:00,\n"},
          {"FIELDS=TICK,NAME&TICKER=TSLA", "TSLA,Tesla Motors Inc.\n"},
          {"FIELDS=TICK,LAST&TICKER=nope", "Invalid symbol\n"}})
        EXPECT_EQ(ask("demo", "Basic ZGVtbzpkZW1v", query).body, body);
    // Their lengths need one and two characters of padding.
    EXPECT_EQ(ask("em", "Basic ZGVtbzplbQ==", "FIELDS=TICK&TICKER=GOOG").body, "GOOG\n");
    EXPECT_EQ(ask("dem", "Basic ZGVtbzpkZW0=", "FIELDS=TICK&TICKER=GOOG").body, "GOOG\n");
    for (const char* wrong : {"", "Basic ", "Basic ZGVtbzpkZW1p", "ZGVtbzpkZW1v"}) {
        const Reply reply = ask("demo", wrong, "FIELDS=TICK&TICKER=GOOG");
        EXPECT_EQ(reply.status, 401U) << wrong;
        EXPECT_TRUE(reply.headers.at(0).second.starts_with("Basic realm=")) << wrong;
    }
}

}  // namespace
}  // namespace quoteserver
