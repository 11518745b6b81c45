// Where reports go when nobody answers: logs that processes share, the event log, no display.

#include <sstream>
#include <thread>

#include "automation/TypeInformation.h"
#include "support/CErrorHandler.h"
#include "support/HostObjects.h"
#include "support/LibraryTest.h"
#include "support/LogFile.h"

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

}  // namespace
}  // namespace vtdl::tests
