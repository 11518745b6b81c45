#include "support/LibraryTest.h"

#include <winsock2.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "automation/TypeInformation.h"
#include "errors/CErrorHandler.h"
#include "text/CalendarDate.h"

namespace vtdl::tests {
namespace {

constexpr char errorLog[] = "Error Log.txt";

std::filesystem::path NewFolder() {
    static int number = 0;
    const auto folder =
        std::filesystem::temp_directory_path() /
        ("vtdl-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++number));
    std::filesystem::remove_all(folder);  // of a run that was ended, whose process had this number
    std::filesystem::create_directories(folder);
    return folder;
}

void InitErrorHandler() {
    gErrorHandler().Init(CErrorHandler::errorLog, L"Error Log.txt", true, false,
                         CErrorHandler::traceFile, L"Tracing Log.txt");
}

std::atomic<ULONGLONG> deadline = ~0ull;

class Watchdog : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { deadline = GetTickCount64() + 60'000; }
    void OnTestEnd(const testing::TestInfo&) override { deadline = ~0ull; }
};

void Watch() {
    while (GetTickCount64() < deadline) Sleep(200);
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    std::fprintf(stderr, "%s.%s has hung for a minute\n", test->test_suite_name(), test->name());
    TerminateProcess(GetCurrentProcess(), 42);
}

}  // namespace

LibraryTest::LibraryTest()
    : m_previousFolder(std::filesystem::current_path()),
      m_folder(NewFolder()),
      m_objects(automation::LiveObject::Count()) {
    std::filesystem::current_path(m_folder);
    SetEnvironmentVariableW(L"VTDL_DATA", m_folder.c_str());
    InitErrorHandler();
}

LibraryTest::~LibraryTest() {
    EXPECT_EQ(automation::LiveObject::Count(), m_objects) << "objects are left";
    EXPECT_EQ(TakeErrors(), L"") << "errors that the test did not expect";

    // Only a report shows the stack.
    InitErrorHandler();
    gErrorHandler().HandleError(L"");
    const std::string report = ReadAll(errorLog);
    EXPECT_TRUE(report.ends_with("The call stack is:\r\n\r\n")) << report;
    gErrorHandler().CallStackClear();

    std::filesystem::current_path(m_previousFolder);
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

std::string LibraryTest::TakeLog() {
    const std::string log = ReadAll(errorLog);
    DeleteFileA(errorLog);
    return log;
}

std::wstring LibraryTest::TakeErrors() {
    const std::string log = TakeLog();
    const std::wstring text =
        std::filesystem::path(std::u8string(log.begin(), log.end())).wstring();
    std::wstring errors;
    for (std::size_t at = 0; (at = text.find(L"Error: ", at)) != std::wstring::npos; ++at) {
        std::wstring report = text.substr(at + 7, text.find(L" at line", at) - at - 7);
        errors += report.replace(report.find(L"\r\n\tin "), 6, L" in ") + L"\n";
    }
    return errors;
}

void LibraryTest::WriteSettings(const std::vector<std::array<std::string, 3>>& values) {
    std::string text = "<?xml version=\"1.0\"?>\n<sections name=\"XML settings file\">\n";
    for (const auto& [section, key, value] : values)
        text += "<section name=\"" + section + "\"><key name=\"" + key + "\">" + value +
                "</key></section>\n";
    WriteAll("VTDL33.Settings.xml", text + "</sections>\n");
}

std::string ReadAll(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

void WriteAll(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

void ExpectAsRecorded(const std::string& text, const char* fileName) {
    const std::string recorded = ReadAll(std::filesystem::path(VTDL_TEST_DATA) / fileName);
    if (text == recorded && !text.empty()) return;
    const auto end =
        std::mismatch(text.begin(), text.end(), recorded.begin(), recorded.end()).first;
    WriteAll(std::filesystem::temp_directory_path() / fileName, text);
    ADD_FAILURE() << fileName << " differs in line " << 1 + std::count(text.begin(), end, '\n');
}

std::vector<std::wstring> Split(const std::wstring& text, wchar_t separator) {
    std::vector<std::wstring> parts;
    std::wistringstream rest(text + separator);
    for (std::wstring part; std::getline(rest, part, separator);) parts.push_back(part);
    return parts;
}

Ptr<IDispatch> New(std::wstring_view className) {
    for (const automation::ClassEntry& entry : automation::ClassTable()) {
        if (entry.name != className) continue;
        Ptr<IDispatch> object;
        _com_util::CheckError(entry.create(__uuidof(IDispatch), reinterpret_cast<void**>(&object)));
        return object;
    }
    throw std::runtime_error("no such class");
}

double Day(int year, int month, int day) {
    return text::ToAutomationDate({year, month, day}).value();
}

}  // namespace vtdl::tests

// Runs the program's tests with COM and sockets ready. A test that takes longer than a minute ends
// the program with its name and exit code 42: a hang must not look like a slow machine.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    WSADATA sockets;
    if (WSAStartup(MAKEWORD(2, 2), &sockets) != 0 || FAILED(CoInitialize(nullptr))) return 1;
    testing::UnitTest::GetInstance()->listeners().Append(new vtdl::tests::Watchdog);
    std::thread(vtdl::tests::Watch).detach();
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    WSACleanup();
    return result;
}
