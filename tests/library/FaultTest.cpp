// A service on bad days. Every download ends in its time, and the same session works again; what
// whole replies give, strictly or not, is in tests/data/downloads.txt.

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

// A server that sends a byte now and then never reaches a limit; a person's patience does.
TEST_F(FaultTest, AbortEndsADrippingDownload) {
    m_reply = HttpReply(std::string(100'000, 'x'));
    m_server.Behave({1});
    Job job(Source());
    const Later patience(200, [&] { job.session->Abort(); });
    const ULONGLONG start = GetTickCount64();
    job.Start();
    EXPECT_LT(GetTickCount64() - start, 20'000u) << "all of it would take minutes";
    EXPECT_EQ(Result(job), failureDone);
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

}  // namespace
}  // namespace vtdl::tests
