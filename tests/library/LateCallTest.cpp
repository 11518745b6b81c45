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

constexpr WORD reading = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
constexpr WORD let = DISPATCH_PROPERTYPUT, set = DISPATCH_PROPERTYPUTREF;

TEST_F(LateCallTest, ErrorsCarryNumberSourceAndText) {
    const std::wstring notSet = L"800A005B VTDL33 Object variable or With block variable not set";
    const std::wstring mismatch = L"800A000D VTDL33 Type mismatch";
    const std::wstring notLoaded = L"80044511 VTDL33.CXMLSettings Object not properly initialized";
    const std::wstring noKeys =
        L"80044511 CXMLSettings.SaveSetting Object not properly initialized";
    const std::wstring noField = L"800A0005 VTDL33 Invalid procedure call or argument: x";
    _variant_t array;
    const _variant_t keys = ReferenceTo(&array), null = ReferenceTo(nullptr);
    struct Case {
        std::wstring className;
        const wchar_t* member;
        WORD flags;
        std::vector<_variant_t> arguments;
        std::wstring error;
    };
    const Case cases[] = {
        {L"CXMLSettings", L"LoadFile", reading, {}, notLoaded},
        {L"CXMLSettings", L"EnumerateAllKeys", reading, {L"a", keys}, noKeys},
        {L"CSession", L"Error", reading, {L"x"}, noField},
        {L"CSession", L"Progressor", set, {L"no object"}, mismatch},
        {L"CDataSources", L"Add", reading, {L"no object"}, mismatch},
        {L"CSession", L"Data", reading, {L"TICKER"}, notSet},
        {L"CSession", L"DataSource", reading, {1L}, notSet},
        {L"CSession", L"Progressor", reading, {1L}, notSet},
        {L"CSession", L"UserData", reading, {1L}, L"8002000E  "},
        {L"CSession", L"UserData", let, {null}, L"80004003  "},
        {L"CDataField", L"Data", let, {null}, L"80004003  "},
        {L"CParameters", L"Item", reading, {null}, L"80004003  "},
    };
    for (const Case& expected : cases) {
        const Called called =
            Invoke(New(expected.className), expected.member, expected.flags, expected.arguments);
        EXPECT_EQ(Hexadecimal(called.hr) + L" " + called.source + L" " + called.description,
                  expected.error);
    }
    for (const wchar_t* member : {L"Start", L"NextTick", L"Abort"}) {
        const Called called = Invoke(New(L"CSession"), member, DISPATCH_METHOD);
        EXPECT_EQ(called.hr, E_INVALIDARG);
        EXPECT_EQ(called.source, std::wstring(L"vtdl.CSession.") + member);
        EXPECT_NE(called.description, L"");
    }
}

// A bare number must not be dressed in the texts of an earlier failure.
TEST_F(LateCallTest, BareNumbersHaveNoTextsOfEarlierErrors) {
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    ITypeInfo* type = nullptr;
    const std::function<HRESULT()> calls[] = {
        [&] { return settings->get_FileName(nullptr); },
        [&] { return New<::CSession, _CSession>()->get_ID(nullptr); },
        [&] {
            return settings->Invoke(999, GUID{}, 0, reading, nullptr, nullptr, nullptr, nullptr);
        },
        [&] { return settings->GetTypeInfo(7, 0, &type); },
    };
    for (const auto& call : calls) {
        EXPECT_TRUE(FAILED(settings->LoadFile()));
        EXPECT_TRUE(FAILED(call()));
        EXPECT_EQ(TakeErrorInformation().description, L"");
    }
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
        return settings->Invoke(members[0], GUID{}, 0, reading, &named, &count, nullptr, nullptr);
    };
    EXPECT_EQ(call(), S_OK);
    EXPECT_EQ(TextOf(count), L"1");
    EXPECT_EQ(keys.vt, VT_ARRAY | VT_VARIANT);
    // A name that is nobody's left a reference's place to the platform, which filled it with
    // rubbish.
    members[1] = 5;
    EXPECT_EQ(call(), DISP_E_PARAMNOTFOUND);
}

TEST_F(LateCallTest, SettingsRaiseTheirSixErrorsAlone) {
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    settings->put_XMLString(_bstr_t(L"<sections name='a'><section name='b'/></sections>"));
    SAFEARRAY* fixed = SafeArrayCreateVector(VT_BSTR, 0, 1);
    long count = 0;
    fixed->fFeatures |= FADF_FIXEDSIZE;
    EXPECT_EQ(settings->EnumerateAllSections(&fixed, &count), eErrXMLSettings_ComponentFailure);
    EXPECT_EQ(TakeErrorInformation().description, L"CXMLSettings component failure");
    fixed->fFeatures &= static_cast<USHORT>(~FADF_FIXEDSIZE);
    SafeArrayDestroy(fixed);
    EXPECT_EQ(settings->DeleteKey(_bstr_t(L"it's"), nullptr), E_FAIL);
}

TEST_F(LateCallTest, ErrorRecordOfADownload) {
    TestSource source;
    const auto session = New<::CSession, _CSession>();
    session->putref_DataSource(&source);
    long number = static_cast<long>(0x800C0004);
    source.download = [&](_CSession* current) {
        IUnknown* caller = current;
        return Ptr<_IProgressCallBack>(current)->Done(&caller, std::exchange(number, 0));
    };
    for (int run = 0; run < 2; ++run) {
        session->Start();
        EXPECT_EQ(ErrorOf(session), L"1 -2146697212 Cannot connect") << "it outlives a success";
    }
    // Not copied: Wine does not copy fields of enumeration types.
    const Called called = Invoke(session, L"Error", DISPATCH_PROPERTYGET);
    const VARIANT& record = called.value;
    ASSERT_EQ(record.vt, VT_RECORD);
    const auto* error = static_cast<const vtdlSessionError*>(record.pvRecord);
    EXPECT_EQ(error->ErrorType, vtdlSessionErrorDownload);
    EXPECT_STREQ(error->ErrorDescription, L"Cannot connect");
    ULONG size = 0;
    EXPECT_EQ(record.pRecInfo->GetSize(&size), S_OK);
    EXPECT_EQ(size, sizeof *error);
    for (const auto& [name, value] : {std::pair{L"ErrorType", L"1"},
                                      {L"ErrorNumber", L"-2146697212"},
                                      {L"ErrorDescription", L"Cannot connect"},
                                      {L"NewVersionAvailable", L"False"}})
        EXPECT_EQ(TextOf(Get(session, L"error", {name})), value);
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
        EXPECT_EQ(GetObject(job, L"Progressor"), nullptr);
    };
    ScriptSink whole, partial;
    run(whole);
    ASSERT_EQ(whole.events.size(), 103u);
    whole.events.erase(whole.events.begin() + 1, whole.events.begin() + 100);
    EXPECT_EQ(whole.events, (Events{L"Start", L"Progress 100 ", L"DataReady", L"Done 0"}));
    partial.methods = {L"done"};
    run(partial);
    EXPECT_EQ(partial.events, Events{L"done 0"});
    RaisingSink raising;
    raising.methods = {L"DataReady", L"Done"};
    run(raising);
    EXPECT_EQ(raising.events, (Events{L"DataReady", L"Done 0"}));
    const std::wstring errors = TakeErrors();
    for (const wchar_t* part : {L"went wrong", L"vtdl.CSession.NextTick", L"vtdl.CSession.Done"})
        EXPECT_NE(errors.find(part), std::wstring::npos) << testing::PrintToString(errors);
}

TEST_F(LateCallTest, EveryRoutineShowsInTheTrace) {
    const auto session = New<::CSession, _CSession>();
    BSTR nothing = nullptr;
    gErrorHandler().TracingEnabled(true);
    session->Start();
    session->NextTick();
    session->Abort();
    Ptr<_IProgressCallBack>(session)->Done(nullptr, 504);
    New<::CDataSourceCBOE, _CDataSource>()->Search(nullptr, &nothing);
    New(L"CSessions");
    gErrorHandler().TracingEnabled(false);
    const std::string trace = ReadAll("Tracing Log.txt");
    for (const std::string routine :
         {"CSession.Start", "CSession.NextTick", "CSession.Abort", "CSession.TranslateErrorMessage",
          "CDataSourceCBOE.CDataSource_Search", "CSessions.Class_Initialize"})
        for (const std::string what : {" --- Entered routine: vtdl.", " --- Exited routine: vtdl."})
            EXPECT_NE(trace.find(what + routine + "\r\n"), std::string::npos) << what << routine;
}

TEST_F(LateCallTest, ApartmentsShareNoState) {
    const auto window = HiddenWindow::get();
    const auto settings = SharedSettings();
    gErrorHandler().CallStackPush(L"first", L"");
    UpdateLock::Lock();
    DWORD second = 0, ticked = 0;
    std::thread([&] {
        CoInitialize(nullptr);
        {
            second = GetCurrentThreadId();
            TestSource source;
            source.download = [&](_CSession*) {
                ticked = GetCurrentThreadId();
                return S_OK;
            };
            const auto session = New<::CSession, _CSession>();
            session->putref_DataSource(&source);
            SetParameter(session, L"PERIOD", 20L);
            session->Start();
            RunLoop(enough, [&] { return source.downloads >= 3; });
            session->Done();
            EXPECT_NE(HiddenWindow::get()->Handle(), window->Handle());
            EXPECT_NE(SharedSettings(), settings);
            EXPECT_EQ(gErrorHandler().ErrorHandlerActions(), CErrorHandler::dialog);
            gErrorHandler().ErrorHandlerActions(CErrorHandler::errorLog);
            gErrorHandler().HandleError(L"");
        }
        CoUninitialize();
    }).join();
    EXPECT_EQ(ticked, second) << "its ticks come on its own thread, whoever is locked elsewhere";
    const std::wstring errors = TakeErrors();
    EXPECT_NE(errors.find(L"in Unknown"), std::wstring::npos) << testing::PrintToString(errors);
    UpdateLock::Unlock();
    gErrorHandler().CallStackPop();
}

}  // namespace
}  // namespace vtdl::tests
