// The error handler's rules, its logs, and the frame around real methods.

#include <thread>

#include "errors/CErrorHandler.h"
#include "support/HostObjects.h"
#include "support/LibraryTest.h"

namespace vtdl::tests {
namespace {

template <class Action>
std::wstring ErrorOf(Action&& action) {
    try {
        action();
        return L"none";
    } catch (const automation::Error& error) {
        EXPECT_EQ(error.Source(), L"Vestora Download Library.CErrorHandler");
        wchar_t number[20];
        swprintf(number, ARRAYSIZE(number), L"%08lX ", error.Code());
        return number + error.Description();
    }
}

class ErrorHandlerTest : public LibraryTest {};

TEST_F(ErrorHandlerTest, StartsWithItsDefaultsAndRefusesBadValues) {
    CErrorHandler handler;
    EXPECT_EQ(handler.ErrorHandlerActions(), 1);
    EXPECT_EQ(handler.TracingFlags(), 0);
    EXPECT_FALSE(handler.CallStackEnabled() || handler.TracingEnabled());
    EXPECT_EQ(handler.ErrorLogFile(), L"Error Log.txt");
    EXPECT_EQ(handler.TracingLogFile(), L"Tracing Log.txt");
    for (const int actions : {0, 16})
        EXPECT_EQ(ErrorOf([&] { handler.ErrorHandlerActions(actions); }),
                  L"800443FA Invalid error handler actions");
    for (const int flags : {0, 4})
        EXPECT_EQ(ErrorOf([&] { handler.TracingFlags(flags); }), L"800443FB Invalid tracing flags");
    EXPECT_EQ(ErrorOf([&] { handler.ErrorLogFile(L""); }), L"800443F9 Invalid file name");
    EXPECT_EQ(ErrorOf([&] { handler.TracingLogFile(L""); }), L"800443F9 Invalid file name");
    EXPECT_EQ(ErrorOf([&] { handler.Init(3, L"e", true, true, 0, L""); }),
              L"800443FB Invalid tracing flags");
    EXPECT_EQ(handler.ErrorHandlerActions(), 3) << "values before the refused one are stored";
    EXPECT_EQ(handler.ErrorLogFile(), L"e");
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
    const std::string fixed =
        "\r\n\tError: 6, (Overflow)\r\n\tin vtdl.A.Inner at line 12\r\n\r\nThe "
        "call stack is:\r\n                    vtdl.A.Inner(x, 1)\r\n"
        "                    vtdl.A.Outer()\r\n";
    EXPECT_TRUE(report.ends_with(fixed)) << report;
    EXPECT_NE(report.find(" - "), std::string::npos);
    EXPECT_EQ(handler.ErrorNumber(), 6);
    EXPECT_EQ(handler.ErrorLine(), 12);
    EXPECT_EQ(handler.ErrorDescription(), L"Overflow");

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

TEST_F(ErrorHandlerTest, TracesEveryRoutineEnteredAndLeft) {
    gErrorHandler().TracingEnabled(true);
    const auto data = New<::CData, _CData>();
    _CParameters* values = nullptr;
    data->get_Values(&values);
    gErrorHandler().TracingEnabled(false);
    values->Release();
    const std::string trace = ReadAll("Tracing Log.txt");
    EXPECT_NE(trace.find(" --- Entered routine: vtdl.CData.Values\r\n"), std::string::npos)
        << trace;
    EXPECT_TRUE(trace.ends_with(" --- Exited routine: vtdl.CData.Values\r\n")) << trace;
    CErrorHandler empty;
    empty.Init(2, L"log.txt", true, true, 2, L"empty.txt");
    empty.CallStackPop();
    EXPECT_EQ(ReadAll("empty.txt"), "");
    WriteAll("log.txt", "x");
    empty.Clear(true, true);  // the second one is missing
    EXPECT_EQ(ReadAll("log.txt"), "");
}

// A log that cannot be locked takes its reports; one that cannot be written to is no second error.
TEST_F(ErrorHandlerTest, LogsThatCannotBeWrittenHinderNothing) {
    gErrorHandler().ErrorLogFile(L"NUL");
    gErrorHandler().SetPendingError(
        automation::MakeRuntimeError(automation::RuntimeError::overflow), 1);
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
    const auto manager = New<::CManager, _CManager>();
    Ptr<_CDataSources> sources;
    long count = 0;
    manager->get_DataSources(&sources);
    EXPECT_EQ(sources->get_Count(&count), S_OK);
    EXPECT_EQ(count, 15);
    EXPECT_EQ(gErrorHandler().ErrorNumber(), 6) << "of the last error that a method had";
    EXPECT_EQ(TakeErrors(),
              L"-2147024893, (The trace is off: CreateFile: Path not found.) in "
              L"vtdl.CManager.LoadSettings\n");
    gErrorHandler().TracingEnabled(true);  // as the next manager does
    gErrorHandler().TraceLine(L"");
    EXPECT_FALSE(gErrorHandler().TracingEnabled());
    EXPECT_EQ(TakeErrors(), L"");
}

// Saving fails a number of times: the host's settings decide.
class FailingSettings : public HostObject<_CXMLSettings> {
public:
    int failures = 0;
    std::vector<std::wstring> saved;

    STDMETHODIMP put_FileName(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP get_FileName(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP put_XMLString(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP get_XMLString(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteKey(BSTR, BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteSection(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumerateAllKeys(BSTR*, SAFEARRAY**, long*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumerateAllSections(SAFEARRAY**, long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetSetting(BSTR*, BSTR*, BSTR*, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP LoadFile() override { return E_NOTIMPL; }
    STDMETHODIMP SaveFile(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP SaveSetting(BSTR, BSTR key, BSTR) override {
        if (failures-- > 0) return E_FAIL;
        saved.push_back(key);
        return S_OK;
    }
};

// The message box is answered by a thread that presses its button.
class Presser {
public:
    explicit Presser(std::vector<int> buttons)
        : m_thread([buttons] {
              HWND previous = nullptr;
              for (const int button : buttons) {
                  HWND box = nullptr;
                  for (int i = 0; i < 400 && (!box || box == previous); ++i, Sleep(10))
                      box = FindWindowW(L"#32770", L"Vestora Download Library");
                  Sleep(50);
                  PostMessageW(box, WM_COMMAND, static_cast<WPARAM>(button), 0);
                  for (int i = 0; i < 400 && IsWindow(box); ++i) Sleep(10);
                  previous = nullptr;
              }
          }) {}
    ~Presser() { m_thread.join(); }

private:
    std::thread m_thread;
};

TEST_F(ErrorHandlerTest, RetryIgnoreAndAbortDriveARealMethod) {
    gErrorHandler().ErrorHandlerActions(CErrorHandler::messageBox);
    const auto parameters = New<::CParameters, _CParameters>();
    GetObject(parameters, L"Item", {L"A"});
    GetObject(parameters, L"Item", {L"B"});
    _bstr_t section(L"S");
    const auto save = [&](int failures, std::vector<int> buttons) {
        FailingSettings settings;
        settings.failures = failures;
        _CXMLSettings* face = &settings;
        const Presser presser(std::move(buttons));
        EXPECT_EQ(parameters->SaveValues(&face, &section.GetBSTR()), S_OK);
        return settings.saved;
    };
    using Saved = std::vector<std::wstring>;
    EXPECT_EQ(save(2, {IDRETRY, IDRETRY}), (Saved{L"A", L"B"})) << "twice again, then it works";
    EXPECT_EQ(save(1, {IDIGNORE}), (Saved{L"B"})) << "the next statement runs";
    EXPECT_EQ(save(1, {IDABORT}), (Saved{L"B"})) << "of SaveValue only: it abandons, and succeeds";
}

}  // namespace
}  // namespace vtdl::tests
