// Services on bad days: the quote server's own program spoils its replies. Every download ends in
// its time, says what is to be said, and the same session works again.

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
    static Ptr<_CDataSource> Source(const std::string& host, const char* timeout = "1") {
        WriteSettings({{"hosts", "google.finance", host}, {"http", "timeout", timeout}});
        WriteAll("A.csv",
                 "Date,Open,High,Low,Close,Volume,Adj Close\n2004-01-09,1.5,2.5,3.5,4.5,5,6.5\n"
                 "2004-01-08,1.5,2.5,3.5,4.5,5,6.5\n2004-01-07,1.5,2.5,3.5,4.5,5,6.5\n");
        return New<::CDataSourceGoogleHitorical, _CDataSource>();
    }
    static void Prepare(Job& job) {
        job.Set(L"TICKER", L"A");
        job.SetRange(Day(2004, 1, 1), Day(2004, 1, 31));
    }
    static ULONGLONG Duration(const std::function<void()>& what) {
        const ULONGLONG start = GetTickCount64();
        what();
        return GetTickCount64() - start;
    }
};

struct Case {
    const wchar_t* fault;
    const wchar_t* done;    ///< the last event
    const wchar_t* report;  ///< in the error log; null: none
    std::size_t rows;
};

// A body that breaks off counts as received, on purpose; its broken row is what is reported then.
TEST_F(FaultTest, EveryFaultEndsAndTheSessionWorksAgain) {
    const wchar_t* const failed = L"Done -2146697208";
    for (const Case& expected : {Case{L"silent", failed, nullptr, 0},
                                 {L"stall", L"Done 0", L"row 1, VOLUME", 0},
                                 {L"close", L"Done 0", L"row 1, VOLUME", 0},
                                 {L"reset", L"Done 0", L"row 1, VOLUME", 0},
                                 {L"length", L"Done 0", nullptr, 3},
                                 {L"html", L"Done 0", nullptr, 0},
                                 {L"chunks", L"Done 0", L"row", 0}}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(expected.fault)));
        const QuoteServer server(L"--fault-count 1 --fault " + std::wstring(expected.fault));
        const auto source = Source(server.Host());
        Job job(source);
        Prepare(job);
        EXPECT_LT(Duration([&] { job.Start(); }), 4000u);
        EXPECT_EQ(job.LastEvent(), expected.done);
        const std::wstring errors = TakeErrors();
        EXPECT_EQ(errors.empty(), expected.report == nullptr) << testing::PrintToString(errors);
        EXPECT_NE(errors.find(expected.report ? expected.report : L""), std::wstring::npos)
            << testing::PrintToString(errors);
        EXPECT_EQ(BlockOf(job.session) ? Column(job.session, L"OPEN").size() : 0, expected.rows);

        job.Start();
        EXPECT_EQ(Column(job.session, L"OPEN"), (Numbers{1.5, 1.5, 1.5}));
    }
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
