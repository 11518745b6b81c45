// Services on bad days: replies that are spoilt, cut, or not what was asked for. Every download
// ends in its time, says what is to be said, and the same session works again.

#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

/// A source, the key of its service, and the column that shows what came.
struct Service {
    Ptr<_CDataSource> (*source)();
    const char* name;
    const wchar_t* block;
    const wchar_t* column;
};

template <class Coclass>
Ptr<_CDataSource> Make() {
    return New<Coclass, _CDataSource>();
}

const Service prices{Make<::CDataSourceYahooHitorical>, "yahoo.chart", L"HISTORICAL", L"OPEN"};
const Service dividends{Make<::CDataSourceYahooDividends>, "yahoo.chart", L"HISTORICAL",
                        L"DIVIDENDS"};
const Service google{Make<::CDataSourceGoogleHitorical>, "google.finance", L"HISTORICAL",
                     L"VOLUME"};
const Service pifin{Make<::CDataSourcePifin>, "pifin", L"HISTORICAL", L"OPENINT"};
const Service quote{Make<::CDataSourceYahooRealTime>, "yahoo.quotes", L"TICKER", L"LAST TRADE"};
const Service account{Make<::CDataSourcePCQuote>, "pcquote", L"TICKER", L"LAST"};
const Service chain{Make<::CDataSourceCBOE>, "cboe", L"CALLS", L"STRIKE"};
const Service none{Make<::CDataSourceIVolatility>, "ivolatility", L"HISTORICAL", L""};

class FaultTest : public LibraryTest {
protected:
    FaultTest() { SetEnvironmentVariableA("VTDL_STRICT", nullptr); }
    ~FaultTest() override { SetEnvironmentVariableA("VTDL_STRICT", nullptr); }

    void Use(const Service& service, bool isStrict) {
        WriteSettings({{"hosts", service.name, m_server.Host()},
                       {"hosts", "vestora", m_server.Host()},
                       {"http", "timeout", "1"},
                       {"http", "strict", isStrict ? "1" : "0"},
                       {"pcquote/parameters", "user", "secret1"},
                       {"pcquote/parameters", "password", "secret2"}});
    }

    /// The values of a service's column, and the last event.
    static std::wstring Result(const Job& job, const Service& service) {
        const _variant_t column = ColumnOf(job.session, service.column, service.block);
        std::wstring text;
        if (column.vt & VT_ARRAY)
            for (const double number : NumbersOf(column, column.vt & VT_TYPEMASK))
                text += TextOf(_variant_t(number)) + L" ";
        else if (column.vt != VT_EMPTY)
            text = TextOf(column) + L" ";
        return text + job.LastEvent();
    }

    std::wstring Download(const Service& service, const std::string& reply, bool isStrict,
                          const wchar_t* ticker = L"A") {
        m_reply = reply;
        Use(service, isStrict);
        Job job(service.source());
        job.Set(L"TICKER", ticker);
        job.Start();
        m_hasData = BlockOf(job.session, service.block) != nullptr;
        return Result(job, service);
    }

    std::string m_reply;
    LoopbackServer m_server{[this](const std::string&) { return m_reply; }};
    bool m_hasData = false;
};

const std::string googleTable = "Date,Open,High,Low,Close,Volume\n9-Jan-04,1,2,3,4,7654321\n";
const std::string cboeTable =
    "XYZ (XYZ INC),12.50,-0.25,\r\nNov 04 2016 @ 14:35 ET,Bid,12.49,\r\nCalls,Last Sale,\r\n"
    "16 Nov 70.00 (XYZ1604K70),41.65,+1.5,39.70,39.85,3,7,,,,,,,,\r\n"
    "16 Dec 72.5 (XYZ1616L72.5),1,2,3,4,5,6,,,,,,,,\r\n";
const std::string chunkedHead = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const std::string chainHead = "HTTP/1.0 200 OK\r\nContent-Type: application/x-unknown\r\n";

std::string Quote(std::size_t values, std::string line) {
    for (auto k = static_cast<std::size_t>(std::count(line.begin(), line.end(), ',')) + 1;
         k < values; ++k)
        line.append(",").append(std::to_string(k));
    return line + "\r\n";
}

// A body that breaks off counts as received, on purpose. Strictly it has failed.
TEST_F(FaultTest, EveryFaultEndsAndTheSessionWorksAgain) {
    const std::string whole = HttpReply(googleTable), cut = whole.substr(0, whole.size() - 7);
    const std::string longer = "HTTP/1.0 200 OK\r\nContent-Length: 999\r\n\r\n" + googleTable;
    struct Case {
        std::string reply;
        Manners manners;
        std::wstring result;
    };
    for (const Case& expected : {Case{"", {0, true}, failureDone},
                                 {cut, {0, true}, L"7 Done 0"},
                                 {cut, {}, L"7 Done 0"},
                                 {cut, {0, false, true}, L"7 Done 0"},
                                 {longer, {}, L"7654321 Done 0"},
                                 {chunkedHead + "zz\r\n" + googleTable, {}, L"Done 0"},
                                 {HttpReply("<html></html>"), {}, L"Done 0"}})
        for (const bool isStrict : {false, true}) {
            SCOPED_TRACE(expected.reply);
            Use(google, isStrict);
            Job job(google.source());
            m_reply = expected.reply;
            m_server.Behave(expected.manners);
            const ULONGLONG start = GetTickCount64();
            job.Start();
            EXPECT_LT(GetTickCount64() - start, 8000u);
            EXPECT_EQ(Result(job, google), isStrict ? failureDone : expected.result);
            TakeLog();
            m_reply = whole;
            m_server.Behave({});
            job.session->Start();
            EXPECT_TRUE(Result(job, google).starts_with(L"7654321 "));
        }
}

// A server that sends a byte now and then never reaches a limit; a person's patience does.
TEST_F(FaultTest, AbortEndsADrippingDownload) {
    m_reply = HttpReply(std::string(100'000, 'x'));
    m_server.Behave({1});
    Use(google, false);
    Job job(google.source());
    static _CSession* running;
    running = job.session;
    struct Patience {
        static void CALLBACK Ends(HWND, UINT, UINT_PTR timer, DWORD) noexcept {
            KillTimer(nullptr, timer);
            running->Abort();
        }
    };
    SetTimer(nullptr, 0, 200, Patience::Ends);
    const ULONGLONG start = GetTickCount64();
    job.Start();
    EXPECT_LT(GetTickCount64() - start, 20'000u) << "all of it would take minutes";
    EXPECT_EQ(Result(job, google), failureDone);
}

// The documentation's table of what a short body gives.
TEST_F(FaultTest, ShortBodies) {
    struct Case {
        const Service& service;
        std::string body;
        const char* lost;  ///< from here on
        const wchar_t* whole;
        const wchar_t* cut;
    };
    const std::string rows =
        "2004-01-09,20,20,20,20,100,20.00\n2004-01-08,10,10,10,10,1000,10.00\n";
    const std::string paid = "Date,Dividends\n2004-03-19,0.37\n2003-12-19,0.48\n";
    const std::string futures =
        "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt\r\n2004-01-09\t1\t2\t3\t4\t5\t678\r\n";
    const Case cases[] = {
        {prices, priceHeader + rows, "0.00\n", L"10 20 ", L"1 20 "},
        {dividends, paid, ".48\n", L"0.48 0.37 ", L"0 0.37 "},
        {google, googleTable, "654321\n", L"7654321 ", L"7 "},
        {pifin, futures, "78\r\n", L"678 ", L"6 "},
        {quote, Quote(21, "A,12.5,1/9/2004"), ".5,", L"12.5 ", L"12 "},
        {account, Quote(26, "A,12.5"), ".5,", L"12.5 ", L""},
        {chain, cboeTable, ",4,5,6", L"70 72.5 ", L"70 "},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.service.name);
        std::string reply = HttpReply(expected.body);
        if (&expected.service == &chain)
            reply.replace(reply.find("text/plain"), 10, "application/x-unknown");
        const std::string cut = reply.substr(0, reply.rfind(expected.lost));
        EXPECT_EQ(Download(expected.service, cut, false), expected.cut + std::wstring(L"Done 0"));
        EXPECT_EQ(Download(expected.service, reply, true),
                  expected.whole + std::wstring(L"Done 0"));
        EXPECT_EQ(TakeLog(), "");
        EXPECT_EQ(Download(expected.service, cut, true), failureDone);
        EXPECT_FALSE(m_hasData);
        EXPECT_NE(TakeLog().find(" bytes\r\n"), std::string::npos);
    }
}

TEST_F(FaultTest, RepliesThatDoNotCount) {
    constexpr int failure = -2146697208, noData = -2146697209;
    const std::string chunks = chunkedHead + "35\r\n" + googleTable;
    const std::string noQuote = "A,0.00,N/A" + std::string(17, ',') + "A,N/A\r\n";
    struct Case {
        const Service& service;
        std::string reply;
        int number;
        const char* reason;
    };
    const Case cases[] = {
        {google, "", failure, "no status line"},
        {google, HttpReply(googleTable, "500 x"), failure, "status 500"},
        {google, HttpReply("<p>not found", "404 x"), 504, "Not Found (0x000001F8)"},
        {google, HttpReply("\r\n<!-- x -->\n<html>"), failure, "a page instead of a table"},
        {google, chunks, failure, "chunks"},
        {google, HttpReply("Date,Open,\n"), noData, "no rows"},
        {prices, HttpReply(priceHeader), noData, "no rows"},
        {prices, HttpReply("<!-- chart -->\n"), noData, "no rows"},
        {dividends, HttpReply("Date,Dividends\n"), noData, "no rows"},
        {pifin, HttpReply("<html>"), failure, "a page"},
        {pifin, HttpReply("no such future"), noData, "no rows"},
        {quote, HttpReply("busy", "503 x"), failure, "status 503"},
        {quote, HttpReply("A,12.5,1/9/2004"), failure, "3 values"},
        {quote, HttpReply(noQuote), noData, "no rows"},
        {quote, HttpReply(Quote(21, "A,1,1/1/1970")), 5, "1970"},
        {account, HttpReply("refused", "401 x"), failure, "status 401"},
        {account, HttpReply("no such account"), noData, "no rows"},
        {chain, HttpReply("<html>"), -1, "invalid data format"},
        {chain, chainHead + "\r\n<html>", failure, "a page"},
        {none, "", noData, "no rows"},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.reply);
        EXPECT_EQ(Download(expected.service, expected.reply, true),
                  L"Done " + std::to_wstring(expected.number));
        EXPECT_FALSE(m_hasData);
        const std::string log = TakeLog();
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        EXPECT_NE(log.find(expected.reason), std::string::npos) << log;
        EXPECT_NE(log.find(" A, "), std::string::npos) << log;
        EXPECT_EQ(log.find("secret"), std::string::npos) << log;
    }
    Download(google, "", true,
             L"A\r\n\x85\x2028"
             L"B");
    EXPECT_NE(TakeLog().find("library_tests.exe"), std::string::npos);
}

// The environment stands above the settings, and an earlier download's data are gone at once.
TEST_F(FaultTest, OverrideAndEarlierData) {
    const std::string whole = HttpReply(googleTable), cut = whole.substr(0, whole.size() - 7);
    for (const auto& [value, result] : {std::pair{"1", failureDone}, {"0", L"7 Done 0"}}) {
        SetEnvironmentVariableA("VTDL_STRICT", value);
        EXPECT_EQ(Download(google, cut, *value == '0'), result);
        TakeLog();
    }
    SetEnvironmentVariableA("VTDL_STRICT", "1");
    m_reply = whole;
    Job job(google.source());
    job.Start();
    EXPECT_TRUE(BlockOf(job.session));
    job.sink.onEvent = [&](const std::wstring&, _CSession* current) {
        EXPECT_FALSE(BlockOf(current));
    };
    m_reply = HttpReply("", "500 x");
    job.Start();
    TakeLog();
}

}  // namespace
}  // namespace vtdl::tests
