// The error handler: its rules and logs, the questions that it asks in real methods, answered as a
// person would, and where reports go when nobody answers.

#include <sstream>
#include <thread>

#include "errors/CErrorHandler.h"
#include "errors/Notices.h"
#include "errors/frmErrorMessage.h"
#include "settings/SharedSettings.h"
#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

/// A person at the keyboard: waits for the library's windows, one after another, and answers each
/// by a key: the letter that is underlined in a button's caption, VK_ESCAPE, or VK_F4 to close it.
class Person {
public:
    explicit Person(const std::string& keys)
        : m_thread([this, keys] {
              for (const char key : keys) Answer(static_cast<WORD>(key));
          }) {}
    ~Person() {
        if (m_thread.joinable()) m_thread.join();
    }

    /// What the windows showed: "disabled" before what is, and how many there were.
    std::wstring Leave() {
        m_thread.join();
        return m_shown;
    }

private:
    static std::vector<HWND> Windows() {
        std::vector<HWND> windows;
        for (HWND window = nullptr;;) {
            window = FindWindowExW(nullptr, window, nullptr, L"Vestora Download Library");
            if (!window) return windows;
            if (IsWindowVisible(window)) windows.push_back(window);
        }
    }

    void Answer(WORD key) {
        for (int attempt = 0; attempt < 1000 && Windows().empty(); ++attempt) Sleep(10);
        Sleep(100);  // a person looks first
        const std::vector<HWND> windows = Windows();
        ASSERT_FALSE(windows.empty()) << "nobody asks";
        m_shown += std::to_wstring(windows.size()) + L" open\n";
        for (HWND child = GetWindow(windows[0], GW_CHILD); child;
             child = GetWindow(child, GW_HWNDNEXT)) {
            wchar_t text[4000] = L"";
            SendMessageW(child, WM_GETTEXT, ARRAYSIZE(text), reinterpret_cast<LPARAM>(text));
            m_shown += (IsWindowEnabled(child) ? L"" : L"disabled ") + std::wstring(text) + L"\n";
        }
        const bool isAlone = key == VK_ESCAPE;
        for (int attempt = 0; attempt < 10 && IsWindow(windows[0]); ++attempt) {
            if (!isAlone) Press(VK_MENU, 0);
            Press(key, 0);
            Press(key, KEYEVENTF_KEYUP);
            if (!isAlone) Press(VK_MENU, KEYEVENTF_KEYUP);
            for (int i = 0; i < 100 && IsWindow(windows[0]); ++i) Sleep(10);
        }
    }

    static void Press(WORD key, DWORD flags) {
        INPUT input{};
        input.type = INPUT_KEYBOARD;
        input.ki.wVk = key;
        input.ki.dwFlags = flags;
        SendInput(1, &input, sizeof input);
    }

    std::wstring m_shown;
    std::thread m_thread;
};

class ErrorHandlerTest : public LibraryTest {
protected:
    /// A session whose source fails as often as asked.
    struct Failing {
        TestSource source;
        Ptr<_CSession> session = New<::CSession, _CSession>();
        explicit Failing(int times = 1'000'000) {
            source.download = [this, times](_CSession*) {
                return source.downloads <= times ? E_FAIL : S_OK;
            };
            session->putref_DataSource(&source);
        }
        HRESULT Start() { return session->Start(); }
    };

    template <class Action>
    static std::wstring ErrorOf(Action&& action) {
        return ErrorFrom(L"Vestora Download Library.CErrorHandler", action);
    }
};

TEST_F(ErrorHandlerTest, RefusesBadValues) {
    CErrorHandler handler;
    for (const int value : {0, 16}) {
        EXPECT_EQ(ErrorOf([&] { handler.ErrorHandlerActions(value); }),
                  L"800443FA Invalid error handler actions");
        EXPECT_EQ(ErrorOf([&] { handler.TracingFlags(value); }), L"800443FB Invalid tracing flags");
    }
    EXPECT_EQ(ErrorOf([&] { handler.ErrorLogFile(L""); }), L"800443F9 Invalid file name");
    EXPECT_EQ(ErrorOf([&] { handler.TracingLogFile(L""); }), L"800443F9 Invalid file name");
    EXPECT_EQ(ErrorOf([&] { handler.Init(3, L"e", true, true, 0, L""); }),
              L"800443FB Invalid tracing flags");
    EXPECT_EQ(handler.ErrorLogFile(), L"e") << "values before the refused one are stored";
    EXPECT_FALSE(handler.TracingEnabled());
}

TEST_F(ErrorHandlerTest, ReportsNumberTextRoutineLineAndStack) {
    CErrorHandler handler;
    handler.Init(2, L"log.txt", true, false, 2, L"trace.txt");
    handler.CallStackPush(L"vtdl.A.Outer", L"");
    handler.CallStackPush(L"vtdl.A.Inner", L"x, 1");
    handler.SetPendingError(automation::MakeRuntimeError(automation::RuntimeError::overflow), 12);
    EXPECT_EQ(handler.HandleError(L""), CErrorHandler::abort);
    const std::string report = ReadAll("log.txt");
    EXPECT_TRUE(
        report.ends_with("\r\n\tError: 6, (Overflow)\r\n\tin vtdl.A.Inner at line 12\r\n\r\n"
                         "The call stack is:\r\n                    vtdl.A.Inner(x, 1)\r\n"
                         "                    vtdl.A.Outer()\r\n"))
        << report;
    const auto routineOf = [&](const wchar_t* name) {
        DeleteFileA("log.txt");
        handler.HandleError(name);
        const std::string text = ReadAll("log.txt");
        const std::size_t at = text.find("\tin ") + 4;
        return text.substr(at, text.find(" at line") - at);
    };
    EXPECT_EQ(routineOf(L"given"), "given");
    handler.CallStackEnabled(false);
    EXPECT_EQ(routineOf(L""), "Unknown");
    handler.CallStackClear();
    handler.CallStackEnabled(true);
    EXPECT_EQ(routineOf(L""), "vtdl.A.Inner") << "clearing was off";
    handler.CallStackClear();
    EXPECT_EQ(routineOf(L""), "Unknown");
}

TEST_F(ErrorHandlerTest, LogsThatCannotBeWritten) {
    gErrorHandler().ErrorLogFile(L"NUL");  // cannot be locked
    EXPECT_EQ(ErrorOf([] { gErrorHandler().HandleError(L"x"); }), L"none");
    gErrorHandler().ErrorLogFile(L"Error Log.txt");
    // Where nobody can make a file, the log goes to the data folder, which is this test's.
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(L"Z:\\proc");
    EXPECT_EQ(ErrorOf([] { gErrorHandler().HandleError(L"x"); }), L"none");
    std::filesystem::current_path(here);
    EXPECT_NE(TakeErrors().find(L"in x"), std::wstring::npos);

    gErrorHandler().TracingLogFile(L"no such folder\\trace.txt");
    gErrorHandler().TracingEnabled(true);
    EXPECT_EQ(Get(GetObject(New(L"CManager"), L"DataSources"), L"Count"), _variant_t(15L));
    EXPECT_EQ(TakeErrors(),
              L"-2147024893, (The trace is off: CreateFile: Path not found.) in "
              L"vtdl.CManager.LoadSettings\n");
    gErrorHandler().TracingEnabled(true);  // as the next manager does
    gErrorHandler().TraceLine(L"");
    EXPECT_FALSE(gErrorHandler().TracingEnabled());
    EXPECT_EQ(TakeErrors(), L"");

    gErrorHandler().ErrorLogFile(L"no such folder\\log.txt");
    EXPECT_EQ(Failing().Start(), static_cast<HRESULT>(0x800443FC));
    EXPECT_EQ(TakeErrorInformation().description, L"CErrorHandler component failure");
}

void CALLBACK ComeAndGo(HWND, UINT, UINT_PTR timer, DWORD) noexcept {
    KillTimer(nullptr, timer);
    gErrorHandler().CallStackPush(L"inner", L"");
    gErrorHandler().CallStackPop();
}

// A trace that cannot be written asks while a routine is being entered.
TEST_F(ErrorHandlerTest, RoutinesThatComeAndGoMeanwhileLeaveTheCallStack) {
    gErrorHandler().ErrorHandlerActions(CErrorHandler::dialog);
    gErrorHandler().TracingLogFile(L"no such folder\\dialog.txt");
    gErrorHandler().TracingEnabled(true);
    SetTimer(nullptr, 0, 1, ComeAndGo);
    Person person("A");
    gErrorHandler().CallStackPush(L"outer", L"");
    person.Leave();
    gErrorHandler().ErrorHandlerActions(CErrorHandler::errorLog);
    gErrorHandler().SetPendingError(
        automation::MakeRuntimeError(automation::RuntimeError::overflow), 1);
    gErrorHandler().HandleError({});
    gErrorHandler().CallStackPop();
    EXPECT_EQ(TakeErrors(), L"6, (Overflow) in outer\n");
}

void WriteLines(wchar_t letter) {
    for (int i = 0; i < 300; ++i) AppendToLog(L"shared.txt", std::wstring(2000, letter));
}

// The other process.
TEST(LogWriter, DISABLED_Runs) { WriteLines(L'b'); }

TEST_F(ErrorHandlerTest, ProcessesThatShareALogDoNotTearItsLines) {
    const Process other(Process::Test(L"LogWriter.*"));
    for (int i = 0; i < 2000 && ReadAll("shared.txt").empty(); ++i) Sleep(1);
    WriteLines(L'a');
    EXPECT_EQ(WaitForSingleObject(other.Handle(), 20'000), WAIT_OBJECT_0);
    std::istringstream log(ReadAll("shared.txt"));
    int lines = 0;
    for (std::string line; std::getline(log, line); ++lines)
        ASSERT_EQ(line, std::string(2000, line[0]) + "\r");
    EXPECT_EQ(lines, 600);
}

TEST_F(ErrorHandlerTest, TheAnswerDecides) {
    using Handler = CErrorHandler;
    struct Case {
        decltype(Handler::dialog) action;
        const char* answers;
        int failures, downloads;
    };
    for (const Case& expected : {Case{Handler::dialog, "RR", 2, 3},
                                 {Handler::dialog, "I", 1, 1},
                                 {Handler::dialog, "A", 9, 1},
                                 {Handler::dialog, "\x1B", 9, 1},
                                 {Handler::dialog, "\x73", 9, 1},
                                 {Handler::messageBox, "RR", 2, 3},
                                 {Handler::messageBox, "I", 1, 1},
                                 {Handler::messageBox, "A", 9, 1}}) {
        SCOPED_TRACE(expected.answers);
        gErrorHandler().ErrorHandlerActions(expected.action);
        Failing failing(expected.failures);
        const Person person(expected.answers);
        EXPECT_EQ(failing.Start(), S_OK);
        EXPECT_EQ(failing.source.downloads, expected.downloads);
    }
}

// While the dialog is open, timers run; their errors go to the log and open no window.
TEST_F(ErrorHandlerTest, TheDialogShowsTheReportAndIsAlone) {
    gErrorHandler().ErrorHandlerActions(CErrorHandler::dialog);
    gErrorHandler().SupportMail(L"");
    Failing failing, periodic;
    SetParameter(periodic.session, L"PERIOD", 20L);
    periodic.Start();
    Person person("A");
    failing.Start();
    const std::wstring text = person.Leave();
    for (const wchar_t* part :
         {L"An error occurred in Vestora Download Library\n", L"\tError: -2147467259, (",
          L"\tin vtdl.CSession.NextTick at line ", L"The call stack is:\r\n",
          L"                    vtdl.CSession.Start()\r\nVersion: 4.1.0\n", L"disabled &Send",
          L"1 open"})
        EXPECT_NE(text.find(part), std::wstring::npos) << part << L"\nin\n" << text;
    EXPECT_GT(periodic.source.downloads, 1);
    EXPECT_NE(TakeErrors().find(L"vtdl.CSession.NextTick"), std::wstring::npos);
    periodic.session->Done();
    EXPECT_EQ(
        SupportAddress(L"help@example.org", L"An error occurred", L"1/2 - 3:4\r\n\ta=b&c? 5%"),
        L"mailto:help@example.org?subject=An%20error%20occurred&body=%0A%0A"
        L"--------------------%0A1%2F2 - 3%3A4%0A%09a%3Db%26c%3F 5%%0A--------------------");
}

// The odd field stays empty, the rest of the download is kept; an abandoned download delivers
// nothing.
TEST_F(ErrorHandlerTest, IgnoreKeepsTheOtherRows) {
    gErrorHandler().ErrorHandlerActions(CErrorHandler::dialog);
    const LoopbackServer server(
        "Date,Open,High,Low,Close,Volume,Adj Close\n"
        "2008-10-14,4,4,4,oops,4,4\n2008-10-13,3,3,3,3,3,3\n2008-10-10,2,2,2,2,2,2\n");
    WriteSettings({{"hosts", "yahoo.chart", server.Host()}});
    Job job(New<::CDataSourceYahooHitorical, _CDataSource>());
    job.Set(L"ADJUST VALUES", false);
    Person ignoring("I");
    job.Start();
    EXPECT_EQ(Column(job.session, L"CLOSE"), (Numbers{2, 3, 0}));
    EXPECT_NE(ignoring.Leave().find(L"Type mismatch: row 1, CLOSE \"oops\""), std::wstring::npos);
    job.session->putref_Data(nullptr);
    const Person aborting("A");
    job.Start();
    EXPECT_FALSE(BlockOf(job.session));
}

// Run on its own, without a display.
using UnattendedTest = ErrorHandlerTest;

TEST_F(UnattendedTest, NothingAsksAndTheReportIsInTheLog) {
    ASSERT_EQ(GetEnvironmentVariableW(L"DISPLAY", nullptr, 0), 0u) << "there is a display";
    for (const int actions : {1, 4, 8, 9}) {
        gErrorHandler().ErrorHandlerActions(actions);
        EXPECT_EQ(Failing().Start(), S_OK);
        const std::wstring errors = TakeErrors();
        EXPECT_EQ(errors.find(L"in vtdl.CSession.NextTick"), errors.rfind(L"in vtdl."))
            << "once for actions " << actions;
        EXPECT_EQ(errors.empty(), actions == 4);
    }
}

TEST_F(UnattendedTest, EachSettingStandsForItselfAndTheVariableAboveTheActions) {
    // A window station that nobody sees.
    const HWINSTA usual = GetProcessWindowStation();
    const HWINSTA hidden = CreateWindowStationW(L"hidden", 0, GENERIC_ALL, nullptr);
    struct Case {
        const wchar_t* variable;
        const char* setting;
        bool isHidden;
        int actions;
        const wchar_t* refused;
    };
    const Case cases[] = {
        {L"", "3", false, 3, L""},
        {L"", "99", false, 8, L"ERRORHANDLER/actions = 99: Invalid error handler actions; "},
        {L"", "two", true, 2, L"ERRORHANDLER/actions = two: Type mismatch; "},
        {L"2", "8", false, 2, L""},
        {L"2", "two", false, 2, L""},
        {L"0", "2", false, 8, L"VTDL_ACTIONS = 0: Invalid error handler actions; "},
        {L"two", "8", true, 2, L"VTDL_ACTIONS = two: Type mismatch; "},
    };
    for (const Case& expected : cases) {
        SetProcessWindowStation(expected.isHidden ? hidden : usual);
        SetEnvironmentVariableW(L"VTDL_ACTIONS", expected.variable);
        WriteSettings({{"errorhandler", "actions", expected.setting},
                       {"errorhandler", "callstack", "perhaps"},
                       {"errorhandler", "supportmail", "help@example.com"}});
        New(L"CManager");
        EXPECT_EQ(gErrorHandler().ErrorHandlerActions(), expected.actions) << expected.setting;
        EXPECT_EQ(gErrorHandler().SupportMail(), L"help@example.com");
        gErrorHandler().SupportMail(L"");
        EXPECT_EQ(TakeErrors(), L"5, (Invalid procedure call or argument: " +
                                    std::wstring(expected.refused) +
                                    L"ERRORHANDLER/callstack = perhaps: Type mismatch) in "
                                    L"vtdl.CManager.ApplySettings\n");
    }
    SetProcessWindowStation(usual);
    CloseWindowStation(hidden);
    // Also before any setting is read, and when none can be: the first object of an apartment.
    for (const char* content : {"", "damaged"}) {
        WriteAll("VTDL33.Settings.xml", content);
        SetEnvironmentVariableW(L"VTDL_ACTIONS", L"6");
        std::thread([] {
            ApplyErrorHandlerSettingsOnce();
            EXPECT_EQ(gErrorHandler().ErrorHandlerActions(), 6);
        }).join();
    }
    SetEnvironmentVariableW(L"VTDL_ACTIONS", nullptr);
}

}  // namespace
}  // namespace vtdl::tests
