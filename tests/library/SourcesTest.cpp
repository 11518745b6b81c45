// The adapters of the finance, quote, futures and option services against a server: requests to the
// letter, what is delivered and in which order, odd replies, failures.

#include "sources/CboeForm.h"
#include "support/Downloads.h"
#include "support/HostLoop.h"

namespace vtdl::tests {
namespace {

constexpr wchar_t failureDone[] = L"Done -2146697208";

class SourcesTest : public LibraryTest {
protected:
    /// A service that gives every request the same reply.
    void Serve(const char* service, std::string reply) {
        m_server = std::make_unique<LoopbackServer>(
            [reply = std::move(reply)](const std::string&) { return reply; });
        WriteSettings({{"hosts", service, m_server->Host()}});
    }
    std::string Request() const {
        const auto paths = m_server->TakePaths();
        EXPECT_EQ(paths.size(), 1u);
        return paths.empty() ? std::string() : paths[0];
    }
    LoopbackServer& Server() { return *m_server; }

private:
    std::unique_ptr<LoopbackServer> m_server;
};

// --- The finance service

constexpr char googleHeader[] =
    "\xEF\xBB\xBF"
    "Date,Open,High,Low,Close,Volume\n";

Ptr<_CDataSource> Google() { return New<::CDataSourceGoogleHitorical, _CDataSource>(); }

TEST_F(SourcesTest, GoogleRequestAndRows) {
    Serve("google.finance", HttpReply(googleHeader + std::string("3-Jan-04,1,2,3,4,1234567\n"
                                                                 "2-Jan-04,5,6,7,8,1.5\n"
                                                                 "1-Jan-04,9,10,11,12,2.5\n")));
    Job job(Google());
    job.Set(L"TICKER", L"NYSE:A B");
    job.Set(L"PERIODICITY", L"WEEKLY");
    job.SetRange(Day(2004, 1, 9), Day(2004, 2, 20));
    job.Start();
    EXPECT_EQ(Request(),
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

TEST_F(SourcesTest, GoogleRepliesWithoutPrices) {
    struct Case {
        std::string body;
        const wchar_t* last;
    };
    for (const Case& expected :
         {Case{googleHeader + std::string("3-Jan-04,1,2,3,4,5\nERROR"), L"Done 503"},
          {"<html>Not Found</html>", L"Done 504"},
          {"<html></html>", L"Done 0"},
          {"", L"Done 0"}}) {
        Serve("google.finance", HttpReply(expected.body));
        Job job(Google());
        job.Start();
        EXPECT_EQ(job.LastEvent(), expected.last) << expected.body;
        EXPECT_FALSE(BlockOf(job.session)) << expected.body;
    }
    // A missing price, and a volume that its column cannot hold.
    for (const auto& [row, place] :
         {std::pair{"30-Dec-10,-,1,1,1,1\n", L"row 1, OPEN \"-\""},
          {"30-dec-10,1,1,1,1,1\n", L"FormatGoogleDate"},
          {"3-Jan-04,1,2,3,4,4172940000\n", L"row 1, VOLUME (GOOGLEHIST "}}) {
        Serve("google.finance", HttpReply(std::string(googleHeader) + row));
        Job job(Google());
        job.Start();
        EXPECT_FALSE(BlockOf(job.session)) << row;
        EXPECT_NE(TakeErrors().find(place), std::wstring::npos) << row;
    }
}

TEST_F(SourcesTest, LimitsFromTheSettings) {
    LoopbackServer server(googleHeader + std::string(2 << 20, '\n'));
    struct Case {
        const char* key;
        const char* value;
        const wchar_t* variable;
    };
    for (const auto& [key, value, variable] :
         {Case{"maxbody", "1", nullptr}, {"total", "1", nullptr}, {"total", "60", L"1"}}) {
        WriteSettings({{"hosts", "google.finance", server.Host()}, {"http", key, value}});
        if (key == std::string("total")) server.PaceReplies(4096);
        SetEnvironmentVariableW(L"VTDL_TIMEOUT", variable);
        Job job(Google());
        job.Start();
        EXPECT_EQ(job.LastEvent(), failureDone) << key;
    }
    SetEnvironmentVariableW(L"VTDL_TIMEOUT", nullptr);
}

// However a reply is cut on its way, it is the same reply.
TEST_F(SourcesTest, GoogleReplyInTwoPieces) {
    const std::string reply =
        HttpReply(googleHeader + std::string("2-Jan-04,5,6,7,8,15\n1-Jan-04,9,10,11,12,25\n"));
    Serve("google.finance", reply);
    const auto source = Google();
    for (std::size_t cut = 1; cut < reply.size(); ++cut) {
        Server().CutReplies(cut);
        Job job(source);
        job.Start();
        ASSERT_EQ(Column(job.session, L"OPEN"), (Numbers{5, 9})) << cut;
        ASSERT_EQ(job.LastEvent(), L"Done 0") << cut;
    }
}

// --- The futures service

TEST_F(SourcesTest, PifinRequestAndRows) {
    Serve("pifin", HttpReply("Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt\r\n"
                             "2004-01-09\t1.5\t2\t3\t4\t10.5\t11.5\r\n"
                             "2004-01-12\t5\t6\t7\t8\t9\t10\r\n"));
    Job job(New<::CDataSourcePifin, _CDataSource>());
    job.Set(L"ticker", L"CL=F");
    job.SetRange(Day(2004, 1, 9), Day(2004, 2, 20));
    job.Start();
    EXPECT_EQ(Request(), "GET /cgi-bin/pifin/q.php?t=ts&tid=CL=F&sd=2004-01-09&ed=2004-02-20");
    EXPECT_EQ(Column(job.session, L"DATE"), (Numbers{Day(2004, 1, 9), Day(2004, 1, 12)}));
    EXPECT_EQ(Column(job.session, L"OPEN"), (Numbers{1.5, 5}));
    EXPECT_EQ(NumbersOf(ColumnOf(job.session, L"VOLUME"), VT_I4), (Numbers{10, 9}));
    EXPECT_EQ(NumbersOf(ColumnOf(job.session, L"OPENINT"), VT_I4), (Numbers{12, 10}));
    EXPECT_EQ(job.LastEvent(), L"Done 0");
}

TEST_F(SourcesTest, PifinRepliesWithoutPrices) {
    for (const char* body : {"", "Date,Open\n", "<html></html>"}) {
        Serve("pifin", HttpReply(body));
        Job job(New<::CDataSourcePifin, _CDataSource>());
        job.Start();
        Ptr<_CData> data;
        job.session->get_Data(&data);
        EXPECT_TRUE(data) << body;
        EXPECT_EQ(RecordOf(job.session, L"HISTORICAL"), L"") << body;
    }
    const std::string header = "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt";
    struct Case {
        std::string body;
        std::vector<const wchar_t*> reports;
    };
    for (const Case& expected :
         {Case{header + "\r\n2004-01-09\t1\tN/A\t3\t4\t5\t6\r\n",
               {L"row 1, HIGH \"N/A\"", L"vtdl.CDataSourcePifin.ToNumber"}},
          {header.substr(0, header.rfind('\t')) + "\r\n2004-01-09\t1\t2\t3\t4\t5\t6\r\n",
           {L"header of 6 columns", L"vtdl.CDataSourcePifin.CDataSource_Download"}}}) {
        Serve("pifin", HttpReply(expected.body));
        Job job(New<::CDataSourcePifin, _CDataSource>());
        job.Start();
        EXPECT_FALSE(BlockOf(job.session)) << "wrong numbers would pass for prices";
        const std::wstring errors = TakeErrors();
        for (const wchar_t* report : expected.reports)
            EXPECT_NE(errors.find(report), std::wstring::npos) << expected.body;
    }
}

// --- Quotes

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
    EXPECT_EQ(Request(), "GET /d/quotes.csv?f=sl1d1t1c1p2ohgvb3b2rt8wj1mepnx&e=.csv&s=^A");
    EXPECT_EQ(quoteOf("A,0.00,1/1/1970\n"),
              L"TICKER 3 A; LAST TRADE 3 empty; TRADE DATE 1 1/1/1970; Done 5");
    EXPECT_EQ(quoteOf(""), L"TICKER 3 ; Done 0");
    // A name with a comma: one value more, and the last one has a name but no value. Two commas,
    // and it has no name either.
    const std::string shifted = "A,1,1/9/2004" + std::string(19, ',');
    EXPECT_NE(quoteOf(shifted + "z\n").find(L"PREVIOUS CLOSE 3 ; STOCK EXCHANGE 0 empty; Done 0"),
              std::wstring::npos);
    EXPECT_EQ(quoteOf(shifted + "z,z\n"), L"Done 0");
    EXPECT_NE(TakeErrors().find(L"value 23"), std::wstring::npos);
    EXPECT_TRUE(
        quoteOf(std::string("A,12\0x", 7)).starts_with(L"TICKER 3 A; LAST TRADE 3 empty; "));
    EXPECT_NE(quoteOf("A,1,x,4:pm").find(L"TRADE DATE 1 "), std::wstring::npos);
    const std::wstring errors = TakeErrors();
    EXPECT_NE(errors.find(L"vtdl.CDataSourceYahooRealTime.ToDate"), std::wstring::npos);
    EXPECT_NE(errors.find(L"vtdl.CDataSourceYahooRealTime.ToTime"), std::wstring::npos);

    const ClosedPort closed;
    WriteSettings({{"hosts", "yahoo.quotes", closed.Host()}});
    Job job(New<::CDataSourceYahooRealTime, _CDataSource>());
    job.Start();
    EXPECT_EQ(RecordOf(job.session, L"TICKER"), L"TICKER 3 ; ");
    EXPECT_EQ(job.LastEvent(), failureDone);
}

TEST_F(SourcesTest, PCQuote) {
    std::string line = "IBM,12.5,x,15:59:00", extra;
    for (int i = 4; i < 26; ++i) line.append(",").append(std::to_string(i));
    LoopbackServer server([&](const std::string& request) {
        constexpr char credentials[] = "Authorization: Basic YW5uOnNlY3JldA==";  // ann:secret
        return request.find(credentials) != std::string::npos
                   ? HttpReply(line + extra + "\r\n")
                   : "HTTP/1.0 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"q\"\r\n"
                     "Content-Length: 7\r\n\r\nrefused";
    });
    WriteSettings({{"hosts", "pcquote", server.Host()}});
    const auto source = New<::CDataSourcePCQuote, _CDataSource>();
    const auto quoteOf = [&](const wchar_t* password, const wchar_t* ticker = L"IBM") {
        Ptr<_CParameters> account;
        source->get_Parameters(&account);
        for (const auto& [name, value] : {std::pair{L"USER", L"ann"}, {L"PASSWORD", password}}) {
            Ptr<_CParameter> parameter;
            _variant_t key(name);
            account->Item(&key, &parameter);
            parameter->put_Value(_variant_t(value));
        }
        Job job(source);
        job.Set(L"TICKER", ticker);
        job.Start();
        EXPECT_EQ(job.LastEvent(), L"Done 0");
        return RecordOf(job.session, L"TICKER");
    };
    extra = ",extra";
    EXPECT_EQ(quoteOf(L"secret"), L"");
    EXPECT_NE(TakeErrors().find(L"value 27"), std::wstring::npos);
    extra.clear();
    const std::wstring quote = quoteOf(L"secret");
    EXPECT_TRUE(quote.starts_with(
        L"TICKER 3 IBM; LAST 2 12.5; NET 3 x; TIME 1 3:59:00 PM; SIZE 3 4; VOLUME 2 5; "))
        << testing::PrintToString(quote);
    EXPECT_TRUE(
        quote.ends_with(L"PERATIO 2 21; DIVDATE 2 22; VOLATILITY 2 23; YIELD 3 24; "
                        L"STATUS 3 25; "))
        << testing::PrintToString(quote);
    EXPECT_TRUE(server.TakePaths().back().ends_with(
        "/cgi-bin/"
        "vestora.exe?HIDEPACKAGE=1&FORMAT=DECIMAL&PACKAGE=CUSTOM&FIELDS=TICK,LAST,NET,TIME,"
        "SIZE,VOLUME,OPEN,HIGH,LOW,CLOSE,BID,ASK,BIDASKSIZE,EXCHANGE,NAME,YRHIGH,YRLOW,DIVFREQ,"
        "DIVIDEND,EARNINGS,SHARES,PERATIO,DIVDATE,VOLATILITY,YIELD,STATUS&TICKER=IBM"));

    const std::wstring refused = quoteOf(L"wrong", L"\u0416BM");
    EXPECT_TRUE(refused.starts_with(L"TICKER 3 \u0416BM; LAST 3 empty; NET 3 empty; "));
    EXPECT_EQ(std::count(refused.begin(), refused.end(), L';'), 26);
}

// Requests of one thread can only end in the reverse order of their starts, and this server answers
// in the order in which they came.
TEST_F(SourcesTest, PeriodicDownloadsDoNotNest) {
    LoopbackServer server([](const std::string&) {
        Sleep(200);
        return HttpReply("");
    });
    WriteSettings({{"hosts", "pcquote", server.Host()}});
    std::vector<std::unique_ptr<Job>> jobs;
    for (int i = 0; i < 10; ++i) {
        jobs.push_back(std::make_unique<Job>(New<::CDataSourcePCQuote, _CDataSource>()));
        jobs.back()->Set(L"PERIOD", 15L);
        jobs.back()->Start();
    }
    const ULONGLONG start = GetTickCount64();
    RunLoop(1000);
    EXPECT_LT(GetTickCount64() - start, 2000u);
    for (const auto& job : jobs) job->session->Done();
    EXPECT_GT(server.TakeRequests().size(), 3u);
}

TEST_F(SourcesTest, PCQuotePeriod) {
    Job job(New<::CDataSourcePCQuote, _CDataSource>());
    Ptr<_CParameters> parameters;
    Ptr<_CParameter> period;
    _variant_t key(L"PERIOD"), value, defaultValue;
    job.session->get_Parameters(&parameters);
    parameters->Item(&key, &period);
    period->get_Value(&value);
    period->get_DefaultValue(&defaultValue);
    EXPECT_EQ(TextOf(value), L"0");
    EXPECT_EQ(TextOf(defaultValue), L"1000");
}

// --- Option chains

constexpr char cboeTable[] =
    "XYZ (XYZ INC),12.50,-0.25,\r\n"
    "Nov 04 2016 @ 14:35 ET,Bid,12.49,Ask,12.51,Size,13x6,Vol,20523482,\r\n"
    "Calls,Last Sale,\r\n"
    "16 Nov 70.00 (XYZ1604K70),41.65,+1.5,39.70,39.85,3,7,16 Nov 70.00 (XYZ1604W70),0.0,0.0,"
    ", ,0.01,0,5,\r\n"
    "16 Dec 72.5 (XYZ1616L72.5),1,2,3,4,5,6,,,,,,,,\r\n";

std::string CboeReply(const std::string& body, const std::string& type) {
    return "HTTP/1.0 200 OK\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

TEST_F(SourcesTest, CboeForm) {
    const std::string state = cboe::BuiltInState(false);
    EXPECT_EQ(state.size(), 8543u);
    EXPECT_EQ(cboe::BuiltInState(true).size(), 8953u);
    EXPECT_EQ(state.substr(7854, 25), "&__EVENTVALIDATION=%2FwEW");
    const std::string body = cboe::BuildFormBody(false, "XYZ", state);
    EXPECT_TRUE(body.starts_with("__EVENTTARGET=&__EVENTARGUMENT=&__VIEWSTATE=%2FwEPDwU"));
    EXPECT_TRUE(
        body.ends_with("QuoteTableDownloadCtl1%24txtTicker=XYZ&ctl00%24ctl00%24AllContent"
                       "%24ContentMain%24QuoteTableDownloadCtl1%24cmdSubmit="
                       "DownloadGET /DelayedQuote/QuoteData.dat HTTP/1.1"));
    // 22 common fields, the validation in the state, and 4 or 5 of the form's own.
    EXPECT_EQ(std::count(body.begin(), body.end(), '&'), 22 + 1 + 4 - 1);
    const std::string lookup = cboe::BuildFormBody(true, "XYZ", "S");
    EXPECT_EQ(std::count(lookup.begin(), lookup.end(), '&'), 22 + 5 - 1);
    EXPECT_TRUE(
        lookup.ends_with("btnSubmit=Get+Symbol&ctl00%24ctl00%24AllContent%24ContentMain"
                         "%24ucSymbolCtl%24SrchType=Begins"));
    EXPECT_EQ(cboe::EncodeParam("a+b=c:d&e"), "a%2Bb%3Dc%3Ad&e");
}

TEST_F(SourcesTest, CboeChain) {
    Serve("cboe", CboeReply(cboeTable, "Application/X-Unknown; charset=utf-8"));
    Job job(New<::CDataSourceCBOE, _CDataSource>());
    job.Set(L"TICKER", L"XYZ");
    job.Start();
    const std::string request = Server().TakeRequests().at(0);
    EXPECT_TRUE(request.starts_with("POST /DelayedQuote/QuoteTableDownload.aspx HTTP/1.0\r\n"));
    for (const char* header :
         {"User-Agent: Mozilla/4.0\r\n", "Referer: /DelayedQuote/QuoteTableDownload.aspx\r\n",
          "Content-Type: application/x-www-form-urlencoded\r\n"})
        EXPECT_NE(request.find(header), std::string::npos) << header;
    EXPECT_TRUE(request.ends_with(cboe::BuildFormBody(false, "XYZ", cboe::BuiltInState(false))));

    EXPECT_EQ(RecordOf(job.session, L"TICKER"),
              L"TICKER 0 XYZ (XYZ INC); PRICE 0 12.5; NET 0 -0.25; DATE 0 11/4/2016; BID 0 12.49; "
              L"ASK 0 12.51; SIZE 0 13x6; VOLUME 0 20523482; ");
    const auto column = [&](const wchar_t* block, const wchar_t* name) {
        return NumbersOf(ColumnOf(job.session, name, block),
                         wcscmp(name, L"EXPIRATION") == 0 ? VT_DATE : VT_R8);
    };
    EXPECT_EQ(column(L"CALLS", L"EXPIRATION"), (Numbers{Day(2016, 11, 18), Day(2016, 12, 16)}));
    EXPECT_EQ(column(L"CALLS", L"STRIKE"), (Numbers{70, 72.5}));
    EXPECT_EQ(column(L"CALLS", L"NET"), (Numbers{1.5, 2}));
    EXPECT_EQ(column(L"CALLS", L"OPENINT"), (Numbers{7, 6}));
    EXPECT_EQ(column(L"PUTS", L"STRIKE"), (Numbers{70, 0}));
    EXPECT_EQ(column(L"PUTS", L"BID"), (Numbers{0, 0}));
    const _variant_t symbols = ColumnOf(job.session, L"TICKER", L"PUTS");
    ASSERT_EQ(symbols.vt, VT_ARRAY | VT_BSTR);
    const auto* texts = static_cast<BSTR*>(symbols.parray->pvData);
    EXPECT_STREQ(texts[0], L"XYZ1604W70");
    EXPECT_EQ(SysStringLen(texts[1]), 0u);
    EXPECT_EQ(job.sink.events.back(), L"Done 0");
}

TEST_F(SourcesTest, CboeReplyOfAnotherType) {
    Serve("cboe", CboeReply("<html></html>", "text/html"));
    WriteSettings({{"hosts", "cboe", Server().Host()}, {"hosts", "vestora", Server().Host()}});
    Job job(New<::CDataSourceCBOE, _CDataSource>());
    job.Start();
    EXPECT_EQ(ErrorOf(job.session), L"5 -1 Invalid data format");
    EXPECT_EQ(Server().TakePaths().back(), "GET /files/VTDL.version");
    EXPECT_EQ(RecordOf(job.session, L"TICKER"), L"");
    EXPECT_EQ(job.Count(L"DataReady"), 1);
}

TEST_F(SourcesTest, CboeCellThatCannotBeRead) {
    std::string table = cboeTable;
    Serve("cboe",
          CboeReply(table.replace(table.find("16 Nov 70"), 2, "xx"), "application/x-unknown"));
    Job job(New<::CDataSourceCBOE, _CDataSource>());
    job.Start();
    EXPECT_EQ(NumbersOf(ColumnOf(job.session, L"EXPIRATION", L"CALLS"), VT_DATE),
              (Numbers{0, Day(2016, 12, 16)}));
    const std::wstring errors = TakeErrors();
    EXPECT_NE(errors.find(L"vtdl.CDataSourceCBOE.ExpireDateToDate"), std::wstring::npos);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), L'\n'), 1);
}

// The settings may bring the form's state of the day. A damaged head of the table is reported.
TEST_F(SourcesTest, CboeStateFromTheSettings) {
    LoopbackServer server(
        [](const std::string&) { return CboeReply("no table\r\n", "application/x-unknown"); });
    WriteSettings({{"hosts", "cboe", server.Host()}, {"cboe/form", "download", "STATE"}});
    Job job(New<::CDataSourceCBOE, _CDataSource>());
    job.Start();
    EXPECT_NE(server.TakeRequests().at(0).find("&__VIEWSTATE=STATE&"), std::string::npos);
    EXPECT_NE(TakeErrors().find(L"line 1"), std::wstring::npos);
}

TEST_F(SourcesTest, CboeWithoutServer) {
    const ClosedPort closed;
    WriteSettings({{"hosts", "cboe", closed.Host()}});
    Job job(New<::CDataSourceCBOE, _CDataSource>());
    job.Start();
    EXPECT_EQ(job.LastEvent(), failureDone);
    Ptr<_CData> data;
    job.session->get_Data(&data);
    EXPECT_TRUE(data);
}

}  // namespace
}  // namespace vtdl::tests
