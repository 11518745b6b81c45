#include "support/LibraryTest.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "errors/CErrorHandler.h"
#include "text/CalendarDate.h"

namespace vtdl::tests {
namespace {

constexpr char errorLog[] = "Error Log.txt";
constexpr wchar_t stackTitle[] = L"The call stack is:\r\n";

std::filesystem::path NewFolder() {
    static int number = 0;
    const auto folder =
        std::filesystem::temp_directory_path() /
        ("vtdl-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++number));
    std::filesystem::remove_all(folder);  // of a run that was ended, whose process had this number
    std::filesystem::create_directories(folder);
    return folder;
}

}  // namespace

LibraryTest::LibraryTest()
    : m_previousFolder(std::filesystem::current_path()),
      m_folder(NewFolder()),
      m_objects(automation::LiveObject::Count()) {
    std::filesystem::current_path(m_folder);
    SetEnvironmentVariableW(L"VTDL_DATA", m_folder.c_str());
    gErrorHandler().Init(CErrorHandler::errorLog, L"Error Log.txt", true, false,
                       CErrorHandler::traceFile, L"Tracing Log.txt");
}

LibraryTest::~LibraryTest() {
    EXPECT_EQ(automation::LiveObject::Count(), m_objects) << "objects are left";
    EXPECT_EQ(TakeErrors(), L"") << "errors that the test did not expect";

    // Only a report shows the stack.
    gErrorHandler().Init(CErrorHandler::errorLog, L"Error Log.txt", true, false,
                       CErrorHandler::traceFile, L"Tracing Log.txt");
    gErrorHandler().HandleError(L"");
    const std::string report = ReadAll(errorLog);
    EXPECT_TRUE(report.ends_with("The call stack is:\r\n\r\n")) << report;
    gErrorHandler().CallStackClear();

    std::filesystem::current_path(m_previousFolder);
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

std::wstring LibraryTest::TakeErrors() {
    const std::string bytes = ReadAll(errorLog);
    DeleteFileA(errorLog);
    std::wstring text(bytes.size(), L'\0'), errors;
    text.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(),
                            static_cast<int>(text.size()))));
    for (std::size_t at = 0; (at = text.find(L"Error: ", at)) != std::wstring::npos; ++at) {
        const std::size_t end = text.find(L" at line", at);
        std::wstring report = text.substr(at + 7, end - at - 7);
        report.replace(report.find(L"\r\n\tin "), 6, L" in ");
        errors += report + L"\n";
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
