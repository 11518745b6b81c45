// Where reports go when nobody answers: logs that processes share, the event log, no display.

#include <sstream>
#include <thread>

#include "automation/TypeInformation.h"
#include "errors/CErrorHandler.h"
#include "settings/SharedSettings.h"
#include "support/HostObjects.h"
#include "support/LibraryTest.h"
#include "errors/Notices.h"

namespace vtdl::tests {
namespace {

HRESULT StartFailing() {
    TestSource source;
    source.download = [](_CSession*) { return E_FAIL; };
    const auto session = New<::CSession, _CSession>();
    session->putref_DataSource(&source);
    const HRESULT hr = session->Start();
    session->putref_DataSource(nullptr);
    return hr;
}

class NoticesTest : public LibraryTest {};

TEST_F(NoticesTest, WritersOfOneLogDoNotTearEachOthersLines) {
    constexpr int writers = 4, records = 100;
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; ++writer)
        threads.emplace_back([writer] {
            const std::wstring line = std::wstring(200, static_cast<wchar_t>(L'a' + writer));
            for (int i = 0; i < records; ++i) AppendToLog(L"shared.txt", line);
        });
    for (std::thread& thread : threads) thread.join();

    std::istringstream log(ReadAll("shared.txt"));
    int lines = 0;
    for (std::string line; std::getline(log, line); ++lines)
        ASSERT_EQ(line, std::string(200, line[0]) + "\r") << "line " << lines;
    EXPECT_EQ(lines, writers * records);
}

TEST_F(NoticesTest, ALogThatCannotBeWrittenIsTheHandlersFailureAndNotTheEnd) {
    gErrorHandler().ErrorLogFile(L"no such folder\\log.txt");
    EXPECT_EQ(StartFailing(), static_cast<HRESULT>(0x800443FC));
    EXPECT_EQ(TakeErrorInformation().description, L"CErrorHandler component failure");
    gErrorHandler().ErrorLogFile(L"Error Log.txt");
    EXPECT_EQ(StartFailing(), S_OK);
    EXPECT_NE(TakeErrors(), L"");
}

TEST_F(NoticesTest, TheModuleHoldsTheEventLogsText) {
    wchar_t text[100] = L"";
    const wchar_t* report[] = {L"the report"};
    FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                   automation::Module(), 0xC0000001, 0, text, ARRAYSIZE(text),
                   reinterpret_cast<va_list*>(const_cast<wchar_t**>(report)));
    EXPECT_STREQ(text, L"the report\r\n");
    gErrorHandler().ErrorHandlerActions(CErrorHandler::eventLog);
    EXPECT_EQ(StartFailing(), S_OK);
}

// Run on its own, without a display.
class UnattendedTest : public LibraryTest {};

TEST_F(UnattendedTest, NothingAsksAndTheReportIsInTheLog) {
    ASSERT_EQ(GetEnvironmentVariableW(L"DISPLAY", nullptr, 0), 0u) << "there is a display";
    for (const int actions : {1, 8, 9}) {
        gErrorHandler().ErrorHandlerActions(actions);
        EXPECT_EQ(StartFailing(), S_OK);
        const std::wstring errors = TakeErrors();
        EXPECT_EQ(errors.find(L"in vtdl.CSession.NextTick"), errors.rfind(L"in vtdl."))
            << "once for actions " << actions;
        EXPECT_NE(errors, L"");
    }
}

// Moves the process to a window station that nobody sees, for a while.
class HiddenWindowStation {
public:
    explicit HiddenWindowStation(bool isWanted) {
        if (isWanted) SetProcessWindowStation(m_hidden);
    }
    ~HiddenWindowStation() {
        SetProcessWindowStation(m_usual);
        CloseWindowStation(m_hidden);
    }

private:
    HWINSTA m_usual = GetProcessWindowStation();
    HWINSTA m_hidden = CreateWindowStationW(L"hidden", 0, GENERIC_ALL, nullptr);
};

TEST_F(UnattendedTest, EachSettingStandsForItselfAndTheVariableAboveTheActions) {
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
    for (const Case& test : cases) {
        const HiddenWindowStation station(test.isHidden);
        SetEnvironmentVariableW(L"VTDL_ACTIONS", test.variable);
        WriteSettings({{"errorhandler", "actions", test.setting},
                       {"errorhandler", "callstack", "perhaps"},
                       {"errorhandler", "supportmail", "help@example.com"}});
        New<::CManager, _CManager>();
        EXPECT_EQ(gErrorHandler().ErrorHandlerActions(), test.actions) << test.setting;
        EXPECT_EQ(gErrorHandler().SupportMail(), L"help@example.com");
        gErrorHandler().SupportMail(L"");
        EXPECT_EQ(TakeErrors(), L"5, (Invalid procedure call or argument: " +
                                    std::wstring(test.refused) +
                                    L"ERRORHANDLER/callstack = perhaps: Type mismatch) in "
                                    L"vtdl.CManager.ApplySettings\n");
    }
    SetEnvironmentVariableW(L"VTDL_ACTIONS", nullptr);
}

// Also before any setting is read, and when none can be: the first object of an apartment.
TEST_F(UnattendedTest, TheVariableCountsWithoutSettings) {
    for (const char* content : {"", "damaged"}) {
        if (*content) WriteAll("VTDL33.Settings.xml", content);
        SetEnvironmentVariableW(L"VTDL_ACTIONS", L"6");
        std::thread([] {
            ApplyErrorHandlerSettingsOnce();
            EXPECT_EQ(gErrorHandler().ErrorHandlerActions(), 6);
        }).join();
        SetEnvironmentVariableW(L"VTDL_ACTIONS", nullptr);
    }
}

}  // namespace
}  // namespace vtdl::tests
