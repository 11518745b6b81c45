// The adapters of the finance, quote and option services against a server, beside what
// DownloadsTest.cpp asks of them: limits, credentials, forms, periodic downloads.

#include "sources/CboeForm.h"
#include "support/Downloads.h"
#include "support/HostLoop.h"

namespace vtdl::tests {
namespace {

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

// ann:secret
TEST_F(SourcesTest, CredentialsOfTheAccount) {
    LoopbackServer service([&](const std::string& request) {
        return request.find("Basic YW5uOnNlY3JldA==") != request.npos
                   ? HttpReply("IBM,12.5" + std::string(24, ',') + "\r\n")
                   : HttpReply("refused", "401 x\r\nWWW-Authenticate: Basic realm=\"q\"");
    });
    for (const auto& [password, ticker] : {std::pair{"secret", L"IBM"}, {"wrong", L"\u0416BM"}}) {
        WriteSettings({{"hosts", "pcquote", service.Host()},
                       {"pcquote/parameters", "user", "ann"},
                       {"pcquote/parameters", "password", password}});
        Job job(New<::CDataSourcePCQuote, _CDataSource>());
        job.Set(L"TICKER", L"\u0416BM");
        job.Start();
        EXPECT_EQ(TextOf(ColumnOf(job.session, L"TICKER", L"TICKER")), ticker);
        EXPECT_EQ(job.LastEvent(), L"Done 0");
    }
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
