// The error dialog, answered by a second program as a person would, in real framed methods.

#include "automation/TypeInformation.h"
#include "session/CSession.h"
#include "errors/CErrorHandler.h"
#include "support/HostObjects.h"
#include "support/LibraryTest.h"
#include "support/LoopbackServer.h"
#include "errors/frmErrorMessage.h"

namespace vtdl::tests {
namespace {

constexpr char shown[] = "shown.txt";

// The person; gone, with success, at the end of the test.
class Person {
public:
    explicit Person(const std::wstring& answers) {
        const std::wstring self = automation::ModulePath();
        std::wstring command = L"\"" + self.substr(0, self.rfind(L'\\')) +
                               L"\\press_button.exe\" " + L"shown.txt " + answers;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                            &startup, &m_process))
            ADD_FAILURE() << "press_button does not start";
    }
    ~Person() {
        DWORD status = 99;
        WaitForSingleObject(m_process.hProcess, 20'000);
        GetExitCodeProcess(m_process.hProcess, &status);
        EXPECT_EQ(status, 0u) << "a window or a button was missing";
        CloseHandle(m_process.hThread);
        CloseHandle(m_process.hProcess);
    }

private:
    PROCESS_INFORMATION m_process{};
};

class DialogTest : public LibraryTest {
protected:
    DialogTest() { gErrorHandler().ErrorHandlerActions(CErrorHandler::dialog); }

    // A session whose data source fails as often as asked.
    Ptr<_CSession> SessionOf(TestSource& source) {
        auto session = New<::CSession, _CSession>();
        session->putref_DataSource(&source);
        return session;
    }
};

TEST_F(DialogTest, RetryFetchesAgain) {
    TestSource source;
    source.download = [&](_CSession*) { return source.downloads < 3 ? E_FAIL : S_OK; };
    const auto session = SessionOf(source);
    const Person person(L"Retry Retry");
    EXPECT_EQ(session->Start(), S_OK);
    EXPECT_EQ(source.downloads, 3);
}

TEST_F(DialogTest, EveryWayOfClosingIsAbort) {
    for (const wchar_t* answer : {L"Abort", L"Esc", L"Close"}) {
        TestSource source;
        source.download = [](_CSession*) { return E_FAIL; };
        const auto session = SessionOf(source);
        const Person person(answer);
        EXPECT_EQ(session->Start(), S_OK);
        EXPECT_EQ(source.downloads, 1) << answer;
    }
}

TEST_F(DialogTest, ShowsTheReportAndTheVersion) {
    gErrorHandler().SupportMail(L"");
    TestSource source;
    source.download = [](_CSession*) { return E_FAIL; };
    const auto session = SessionOf(source);
    {
        const Person person(L"Abort");
        session->Start();
    }
    const std::string text = ReadAll(shown);
    for (const char* part :
         {"An error occurred in Vestora Download Library\n", "\tError: -2147467259, (",
          "\tin vtdl.CSession.NextTick at line ", "The call stack is:\r\n",
          "                    vtdl.CSession.Start()\r\nVersion: 4.1.0\n", "disabled &Send"})
        EXPECT_NE(text.find(part), std::string::npos) << part << "\nin\n" << text;
}

// The odd field stays empty, the rest of the download is kept.
TEST_F(DialogTest, IgnoreKeepsTheOtherRows) {
    const LoopbackServer server(
        "Date,Open,High,Low,Close,Volume,Adj Close\n"
        "2008-10-14,4,4,4,oops,4,4\n2008-10-13,3,3,3,3,3,3\n2008-10-10,2,2,2,2,2,2\n");
    WriteSettings({{"hosts", "yahoo.chart", server.Host()}});
    const auto source = New<::CDataSourceYahooHitorical, _CDataSource>();
    Ptr<_CSession> session;
    source->CreateSession(&session);
    const auto parameters = GetObject(session, L"Parameters");
    Put(GetObject(parameters, L"Item", {L"ADJUST VALUES"}), L"Value", L"False");
    const auto close = [&](std::wstring answers) {
        {
            const Person person(answers);
            session->Start();
        }
        return GetObject(
            GetObject(GetObject(GetObject(session, L"Data"), L"Values"), L"Item", {L"HISTORICAL"}),
            L"Value");
    };
    const auto field = GetObject(close(L"Ignore"), L"Item", {L"CLOSE"});
    EXPECT_EQ(static_cast<double>(Get(field, L"Data", {0L})), 2);
    EXPECT_EQ(static_cast<double>(Get(field, L"Data", {1L})), 3);
    EXPECT_EQ(static_cast<double>(Get(field, L"Data", {2L})), 0);
    EXPECT_NE(ReadAll(shown).find("Type mismatch: row 1, CLOSE \"oops\""), std::string::npos);

    session->putref_Data(nullptr);
    {
        const Person person(L"Abort");
        session->Start();
    }
    _CData* data = nullptr;
    session->get_Data(&data);
    EXPECT_FALSE(data) << "an abandoned download delivers nothing";
}

// While the dialog is open, timers run; their errors go to the log and open no window.
TEST_F(DialogTest, ASecondErrorOpensNoSecondDialog) {
    TestSource first, second;
    first.download = second.download = [](_CSession*) { return E_FAIL; };
    const auto session = SessionOf(first), periodic = SessionOf(second);
    Put(GetObject(GetObject(periodic, L"Parameters"), L"Item", {L"PERIOD"}), L"Value", 50L);
    periodic->Start();
    {
        const Person person(L"Wait Abort");
        session->Start();
    }
    EXPECT_GT(second.downloads, 2);
    EXPECT_NE(ReadAll(shown).find("1 open\n"), std::string::npos);
    EXPECT_NE(TakeErrors().find(L"vtdl.CSession.NextTick"), std::wstring::npos);
    periodic->Done();
}

void CALLBACK ComeAndGo(HWND, UINT, UINT_PTR timer, DWORD) noexcept {
    KillTimer(nullptr, timer);
    gErrorHandler().CallStackPush(L"inner", L"");
    gErrorHandler().CallStackPop();
}

// A trace that cannot be written asks while a routine is being entered.
TEST_F(DialogTest, RoutinesThatComeAndGoMeanwhileLeaveTheCallStack) {
    gErrorHandler().TracingLogFile(L"no such folder\\dialog.txt");
    gErrorHandler().TracingEnabled(true);
    SetTimer(nullptr, 0, 1, ComeAndGo);
    {
        const Person person(L"Wait Abort");
        gErrorHandler().CallStackPush(L"outer", L"");
    }
    gErrorHandler().ErrorHandlerActions(CErrorHandler::errorLog);
    gErrorHandler().SetPendingError(
        automation::MakeRuntimeError(automation::RuntimeError::overflow), 1);
    gErrorHandler().HandleError({});
    gErrorHandler().CallStackPop();
    EXPECT_EQ(TakeErrors(), L"6, (Overflow) in outer\n");
}

TEST(SupportAddressTest, EscapesWhatTheMailProgramNeedsAndNoMore) {
    EXPECT_EQ(
        SupportAddress(L"help@example.org", L"An error occurred", L"1/2 - 3:4\r\n\ta=b&c? 5%"),
        L"mailto:help@example.org?subject=An%20error%20occurred&body=%0A%0A"
        L"--------------------%0A1%2F2 - 3%3A4%0A%09a%3Db%26c%3F 5%%0A--------------------");
}

}  // namespace
}  // namespace vtdl::tests
