// Services on bad days: replies that are spoilt, cut, or not what was asked for, the quote server's
// own among them. Every download ends in its time, says what is to be said, and the same session
// works again.

#include <functional>

#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

/// The quote server as a process of its own.
class QuoteServer {
public:
    explicit QuoteServer(const std::wstring& options) {
        wchar_t program[MAX_PATH];
        GetModuleFileNameW(nullptr, program, MAX_PATH);
        const std::wstring folder(program, std::wstring_view(program).rfind(L'\\'));
        std::wstring command = L"\"" + folder + L"\\quoteserver.exe\" --port 0 --data . " + options;
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        HANDLE output = nullptr;
        CreatePipe(&m_output, &output, &inherited, 0);
        startup.hStdOutput = output;
        if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                            &startup, &m_process))
            ADD_FAILURE() << "quoteserver does not start";
        CloseHandle(output);
        std::string line;
        DWORD read = 0;
        for (char c = 0; c != '\n' && ReadFile(m_output, &c, 1, &read, nullptr) && read == 1;)
            line += c;
        m_host = "127.0.0.1" + line.substr(line.rfind(':'));
        m_host.erase(m_host.find_last_not_of("\r\n") + 1);
    }
    ~QuoteServer() {
        TerminateProcess(m_process.hProcess, 0);
        for (const HANDLE handle : {m_process.hProcess, m_process.hThread, m_output})
            CloseHandle(handle);
    }

    const std::string& Host() const { return m_host; }

private:
    PROCESS_INFORMATION m_process{};
    HANDLE m_output = nullptr;
    std::string m_host;
};

/// Calls a function once, from a timer.
class After {
public:
    After(UINT milliseconds, std::function<void()> call) {
        s_call = std::move(call);
        m_timer = SetTimer(nullptr, 0, milliseconds, Fire);
    }
    ~After() { KillTimer(nullptr, m_timer); }

private:
    static void CALLBACK Fire(HWND, UINT, UINT_PTR, DWORD) {
        if (const auto call = std::exchange(s_call, nullptr)) call();
    }
    static inline std::function<void()> s_call;
    UINT_PTR m_timer;
};

class FaultTest : public LibraryTest {
protected:
    static Ptr<_CDataSource> Source(const std::string& host, const char* timeout = "1",
                                    bool isStrict = false) {
        WriteSettings({{"hosts", "google.finance", host},
                       {"http", "timeout", timeout},
                       {"http", "strict", isStrict ? "1" : "0"}});
        WriteAll("A.csv",
                 "Date,Open,High,Low,Close,Volume,Adj Close\n2004-01-09,1.5,2.5,3.5,4.5,5,6.5\n"
                 "2004-01-08,1.5,2.5,3.5,4.5,5,6.5\n2004-01-07,1.5,2.5,3.5,4.5,5,6.5\n");
        return New<::CDataSourceGoogleHitorical, _CDataSource>();
    }
    static void Prepare(Job& job) {
        job.Set(L"TICKER", L"A");
        job.SetRange(Day(2004, 1, 1), Day(2004, 1, 31));
    }
    /// What has been logged; taken.
    static std::string TakeLog() {
        const std::string log = ReadAll("Error Log.txt");
        DeleteFileA("Error Log.txt");
        return log;
    }
    static ULONGLONG Duration(const std::function<void()>& what) {
        const ULONGLONG start = GetTickCount64();
        what();
        return GetTickCount64() - start;
    }
};

struct FaultCase {
    const wchar_t* fault;
    const wchar_t* done;    ///< the last event
    const wchar_t* report;  ///< in the error log; null: none
    std::size_t rows;
};

// A body that breaks off counts as received, on purpose; its broken row is what is reported then.
// Strictly it has failed.
TEST_F(FaultTest, EveryFaultEndsAndTheSessionWorksAgain) {
    const wchar_t* const failed = L"Done -2146697208";
    for (const FaultCase& expected : {FaultCase{L"silent", failed, nullptr, 0},
                                      {L"stall", L"Done 0", L"row 1, VOLUME", 0},
                                      {L"close", L"Done 0", L"row 1, VOLUME", 0},
                                      {L"reset", L"Done 0", L"row 1, VOLUME", 0},
                                      {L"length", L"Done 0", nullptr, 3},
                                      {L"html", L"Done 0", nullptr, 0},
                                      {L"chunks", L"Done 0", L"row", 0}})
        for (const bool isStrict : {false, true}) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(expected.fault)));
            const QuoteServer server(L"--fault-count 1 --fault " + std::wstring(expected.fault));
            const auto source = Source(server.Host(), "1", isStrict);
            Job job(source);
            Prepare(job);
            EXPECT_LT(Duration([&] { job.Start(); }), 4000u);
            EXPECT_EQ(job.LastEvent(), isStrict ? failed : expected.done);
            const std::wstring errors = TakeErrors();
            const wchar_t* report = isStrict ? nullptr : expected.report;
            EXPECT_EQ(errors.empty(), report == nullptr) << testing::PrintToString(errors);
            EXPECT_NE(errors.find(report ? report : L""), std::wstring::npos)
                << testing::PrintToString(errors);
            EXPECT_EQ(BlockOf(job.session) ? Column(job.session, L"OPEN").size() : 0,
                      isStrict ? 0 : expected.rows);

            job.Start();
            EXPECT_EQ(Column(job.session, L"OPEN"), (Numbers{1.5, 1.5, 1.5}));
        }
}

/// The values of a column as one text.
std::wstring TextOfColumn(_CSession* session, const wchar_t* name, const wchar_t* block) {
    const _variant_t column = ColumnOf(session, name, block);
    if (!(column.vt & VT_ARRAY)) return column.vt == VT_EMPTY ? L"" : TextOf(column);
    std::wstring text;
    for (const double number : NumbersOf(column, column.vt & VT_TYPEMASK))
        text += (text.empty() ? L"" : L" ") + TextOf(_variant_t(number));
    return text;
}

constexpr char cboeTable[] =
    "XYZ (XYZ INC),12.50,-0.25,\r\nNov 04 2016 @ 14:35 ET,Bid,12.49,\r\nCalls,Last Sale,\r\n"
    "16 Nov 70.00 (XYZ1604K70),41.65,+1.5,39.70,39.85,3,7,,,,,,,,\r\n"
    "16 Dec 72.5 (XYZ1616L72.5),1,2,3,4,5,6,,,,,,,,\r\n";

std::string Quote(std::size_t values, std::string line) {
    for (auto k = static_cast<std::size_t>(std::count(line.begin(), line.end(), ',')) + 1;
         k < values; ++k)
        line.append(",").append(std::to_string(k));
    return line + "\r\n";
}

/// What is served to which source, and the column that shows it.
struct Service {
    Ptr<_CDataSource> (*source)();
    const char* service;
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

class StrictTest : public FaultTest {
protected:
    StrictTest() { SetEnvironmentVariableA("VTDL_STRICT", nullptr); }
    ~StrictTest() override { SetEnvironmentVariableA("VTDL_STRICT", nullptr); }

    /// Downloads from a service; what came, and the number of the end.
    std::wstring Download(const Service& service, std::string reply, bool isStrict,
                          const wchar_t* ticker = L"A") {
        LoopbackServer server([&](const std::string&) { return reply; });
        WriteSettings({{"hosts", service.service, server.Host()},
                       {"hosts", "vestora", server.Host()},
                       {"http", "strict", isStrict ? "1" : "0"},
                       {"pcquote/parameters", "user", "secret1"},
                       {"pcquote/parameters", "password", "secret2"}});
        Job job(service.source());
        job.Set(L"TICKER", ticker);
        job.Start();
        m_hasData = BlockOf(job.session, service.block) != nullptr;
        return (m_hasData ? TextOfColumn(job.session, service.column, service.block) : L"") +
               L"; " + job.LastEvent();
    }
    bool m_hasData = false;
};

// The documentation's table of what a short body gives.
TEST_F(StrictTest, ShortBodies) {
    struct Case {
        const Service& service;
        std::string body;
        const char* lost;  ///< from here on
        const wchar_t* whole;
        const wchar_t* cut;
    };
    const Case cases[] = {
        {prices,
         std::string(priceHeader) +
             "2004-01-09,20,20,20,20,100,20.00\n2004-01-08,10,10,10,10,1000,10.00\n",
         "0.00\n", L"10 20", L"1 20"},
        {dividends, "Date,Dividends\n2004-03-19,0.37\n2003-12-19,0.48\n", ".48\n", L"0.48 0.37",
         L"0 0.37"},
        {google, "Date,Open,High,Low,Close,Volume\n9-Jan-04,1,2,3,4,7654321\n", "654321\n",
         L"7654321", L"7"},
        {pifin,
         "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt\r\n2004-01-09\t1\t2\t3\t4\t5\t678\r\n",
         "78\r\n", L"678", L"6"},
        {quote, Quote(21, "A,12.5,1/9/2004"), ".5,", L"12.5", L"12"},
        {account, Quote(26, "A,12.5"), ".5,", L"12.5", L""},
        {chain, cboeTable, ",4,5,6", L"70 72.5", L"70"},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.service.service);
        std::string reply = HttpReply(expected.body);
        if (&expected.service == &chain)
            reply.replace(reply.find("text/plain"), 10, "application/x-unknown");
        const std::string cut = reply.substr(0, reply.rfind(expected.lost));
        EXPECT_EQ(Download(expected.service, cut, false), std::wstring(expected.cut) + L"; Done 0");
        EXPECT_EQ(TakeLog(), "");
        EXPECT_EQ(Download(expected.service, reply, true),
                  std::wstring(expected.whole) + L"; Done 0");
        EXPECT_EQ(TakeLog(), "");
        EXPECT_EQ(Download(expected.service, cut, true), L"; Done -2146697208");
        EXPECT_FALSE(m_hasData);
        const std::string log = TakeLog();
        EXPECT_NE(log.find(" bytes\r\n"), std::string::npos) << log;
    }
}

TEST_F(StrictTest, RepliesThatDoNotCount) {
    constexpr int failure = -2146697208, noData = -2146697209;
    const std::string table = "Date,Open,High,Low,Close,Volume\n9-Jan-04,1,2,3,4,5\n";
    const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    const std::string tables =
        std::string("HTTP/1.0 200 OK\r\nContent-Type: application/x-unknown\r\n\r\n");
    struct Case {
        const Service& service;
        std::string reply;
        int number;
        const char* reason;
    };
    const Case cases[] = {
        {google, "", failure, "no status line"},
        {google, HttpReply(table, "500 x"), failure, "status 500"},
        {google, HttpReply("<p>not found", "404 x"), 504, "Not Found (504)"},
        {google, HttpReply("\r\n<!-- x -->\n<html>"), failure, "a page instead of a table"},
        {google, chunked + "35\r\n" + table + "\r\n", failure, "chunks"},
        {google, HttpReply(""), noData, "no rows"},
        {google, HttpReply("Date,Open,\n"), noData, "no rows"},
        {prices, HttpReply(priceHeader), noData, "no rows"},
        {prices, HttpReply("<!-- chart -->\n"), noData, "no rows"},
        {dividends, HttpReply("Date,Dividends\n"), noData, "no rows"},
        {pifin, HttpReply("<html>"), failure, "a page"},
        {pifin, HttpReply("no such future"), noData, "no rows"},
        {quote, HttpReply("busy", "503 x"), failure, "status 503"},
        {quote, HttpReply("A,12.5,1/9/2004"), failure, "3 values"},
        {quote, HttpReply("A,0.00,N/A" + std::string(17, ',') + "A,N/A\r\n"), noData, "no rows"},
        {quote, HttpReply(Quote(21, "A,1,1/1/1970")), 5, "1970"},
        {account, HttpReply("refused", "401 x"), failure, "status 401"},
        {account, HttpReply("no such account"), noData, "no rows"},
        {chain, HttpReply("busy", "503 x"), failure, "status 503"},
        {chain, HttpReply("<html>"), -1, "invalid data format"},
        {chain, tables + "<html>", failure, "a page"},
        {{Make<::CDataSourceIVolatility>, "ivolatility", L"HISTORICAL", L""},
         "",
         noData,
         "no rows"},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.reply);
        const std::wstring last = Download(expected.service, expected.reply, true);
        EXPECT_EQ(last, L"; Done " + std::to_wstring(expected.number));
        EXPECT_FALSE(m_hasData);
        const std::string log = TakeLog();
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        EXPECT_NE(log.find(expected.reason), std::string::npos) << log;
        EXPECT_NE(log.find(" A, "), std::string::npos) << log;
        EXPECT_EQ(log.find("secret"), std::string::npos) << log;
    }
}

// The environment stands above the settings, and an earlier download's data are gone at once.
TEST_F(StrictTest, OverrideAndEarlierData) {
    const std::string cut = HttpReply("Date,Open,High,Low,Close,Volume\n9-Jan-04,1,2,3,4,55\n");
    std::string reply = cut;
    for (const auto& [value, isStrict] : {std::pair{"1", false}, {"0", true}}) {
        SetEnvironmentVariableA("VTDL_STRICT", value);
        EXPECT_EQ(Download(google, cut.substr(0, cut.size() - 2), isStrict),
                  isStrict ? L"5; Done 0" : L"; Done -2146697208");
        TakeLog();
    }
    SetEnvironmentVariableA("VTDL_STRICT", "1");
    LoopbackServer server([&](const std::string&) { return reply; });
    Job job(Source(server.Host()));
    job.Start();
    EXPECT_TRUE(BlockOf(job.session));
    job.sink.onEvent = [&](const std::wstring&, _CSession* session) {
        EXPECT_FALSE(BlockOf(session));
    };
    reply = HttpReply("", "500 x");
    job.Start();
    EXPECT_NE(TakeLog().find("library_tests.exe"), std::string::npos);
    Download(google, reply, true,
             L"A\r\n\x85\x2028"
             L"B");
    EXPECT_NE(TakeLog().find("GOOGLEHIST A    B, "), std::string::npos);
}

// A server that sends a byte a second never reaches a limit; a person's patience does.
TEST_F(FaultTest, AbortEndsADrippingDownload) {
    const QuoteServer server(L"--fault drip --fault-count 1");
    const auto source = Source(server.Host(), "5");
    Job job(source);
    Prepare(job);
    const After abort(300, [&] { EXPECT_EQ(job.session->Abort(), S_OK); });
    EXPECT_LT(Duration([&] { job.Start(); }), 2500u);
    EXPECT_EQ(job.LastEvent(), L"Done -2146697208");
    job.Start();
    EXPECT_EQ(Column(job.session, L"OPEN").size(), 3u);
}

TEST_F(FaultTest, AbortFromATimerTakesEffectAtOnce) {
    // Slowly, for Wine 8 reads what is there of a reply that is given up.
    LoopbackServer large(std::string(4'000'000, 'x'));
    large.PaceReplies(4096);
    const auto source = Source(large.Host());
    Job job(source);
    ULONGLONG aborted = 0;
    const After abort(200, [&] {
        EXPECT_EQ(job.session->Abort(), S_OK);
        aborted = GetTickCount64();
    });
    job.Start();
    ASSERT_GT(aborted, 0u) << "the download was over before";
    EXPECT_LT(GetTickCount64() - aborted, 250u);
    EXPECT_EQ(job.LastEvent(), L"Done -2146697208");
}

}  // namespace
}  // namespace vtdl::tests
