// A service on bad days: every download ends in its time, and the same session works again. Limits,
// forms, periodic downloads. What whole replies give, strictly or not, is in
// tests/data/downloads.txt.

#include "sources/CboeForm.h"
#include "support/Downloads.h"
#include "support/HostLoop.h"

namespace vtdl::tests {
namespace {

const std::string table = "Date,Open,High,Low,Close,Volume\n9-Jan-04,1,2,3,4,7654321\n";
const std::string whole = HttpReply(table), cut = whole.substr(0, whole.size() - 7);

class FaultTest : public LibraryTest {
protected:
    ~FaultTest() override { SetEnvironmentVariableA("VTDL_STRICT", nullptr); }

    Ptr<_CDataSource> Source(bool isStrict = false) {
        WriteSettings({{"hosts", "google.finance", m_server.Host()},
                       {"http", "timeout", "1"},
                       {"http", "strict", isStrict ? "1" : "0"}});
        return New<::CDataSourceGoogleHitorical, _CDataSource>();
    }
    /// The column's only number, and the last event.
    static std::wstring Result(const Job& job) {
        const _variant_t column = ColumnOf(job.session, L"VOLUME");
        if (column.vt == VT_EMPTY) return job.LastEvent();
        return std::to_wstring(*static_cast<long*>(column.parray->pvData)) + L" " + job.LastEvent();
    }

    std::string m_reply = whole;
    LoopbackServer m_server{[this](const std::string&) { return m_reply; }};
};

// A body that breaks off counts as received, on purpose. Strictly it has failed.
TEST_F(FaultTest, EveryFaultEndsAndTheSessionWorksAgain) {
    const std::tuple<std::string, Manners, std::wstring> cases[] = {
        {"", {0, true}, failureDone},
        {cut, {0, true}, L"7 Done 0"},
        {cut, {}, L"7 Done 0"},
        {cut, {0, false, true}, L"7 Done 0"},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n" + table, {}, L"Done 0"}};
    for (const auto& [reply, manners, result] : cases)
        for (const bool isStrict : {false, true}) {
            SCOPED_TRACE(reply);
            Job job(Source(isStrict));
            m_reply = reply;
            m_server.Behave(manners);
            const ULONGLONG start = GetTickCount64();
            job.Start();
            EXPECT_LT(GetTickCount64() - start, 8000u);
            EXPECT_EQ(Result(job), isStrict ? failureDone : result);
            TakeLog();
            m_reply = whole;
            m_server.Behave({});
            job.Start();
            EXPECT_TRUE(Result(job).starts_with(L"7654321 "));
        }
}

// The environment stands above the settings, and an earlier download's data are gone at once.
TEST_F(FaultTest, OverrideAndEarlierData) {
    for (const auto& [value, result] : {std::pair{"0", L"7 Done 0"}, {"1", failureDone}}) {
        SetEnvironmentVariableA("VTDL_STRICT", value);
        Job job(Source(*value == '0'));
        job.Start();
        EXPECT_TRUE(BlockOf(job.session));
        m_reply = cut;
        if (*value == '1')
            job.sink.onEvent = [](auto&, _CSession* current) { EXPECT_FALSE(BlockOf(current)); };
        job.Start();
        EXPECT_EQ(Result(job), result);
        m_reply = whole;
        TakeLog();
    }
    Job job(Source());
    job.Set(L"TICKER", L"A\r\n\x85\x2028 B");  // is refused, though it would be sent encoded
    job.Start();
    EXPECT_EQ(Result(job), failureDone);
    EXPECT_NE(TakeLog().find("GOOGLEHIST A     B, "), std::string::npos);
}

class SourcesTest : public LibraryTest {};

TEST_F(SourcesTest, LimitsFromTheSettings) {
    LoopbackServer large("Date,Open,High,Low,Close,Volume\n" + std::string(2 << 20, '\n'));
    for (const auto& [key, value, variable] :
         {std::tuple{"maxbody", "1", L""}, {"total", "1", L""}, {"total", "60", L"1"}}) {
        WriteSettings({{"hosts", "google.finance", large.Host()}, {"http", key, value}});
        if (*key == 't') large.Behave({1000});
        SetEnvironmentVariableW(L"VTDL_TIMEOUT", variable);
        Job job(New<::CDataSourceGoogleHitorical, _CDataSource>());
        job.Start();
        EXPECT_EQ(job.LastEvent(), failureDone) << key;
    }
    SetEnvironmentVariableW(L"VTDL_TIMEOUT", nullptr);
}

// Requests of one thread can only end in the reverse order of their starts, so ticks wait for each
// other, and none of the sessions is left behind.
TEST_F(SourcesTest, PeriodicDownloadsTakeTurns) {
    LoopbackServer slow([](const std::string&) {
        Sleep(30);
        return HttpReply("");
    });
    WriteSettings({{"hosts", "pcquote", slow.Host()}});
    std::vector<std::unique_ptr<Job>> jobs;
    for (int i = 0; i < 10; ++i) {
        jobs.push_back(std::make_unique<Job>(New<::CDataSourcePCQuote, _CDataSource>()));
        jobs.back()->Set(L"PERIOD", 15L);
        jobs.back()->Start();
    }
    const auto readings = [&] {
        std::vector<int> counts;
        for (const auto& job : jobs) counts.push_back(static_cast<int>(job->Count(L"DataReady")));
        return counts;
    };
    RunLoop(2 * enough, [&] { return std::ranges::max(readings()) > 3; });
    EXPECT_GE(std::ranges::min(readings()), 3);
    jobs.erase(jobs.begin() + 4);  // whoever waits behind it goes on
    const int before = readings().front();
    EXPECT_TRUE(RunLoop(enough, [&] { return std::ranges::min(readings()) > before; }));
    for (const auto& job : jobs) job->session->Done();
}

TEST_F(SourcesTest, CboeForm) {
    const std::string state = cboe::BuiltInState(false);
    LoopbackServer server("<html></html>");
    for (const bool isOwn : {true, false}) {
        // The settings may bring the form's state of the day.
        WriteSettings({{"hosts", "cboe", server.Host()},
                       {"cboe/form", isOwn ? "unused" : "download", "STATE"}});
        Job job(New<::CDataSourceCBOE, _CDataSource>());
        job.Set(L"TICKER", L"XYZ");
        job.Start();
        const std::string request = server.TakeRequests().at(0);
        EXPECT_TRUE(request.ends_with(cboe::BuildFormBody(false, "XYZ", isOwn ? state : "STATE")));
        for (const char* part :
             {"POST /DelayedQuote/QuoteTableDownload.aspx HTTP/1.0\r\n",
              "User-Agent: Mozilla/4.0\r\n", "Referer: /DelayedQuote/QuoteTableDownload.aspx\r\n",
              "QuoteTableDownloadCtl1%24txtTicker=XYZ&ctl00%24ctl00%24AllContent%24ContentMain"
              "%24QuoteTableDownloadCtl1%24cmdSubmit=DownloadGET /DelayedQuote/QuoteData.dat "
              "HTTP/1.1"})
            EXPECT_NE(request.find(part), std::string::npos) << part;
        EXPECT_EQ(ErrorOf(job.session), L"5 -1 Invalid data format");
    }
    EXPECT_EQ(state.size(), 8543u);
}

}  // namespace
}  // namespace vtdl::tests
