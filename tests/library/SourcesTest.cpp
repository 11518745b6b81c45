// The adapters of the finance, quote, futures and option services against a server: requests to the
// letter, what is delivered and in which order, odd replies, failures.

#include "sources/CboeForm.h"
#include "support/Downloads.h"
#include "support/HostLoop.h"

namespace vtdl::tests {
namespace {

class SourcesTest : public LibraryTest {
protected:
    /// A service that gives every request the same reply.
    void Serve(const char* service, const std::string& reply) {
        m_reply = reply;
        WriteSettings({{"hosts", service, server.Host()}, {"hosts", "vestora", server.Host()}});
    }
    void ExpectReport(const wchar_t* part) {
        const std::wstring errors = TakeErrors();
        EXPECT_NE(errors.find(part), std::wstring::npos) << part << L" in " << errors;
    }

    std::string m_reply;
    LoopbackServer server{[this](const std::string&) { return m_reply; }};
};

const std::string googleHeader =
    "\xEF\xBB\xBF"
    "Date,Open,High,Low,Close,Volume\n";

Ptr<_CDataSource> Google() { return New<::CDataSourceGoogleHitorical, _CDataSource>(); }
Ptr<_CDataSource> Pifin() { return New<::CDataSourcePifin, _CDataSource>(); }

TEST_F(SourcesTest, GoogleRequestAndRows) {
    Serve("google.finance",
          HttpReply(googleHeader + "3-Jan-04,1,2,3,4,1234567\n"
                                   "2-Jan-04,5,6,7,8,1.5\n1-Jan-04,9,10,11,12,2.5\n"));
    Job job(Google());
    job.Set(L"TICKER", L"NYSE:A B");
    job.Set(L"PERIODICITY", L"WEEKLY");
    job.SetRange(Day(2004, 1, 9), Day(2004, 2, 20));
    job.Start();
    EXPECT_EQ(server.TakePaths().at(0),
              "GET /finance/historical?q=NYSE%3AA%20B&histperiod=WEEKLY&startdate=Jan+9%2C+2004"
              "&enddate=Feb+20%2C+2004&output=csv");
    // Newest first, unlike the chart service's rows.
    EXPECT_EQ(Column(job.session, L"DATE"),
              (Numbers{Day(2004, 1, 3), Day(2004, 1, 2), Day(2004, 1, 1)}));
    EXPECT_EQ(Column(job.session, L"OPEN"), (Numbers{1, 5, 9}));
    EXPECT_EQ(Column(job.session, L"CLOSE"), (Numbers{4, 8, 12}));
    EXPECT_EQ(NumbersOf(ColumnOf(job.session, L"VOLUME"), VT_I4), (Numbers{1234567, 2, 2}));
    EXPECT_EQ(job.LastEvent(), L"Done 0");
}

TEST_F(SourcesTest, PifinRequestAndRows) {
    Serve("pifin", HttpReply("Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt\r\n"
                             "2004-01-09\t1.5\t2\t3\t4\t10.5\t11.5\r\n"
                             "2004-01-12\t5\t6\t7\t8\t9\t10\r\n"));
    Job job(Pifin());
    job.Set(L"ticker", L"CL=F");
    job.SetRange(Day(2004, 1, 9), Day(2004, 2, 20));
    job.Start();
    EXPECT_EQ(server.TakePaths().at(0),
              "GET /cgi-bin/pifin/q.php?t=ts&tid=CL=F&sd=2004-01-09&ed=2004-02-20");
    EXPECT_EQ(Column(job.session, L"DATE"), (Numbers{Day(2004, 1, 9), Day(2004, 1, 12)}));
    EXPECT_EQ(Column(job.session, L"OPEN"), (Numbers{1.5, 5}));
    EXPECT_EQ(NumbersOf(ColumnOf(job.session, L"VOLUME"), VT_I4), (Numbers{10, 9}));
    EXPECT_EQ(NumbersOf(ColumnOf(job.session, L"OPENINT"), VT_I4), (Numbers{12, 10}));
}

TEST_F(SourcesTest, RepliesWithoutPrices) {
    const std::string header = "Date\tOpen\tHigh\tLow\tClose\tVolume";
    struct Case {
        bool isGoogle;
        std::string body;
        const wchar_t* last;
        const wchar_t* report;
    };
    const Case cases[] = {
        {true, googleHeader + "3-Jan-04,1,2,3,4,5\nERROR", L"Done 503", L""},
        {true, "<html>Not Found</html>", L"Done 504", L""},
        {true, "<html></html>", L"Done 0", L""},
        {true, "", L"Done 0", L""},
        {true, googleHeader + "30-Dec-10,-,1,1,1,1\n", L"Done 0", L"row 1, OPEN \"-\""},
        {true, googleHeader + "30-dec-10,1,1,1,1,1\n", L"Done 0", L"FormatGoogleDate"},
        {true, googleHeader + "3-Jan-04,1,2,3,4,4172940000\n", L"Done 0", L"row 1, VOLUME (GOOGLE"},
        {false, "", L"Done 0", L""},
        {false, "<html></html>", L"Done 0", L""},
        {false, header + "\tOpenInt\r\n2004-01-09\t1\tN/A\t3\t4\t5\t6\r\n", L"Done 0",
         L"row 1, HIGH \"N/A\""},
        {false, header + "\r\n2004-01-09\t1\t2\t3\t4\t5\t6\r\n", L"Done 0", L"header of 6 columns"},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.body);
        Serve(expected.isGoogle ? "google.finance" : "pifin", HttpReply(expected.body));
        Job job(expected.isGoogle ? Google() : Pifin());
        job.Start();
        EXPECT_EQ(job.LastEvent(), expected.last);
        EXPECT_EQ(RecordOf(job.session, L"HISTORICAL"), L"") << "they would pass for prices";
        if (*expected.report) ExpectReport(expected.report);
    }
}

TEST_F(SourcesTest, LimitsFromTheSettings) {
    LoopbackServer large(googleHeader + std::string(2 << 20, '\n'));
    struct Case {
        const char* key;
        const char* value;
        const wchar_t* variable;
    };
    for (const auto& [key, value, variable] :
         {Case{"maxbody", "1", nullptr}, {"total", "1", nullptr}, {"total", "60", L"1"}}) {
        WriteSettings({{"hosts", "google.finance", large.Host()}, {"http", key, value}});
        if (key == std::string("total")) large.Behave({1000});
        SetEnvironmentVariableW(L"VTDL_TIMEOUT", variable);
        Job job(Google());
        job.Start();
        EXPECT_EQ(job.LastEvent(), failureDone) << key;
    }
    SetEnvironmentVariableW(L"VTDL_TIMEOUT", nullptr);
}

TEST_F(SourcesTest, YahooRealTime) {
    const auto quoteOf = [&](const std::string& body) {
        Serve("yahoo.quotes", HttpReply(body));
        Job job(New<::CDataSourceYahooRealTime, _CDataSource>());
        job.Set(L"TICKER", L"^A");
        job.Start();
        return RecordOf(job.session, L"TICKER") + job.LastEvent();
    };
    EXPECT_EQ(
        quoteOf("\"A\",12.5,\"1/9/2004\",\"4:05pm\",-0.25,\"+1.25%\",N/A,1,2,3,4,5,x,7,"
                "\"1 - 2\",64.31B,\"3 - 4\",8,9,\"A Co\",\"NMS\"\r\n"),
        L"TICKER 3 A; LAST TRADE 2 12.5; TRADE DATE 1 1/9/2004; TRADE TIME 1 4:05:00 PM; "
        L"CHANGE 2 -0.25; CHANGE% 2 1.25; OPEN 3 N/A; HIGH 2 1; LOW 2 2; VOLUME 2 3; BID 2 4; "
        L"ASK 2 5; P/E 2 0; 1YR TARGET PRICE 2 7; 52WK RANGE 3 1 - 2; MARKET CAP 3 64.31B; "
        L"DAY'S RANGE 3 3 - 4; EPS 2 8; PREV CLOSE 2 9; NAME 3 A Co; PREVIOUS CLOSE 3 NMS; "
        L"Done 0");
    EXPECT_EQ(server.TakePaths().at(0),
              "GET /d/quotes.csv?f=sl1d1t1c1p2ohgvb3b2rt8wj1mepnx&e=.csv&s=^A");
    EXPECT_EQ(quoteOf("A,0.00,1/1/1970\n"),
              L"TICKER 3 A; LAST TRADE 3 empty; TRADE DATE 1 1/1/1970; Done 5");
    EXPECT_EQ(quoteOf(""), L"TICKER 3 ; Done 0");
    // A name with a comma: one value more, and the last one has a name but no value. Two commas,
    // and it has no name either.
    const std::string shifted = "A,1,1/9/2004" + std::string(19, ',');
    EXPECT_TRUE(quoteOf(shifted + "z\n").ends_with(L"; STOCK EXCHANGE 0 empty; Done 0"));
    EXPECT_EQ(quoteOf(shifted + "z,z\n"), L"Done 0");
    ExpectReport(L"value 23");
    EXPECT_TRUE(quoteOf({"A,12\0x", 7}).starts_with(L"TICKER 3 A; LAST TRADE 3 empty; "));
    EXPECT_NE(quoteOf("A,1,x,4:pm").find(L"TRADE DATE 1 "), std::wstring::npos);
    ExpectReport(L"vtdl.CDataSourceYahooRealTime.ToTime");
}

TEST_F(SourcesTest, PCQuote) {
    std::string line = "IBM,12.5,x,15:59:00";
    for (int i = 4; i < 26; ++i) line.append(",").append(std::to_string(i));
    const auto quoteOf = [&](const std::string& password, const wchar_t* ticker = L"IBM") {
        LoopbackServer service([&](const std::string& request) {
            const bool isKnown = request.find("Basic YW5uOnNlY3JldA==") != request.npos;
            return isKnown ? HttpReply(line + "\r\n")
                           : HttpReply("refused", "401 x\r\nWWW-Authenticate: Basic realm=\"q\"");
        });
        WriteSettings({{"hosts", "pcquote", service.Host()},
                       {"pcquote/parameters", "user", "ann"},
                       {"pcquote/parameters", "password", password}});
        Job job(New<::CDataSourcePCQuote, _CDataSource>());
        job.Set(L"TICKER", ticker);
        job.Start();
        EXPECT_EQ(job.LastEvent(), L"Done 0");
        EXPECT_TRUE(service.TakePaths().back().starts_with(
            "GET /cgi-bin/vestora.exe?HIDEPACKAGE=1&FORMAT=DECIMAL&PACKAGE=CUSTOM&FIELDS=TICK,LAST,"
            "NET,TIME,SIZE,VOLUME,OPEN,HIGH,LOW,CLOSE,BID,ASK,BIDASKSIZE,EXCHANGE,NAME,YRHIGH,"
            "YRLOW,"
            "DIVFREQ,DIVIDEND,EARNINGS,SHARES,PERATIO,DIVDATE,VOLATILITY,YIELD,STATUS&TICKER="));
        return RecordOf(job.session, L"TICKER");
    };
    EXPECT_EQ(
        quoteOf("secret"),
        L"TICKER 3 IBM; LAST 2 12.5; NET 3 x; TIME 1 3:59:00 PM; SIZE 3 4; VOLUME 2 5; OPEN 2 "
        L"6; HIGH 2 7; LOW 2 8; CLOSE 2 9; BID 2 10; ASK 2 11; BIDASKSIZE 3 12; EXCHANGE 3 13; "
        L"NAME 3 14; YRHIGH 2 15; YRLOW 2 16; DIVFREQ 2 17; DIVIDEND 2 18; EARNINGS 2 19; "
        L"SHARES 3 20; PERATIO 2 21; DIVDATE 2 22; VOLATILITY 2 23; YIELD 3 24; STATUS 3 25; ");
    const std::wstring refused = quoteOf("wrong", L"\u0416BM");
    EXPECT_TRUE(refused.starts_with(L"TICKER 3 \u0416BM; LAST 3 empty; NET 3 empty; "));
    EXPECT_EQ(std::count(refused.begin(), refused.end(), L';'), 26);
    line += ",extra";
    EXPECT_EQ(quoteOf("secret"), L"");
    ExpectReport(L"value 27");
}

// Requests of one thread can only end in the reverse order of their starts, and this server answers
// in the order in which they came.
TEST_F(SourcesTest, PeriodicDownloadsDoNotNest) {
    LoopbackServer slow([](const std::string&) {
        Sleep(100);
        return HttpReply("");
    });
    WriteSettings({{"hosts", "pcquote", slow.Host()}});
    std::vector<std::unique_ptr<Job>> jobs;
    for (int i = 0; i < 10; ++i) {
        jobs.push_back(std::make_unique<Job>(New<::CDataSourcePCQuote, _CDataSource>()));
        jobs.back()->Set(L"PERIOD", 15L);
        jobs.back()->Start();
    }
    EXPECT_TRUE(RunLoop(enough, [&] { return jobs[0]->Count(L"DataReady") > 1; }));
    for (const auto& job : jobs) job->session->Done();
}

const std::string cboeTable =
    "XYZ (XYZ INC),12.50,-0.25,\r\n"
    "Nov 04 2016 @ 14:35 ET,Bid,12.49,Ask,12.51,Size,13x6,Vol,20523482,\r\n"
    "Calls,Last Sale,\r\n"
    "16 Nov 70.00 (XYZ1604K70),41.65,+1.5,39.70,39.85,3,7,16 Nov 70.00 (XYZ1604W70),0.0,0.0,"
    ", ,0.01,0,5,\r\n"
    "16 Dec 72.5 (XYZ1616L72.5),1,2,3,4,5,6,,,,,,,,\r\n";

std::string CboeReply(const std::string& body, const std::string& type = "application/x-unknown") {
    return "HTTP/1.0 200 OK\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

TEST_F(SourcesTest, CboeChain) {
    Serve("cboe", CboeReply(cboeTable, "Application/X-Unknown; charset=utf-8"));
    Job job(New<::CDataSourceCBOE, _CDataSource>());
    job.Set(L"TICKER", L"XYZ");
    job.Start();
    const std::string request = server.TakeRequests().at(0), state = cboe::BuiltInState(false);
    EXPECT_TRUE(request.starts_with("POST /DelayedQuote/QuoteTableDownload.aspx HTTP/1.0\r\n"));
    for (const char* header :
         {"User-Agent: Mozilla/4.0\r\n", "Referer: /DelayedQuote/QuoteTableDownload.aspx\r\n",
          "\r\n\r\n__EVENTTARGET=&__EVENTARGUMENT=&__VIEWSTATE=%2FwEPDwU"})
        EXPECT_NE(request.find(header), std::string::npos) << header;
    EXPECT_TRUE(request.ends_with(cboe::BuildFormBody(false, "XYZ", state)));
    EXPECT_TRUE(
        request.ends_with("QuoteTableDownloadCtl1%24txtTicker=XYZ&ctl00%24ctl00%24AllContent"
                          "%24ContentMain%24QuoteTableDownloadCtl1%24cmdSubmit="
                          "DownloadGET /DelayedQuote/QuoteData.dat HTTP/1.1"));
    EXPECT_EQ(state.size(), 8543u);
    EXPECT_TRUE(cboe::BuildFormBody(true, "XYZ", "S").ends_with("%24SrchType=Begins"));

    EXPECT_EQ(RecordOf(job.session, L"TICKER"),
              L"TICKER 0 XYZ (XYZ INC); PRICE 0 12.5; NET 0 -0.25; DATE 0 11/4/2016; BID 0 12.49; "
              L"ASK 0 12.51; SIZE 0 13x6; VOLUME 0 20523482; ");
    EXPECT_EQ(NumbersOf(ColumnOf(job.session, L"EXPIRATION", L"CALLS"), VT_DATE),
              (Numbers{Day(2016, 11, 18), Day(2016, 12, 16)}));
    const std::tuple<const wchar_t*, const wchar_t*, Numbers> columns[] = {
        {L"CALLS", L"STRIKE", {70, 72.5}},
        {L"CALLS", L"NET", {1.5, 2}},
        {L"CALLS", L"OPENINT", {7, 6}},
        {L"PUTS", L"STRIKE", {70, 0}},
        {L"PUTS", L"BID", {0, 0}}};
    for (const auto& [block, name, values] : columns)
        EXPECT_EQ(NumbersOf(ColumnOf(job.session, name, block)), values) << block << name;
    const _variant_t symbols = ColumnOf(job.session, L"TICKER", L"PUTS");
    ASSERT_EQ(symbols.vt, VT_ARRAY | VT_BSTR);
    EXPECT_STREQ(static_cast<BSTR*>(symbols.parray->pvData)[0], L"XYZ1604W70");
    EXPECT_EQ(SysStringLen(static_cast<BSTR*>(symbols.parray->pvData)[1]), 0u);
}

TEST_F(SourcesTest, CboeOddReplies) {
    const auto download = [&](const std::string& reply) {
        Serve("cboe", reply);
        auto job = std::make_unique<Job>(New<::CDataSourceCBOE, _CDataSource>());
        job->Start();
        return job;
    };
    EXPECT_EQ(ErrorOf(download(CboeReply("<html></html>", "text/html"))->session),
              L"5 -1 Invalid data format");
    EXPECT_EQ(server.TakePaths().back(), "GET /files/VTDL.version");

    std::string table = cboeTable;
    table.replace(table.find("16 Nov 70"), 2, "xx");
    EXPECT_EQ(
        NumbersOf(ColumnOf(download(CboeReply(table))->session, L"EXPIRATION", L"CALLS"), VT_DATE),
        (Numbers{0, Day(2016, 12, 16)}));
    ExpectReport(L"vtdl.CDataSourceCBOE.ExpireDateToDate");

    // The settings may bring the form's state of the day. A damaged head is reported.
    server.TakeRequests();
    m_reply = CboeReply("no table\r\n");
    WriteSettings({{"hosts", "cboe", server.Host()}, {"cboe/form", "download", "STATE"}});
    Job(New<::CDataSourceCBOE, _CDataSource>()).Start();
    EXPECT_NE(server.TakeRequests().at(0).find("&__VIEWSTATE=STATE&"), std::string::npos);
    ExpectReport(L"line 1");
}

}  // namespace
}  // namespace vtdl::tests
