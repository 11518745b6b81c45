// The error handler: its rules and logs, the questions that it asks in real methods, answered as a
// person would, and where reports go when nobody answers.

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
    ~Person() { Leave(); }

    /// What the windows showed, "disabled" before what is.
    std::wstring Leave() {
        if (m_thread.joinable()) m_thread.join();
        return m_shown;
    }

private:
    static HWND Window(HWND window = nullptr) {
        do window = FindWindowExW(nullptr, window, nullptr, L"Vestora Download Library");
        while (window && !IsWindowVisible(window));
        return window;
    }

    void Answer(WORD key) {
        for (int attempt = 0; attempt < 1000 && !Window(); ++attempt) Sleep(10);
        Sleep(100);  // a person looks first
        const HWND window = Window();
        ASSERT_TRUE(window) << "nobody asks";
        EXPECT_FALSE(Window(window)) << "a second window is open";
        for (HWND child = GetWindow(window, GW_CHILD); child;
             child = GetWindow(child, GW_HWNDNEXT)) {
            wchar_t text[4000] = L"";
            SendMessageW(child, WM_GETTEXT, ARRAYSIZE(text), reinterpret_cast<LPARAM>(text));
            m_shown += (IsWindowEnabled(child) ? L"" : L"disabled ") + std::wstring(text) + L"\n";
        }
        INPUT keys[4]{};  // Alt and the key, down and up
        for (INPUT& input : keys) input.type = INPUT_KEYBOARD;
        keys[0].ki.wVk = keys[2].ki.wVk = key == VK_ESCAPE ? 0 : VK_MENU;
        keys[1].ki.wVk = keys[3].ki.wVk = key;
        keys[2].ki.dwFlags = keys[3].ki.dwFlags = KEYEVENTF_KEYUP;
        for (int attempt = 0; attempt < 1000 && IsWindow(window); ++attempt, Sleep(10))
            if (attempt % 100 == 0) SendInput(4, keys, sizeof(INPUT));
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
            source.download = [=, this](_CSession*) {
                return source.downloads <= times ? E_FAIL : S_OK;
            };
            session->putref_DataSource(&source);
        }
        HRESULT Start() { return session->Start(); }
    };
};

TEST_F(ErrorHandlerTest, LogsThatCannotBeWritten) {
    gErrorHandler().ErrorLogFile(L"NUL");  // cannot be locked
    EXPECT_NO_THROW(gErrorHandler().HandleError(L"x"));
    gErrorHandler().ErrorLogFile(L"Error Log.txt");
    // Where nobody can make a file, the log goes to the data folder, which is this test's.
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(L"Z:\\proc");
    EXPECT_NO_THROW(gErrorHandler().HandleError(L"x"));
    std::filesystem::current_path(here);
    EXPECT_NE(TakeErrors().find(L"in x"), std::wstring::npos);

    gErrorHandler().TracingLogFile(L"no such folder\\trace.txt");
    for (const wchar_t* told : {L"-2147024893, (The trace is off: CreateFile: Path not found.) in "
                                L"vtdl.CManager.LoadSettings\n",
                                L""}) {
        gErrorHandler().TracingEnabled(true);
        New(L"CManager");
        EXPECT_EQ(TakeErrors(), told) << "once";
    }
    gErrorHandler().ErrorLogFile(L"no such folder\\log.txt");
    EXPECT_EQ(Failing().Start(), static_cast<HRESULT>(0x800443FC));
    EXPECT_EQ(TakeDescription(), L"CErrorHandler component failure");
}

TEST_F(ErrorHandlerTest, TheAnswerDecides) {
    for (const auto action : {CErrorHandler::dialog, CErrorHandler::messageBox})
        for (const auto& [answers, failures, downloads] :
             {std::tuple{"RR", 2, 3}, {"I", 1, 1}, {"A", 9, 1}, {"\x1B", 9, 1}, {"\x73", 9, 1}}) {
            SCOPED_TRACE(answers);
            if (action == CErrorHandler::messageBox && *answers == '\x1B') break;
            gErrorHandler().ErrorHandlerActions(action);
            Failing failing(failures);
            const Person person(answers);
            EXPECT_EQ(failing.Start(), S_OK);
            EXPECT_EQ(failing.source.downloads, downloads);
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
          L"\tin vtdl.CSession.NextTick at line ",
          L"                    vtdl.CSession.Start()\r\nVersion: 4.1.0\n", L"disabled &Send"})
        EXPECT_NE(text.find(part), std::wstring::npos) << part << L"\nin\n" << text;
    EXPECT_GT(periodic.source.downloads, 1);
    EXPECT_NE(TakeErrors().find(L"vtdl.CSession.NextTick"), std::wstring::npos);
    periodic.session->Done();
    EXPECT_EQ(SupportAddress(L"a@b.org", L"An error", L"1/2\r\n\ta=b? 5%"),
              L"mailto:a@b.org?subject=An%20error&body=%0A%0A--------------------%0A1%2F2%0A%09a"
              L"%3Db%3F 5%%0A--------------------");
}

// The odd field stays empty, the rest of the download is kept.
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
    const std::tuple<const wchar_t*, const char*, int, std::wstring> cases[] = {
        {L"", "3", 3, L""},
        {L"", "99", 8, L"ERRORHANDLER/actions = 99: Invalid error handler actions; "},
        {L"2", "two", 2, L""},
        {L"two", "8", 8, L"VTDL_ACTIONS = two: Type mismatch; "},
    };
    for (const auto& [variable, setting, actions, refused] : cases) {
        SetEnvironmentVariableW(L"VTDL_ACTIONS", variable);
        WriteSettings({{"errorhandler", "actions", setting},
                       {"errorhandler", "callstack", "perhaps"},
                       {"errorhandler", "supportmail", "help@example.com"}});
        New(L"CManager");
        EXPECT_EQ(gErrorHandler().ErrorHandlerActions(), actions) << setting;
        EXPECT_EQ(gErrorHandler().SupportMail(), L"help@example.com");
        gErrorHandler().SupportMail(L"");
        EXPECT_EQ(TakeErrors(), L"5, (Invalid procedure call or argument: " + refused +
                                    L"ERRORHANDLER/callstack = perhaps: Type mismatch) in "
                                    L"vtdl.CManager.ApplySettings\n");
    }
    SetEnvironmentVariableW(L"VTDL_ACTIONS", nullptr);
}

}  // namespace
}  // namespace vtdl::tests
