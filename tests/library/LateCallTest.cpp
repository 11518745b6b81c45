// What late-bound hosts get: errors, records, arguments by name, sinks of scripts; and what two
// apartments have of each other.

#include <thread>

#include "errors/CErrorHandler.h"
#include "objectmodel/mGlobals.h"
#include "settings/SharedSettings.h"
#include "support/Downloads.h"
#include "support/HostLoop.h"
#include "timers/cTimer.h"

namespace vtdl::tests {
namespace {

class LateCallTest : public LibraryTest {};

constexpr WORD get = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
constexpr WORD let = DISPATCH_PROPERTYPUT, set = DISPATCH_PROPERTYPUTREF;

TEST_F(LateCallTest, ErrorsCarryNumberSourceAndText) {
    const _variant_t null = ReferenceTo(nullptr);
    _variant_t nullText;
    nullText.vt = VT_BYREF | VT_BSTR;
    nullText.pbstrVal = nullptr;
    const std::tuple<const wchar_t*, const wchar_t*, WORD, _variant_t, std::wstring> cases[] = {
        {L"CXMLSettings", L"LoadFile", get, _variant_t(),
         L"80044511 VTDL33.CXMLSettings Object not properly initialized"},
        {L"CSession", L"Error", get, L"x",
         L"800A0005 VTDL33 Invalid procedure call or argument: x"},
        {L"CSession", L"Progressor", set, L"no object", L"800A000D VTDL33 Type mismatch"},
        {L"CSession", L"Data", get, L"TICKER",
         L"800A005B VTDL33 Object variable or With block variable not set"},
        {L"CSession", L"UserData", get, 1L, L"8002000E  "},
        {L"CDataField", L"Data", let, null, L"80004003  "},
        {L"CXMLSettings", L"DeleteSection", get, nullText, L"80004003  "},
    };
    for (const auto& [className, member, flags, argument, error] : cases) {
        std::vector<_variant_t> arguments;
        if (argument.vt != VT_EMPTY) arguments.push_back(argument);
        const Called called = Invoke(New(className), member, flags, arguments);
        EXPECT_EQ(Hexadecimal(called.hr) + L" " + called.source + L" " + called.description, error);
    }
    EXPECT_EQ(Invoke(New(L"CSession"), L"Start", DISPATCH_METHOD).hr, E_INVALIDARG);
    // A bare number must not be dressed in the texts of an earlier failure.
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    EXPECT_TRUE(FAILED(settings->LoadFile()));
    EXPECT_EQ(settings->get_FileName(nullptr), E_POINTER);
    EXPECT_EQ(TakeDescription(), L"");
}

TEST_F(LateCallTest, NamedArgumentsGoToTheirParameters) {
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    settings->put_XMLString(
        _bstr_t(L"<sections name='XML settings file'><section name='a'>"
                L"<key name='k'>1</key></section></sections>"));
    const wchar_t* names[] = {L"EnumerateAllKeys", L"Keys", L"Section"};
    DISPID members[3];
    ASSERT_EQ(settings->GetIDsOfNames(GUID{}, const_cast<LPOLESTR*>(names), 3, 0, members), S_OK);
    _variant_t keys, count;
    _variant_t arguments[] = {ReferenceTo(&keys), L"a"};
    DISPPARAMS named{arguments, members + 1, 2, 2};
    const auto call = [&] {
        return settings->Invoke(members[0], GUID{}, 0, get, &named, &count, nullptr, nullptr);
    };
    EXPECT_EQ(call(), S_OK);
    EXPECT_EQ(TextOf(count), L"1");
    EXPECT_EQ(keys.vt, VT_ARRAY | VT_VARIANT);
    // A name that is nobody's left a reference's place to the platform, which filled it with
    // rubbish.
    members[1] = 5;
    EXPECT_EQ(call(), DISP_E_PARAMNOTFOUND);
}

TEST_F(LateCallTest, ErrorRecordOfADownload) {
    TestSource source;
    const auto session = New<::CSession, _CSession>();
    session->putref_DataSource(&source);
    source.download = [&](_CSession* current) {
        IUnknown* caller = current;
        const long number = source.downloads == 1 ? static_cast<long>(0x800C0004) : 0;
        return Ptr<_IProgressCallBack>(current)->Done(&caller, number);
    };
    for (int run = 0; run < 2; ++run) {
        session->Start();
        EXPECT_EQ(ErrorOf(session), L"1 -2146697212 Cannot connect") << "it outlives a success";
    }
    // Not copied: Wine does not copy fields of enumeration types.
    const Called called = Invoke(session, L"Error", DISPATCH_PROPERTYGET);
    ASSERT_EQ(called.value.vt, VT_RECORD);
    const VARIANT& record = called.value;
    EXPECT_STREQ(static_cast<const vtdlSessionError*>(record.pvRecord)->ErrorDescription,
                 L"Cannot connect");
    EXPECT_EQ(TextOf(Get(session, L"error", {L"ErrorNumber"})), L"-2146697212");
}

TEST_F(LateCallTest, SinksOfScripts) {
    const auto plain = New<::CDataSource, _CDataSource>();
    Ptr<_CSession> job;
    plain->CreateSession(&job);
    const auto run = [&](ScriptSink& sink) {
        Put(job, L"Progressor", _variant_t(static_cast<IDispatch*>(&sink)));
        EXPECT_EQ(GetObject(job, L"Progressor").GetInterfacePtr(), &sink) << "the host's own";
        EXPECT_EQ(job->Start(), S_OK);
        EXPECT_EQ(StatusOf(job), vtdlSessionStatusDone);
        Put(job, L"Progressor", _variant_t(static_cast<IDispatch*>(nullptr)));
    };
    ScriptSink whole, raising;
    run(whole);
    ASSERT_EQ(whole.events.size(), 103u);
    EXPECT_EQ(whole.events[100] + whole.events[102], L"Progress 100 Done 0");
    raising.isRaising = true;
    raising.methods = {L"DataReady", L"Done"};
    run(raising);
    EXPECT_EQ(raising.events, (Events{L"DataReady", L"Done 0"}));
    const std::wstring errors = TakeErrors();
    for (const wchar_t* part : {L"went wrong", L"vtdl.CSession.NextTick", L"vtdl.CSession.Done"})
        EXPECT_NE(errors.find(part), errors.npos) << testing::PrintToString(errors);
}

TEST_F(LateCallTest, RoutinesShowInTheTrace) {
    gErrorHandler().TracingEnabled(true);
    New(L"CSessions");
    gErrorHandler().TracingEnabled(false);
    const std::string trace = ReadAll("Tracing Log.txt");
    for (const char* what : {" --- Entered routine: ", " --- Exited routine: "})
        EXPECT_NE(trace.find(what + std::string("vtdl.CSessions.Class_Initialize\r\n")),
                  trace.npos);
}

TEST_F(LateCallTest, ApartmentsShareNoState) {
    const auto window = HiddenWindow::get();
    const auto settings = SharedSettings();
    gErrorHandler().CallStackPush(L"first", L"");
    UpdateLock::Lock();
    std::thread([&] {
        CoInitialize(nullptr);
        {
            TestSource source;
            source.download = [&, second = GetCurrentThreadId()](_CSession*) {
                EXPECT_EQ(GetCurrentThreadId(), second) << "its ticks come on its own thread";
                return S_OK;
            };
            const auto session = New<::CSession, _CSession>();
            session->putref_DataSource(&source);
            SetParameter(session, L"PERIOD", 20L);
            session->Start();
            EXPECT_TRUE(RunLoop(enough, [&] { return source.downloads >= 3; })) << "lock or not";
            session->Done();
            EXPECT_NE(HiddenWindow::get()->Handle(), window->Handle());
            EXPECT_NE(SharedSettings(), settings);
            EXPECT_EQ(gErrorHandler().ErrorHandlerActions(), CErrorHandler::dialog);
            gErrorHandler().ErrorHandlerActions(CErrorHandler::errorLog);
            gErrorHandler().HandleError(L"");
        }
        CoUninitialize();
    }).join();
    EXPECT_NE(TakeErrors().find(L"in Unknown"), std::wstring::npos);
    UpdateLock::Unlock();
    gErrorHandler().CallStackPop();
}

}  // namespace
}  // namespace vtdl::tests
