// What late-bound hosts are told when a call goes wrong, and what two apartments have of each
// other.

#include <thread>

#include "timers/cTimer.h"
#include "errors/CErrorHandler.h"
#include "support/Downloads.h"
#include "support/HostLoop.h"
#include "settings/SharedSettings.h"
#include "objectmodel/mGlobals.h"

namespace vtdl::tests {
namespace {

class LateCallTest : public LibraryTest {};

constexpr WORD reading = DISPATCH_METHOD | DISPATCH_PROPERTYGET;

_variant_t ReferenceTo(VARIANT* target) {
    _variant_t reference;
    reference.vt = VT_BYREF | VT_VARIANT;
    reference.pvarVal = target;
    return reference;
}

TEST_F(LateCallTest, ErrorsCarryNumberSourceAndText) {
    _variant_t keys;
    const std::wstring notSet = L"800a005b VTDL33 Object variable or With block variable not set";
    const std::wstring mismatch = L"800a000d VTDL33 Type mismatch";
    const struct {
        const wchar_t* className;
        const wchar_t* member;
        WORD flags;
        std::vector<_variant_t> arguments;
        std::wstring error;
    } cases[] = {
        {L"CXMLSettings",
         L"EnumerateAllKeys",
         reading,
         {L"a", ReferenceTo(&keys)},
         L"80044511 CXMLSettings.SaveSetting Object not properly initialized"},
        {L"CXMLSettings",
         L"LoadFile",
         reading,
         {},
         L"80044511 VTDL33.CXMLSettings Object not properly initialized"},
        {L"CSession",
         L"Error",
         reading,
         {L"x"},
         L"800a0005 VTDL33 Invalid procedure call or argument: x"},
        {L"CSession", L"Progressor", DISPATCH_PROPERTYPUTREF, {L"no object"}, mismatch},
        {L"CDataSources", L"Add", reading, {L"no object"}, mismatch},
        {L"CSession", L"Data", reading, {L"TICKER"}, notSet},
        {L"CSession", L"DataSource", reading, {1L}, notSet},
        {L"CSession", L"Progressor", reading, {1L}, notSet},
        {L"CSession", L"UserData", reading, {1L}, L"8002000e  "},
        {L"CSession", L"UserData", DISPATCH_PROPERTYPUT, {ReferenceTo(nullptr)}, L"80004003  "},
        {L"CDataField", L"Data", DISPATCH_PROPERTYPUT, {ReferenceTo(nullptr)}, L"80004003  "},
        {L"CParameters", L"Item", reading, {ReferenceTo(nullptr)}, L"80004003  "},
    };
    for (const auto& expected : cases) {
        const Called called =
            Invoke(New(expected.className), expected.member, expected.flags, expected.arguments);
        wchar_t number[16];
        swprintf(number, std::size(number), L"%lx ", called.hr);
        EXPECT_EQ(number + called.source + L" " + called.description, expected.error)
            << testing::PrintToString(std::wstring(expected.member));
    }
}

// A bare number must not be dressed in the texts of an earlier failure.
TEST_F(LateCallTest, BareNumbersHaveNoTextsOfEarlierErrors) {
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    const std::function<HRESULT()> calls[] = {
        [&] { return settings->get_FileName(nullptr); },
        [&] { return New<::CSession, _CSession>()->get_ID(nullptr); },
        [&] {
            return settings->Invoke(999, GUID{}, 0, reading, nullptr, nullptr, nullptr, nullptr);
        },
        [&] { return settings->GetTypeInfo(7, 0, std::make_unique<ITypeInfo*>().get()); },
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
    _variant_t keys, section(L"a"), count;
    _variant_t arguments[] = {ReferenceTo(&keys), section};
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

TEST_F(LateCallTest, HostsGetTheirOwnProgressorBack) {
    const auto session = New(L"CSession");
    ScriptSink script;
    Put(session, L"Progressor", _variant_t(static_cast<IDispatch*>(&script)));
    EXPECT_EQ(GetObject(session, L"Progressor").GetInterfacePtr(), &script);
    Put(session, L"Progressor", _variant_t(static_cast<IDispatch*>(nullptr)));
    EXPECT_EQ(GetObject(session, L"Progressor"), nullptr);
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

// A session of a host's own may have nothing to give.
TEST_F(LateCallTest, DownloadsForASessionWithoutParametersAreReported) {
    HostSession bare;
    _CSession* session = &bare;
    for (const wchar_t* name : {L"CDataSourceYahooHitorical", L"CDataSourceGoogleHitorical",
                                L"CDataSourceCBOE", L"CDataSourcePifin"}) {
        EXPECT_EQ(Ptr<_CDataSource>(New(name))->Download(&session), S_OK);
        EXPECT_NE(TakeErrors().find(L"Object variable or With block"), std::wstring::npos) << name;
    }
}

TEST_F(LateCallTest, EveryRoutineShowsInTheTrace) {
    const auto session = New<::CSession, _CSession>();
    const Ptr<_CDataSource> source(New(L"CDataSourceCBOE"));
    const Ptr<_IProgressCallBack> progress(session);
    gErrorHandler().TracingEnabled(true);
    EXPECT_EQ(session->Start(), E_INVALIDARG);
    EXPECT_EQ(session->NextTick(), E_INVALIDARG);
    EXPECT_EQ(session->Abort(), E_INVALIDARG);
    progress->Done(nullptr, 504);
    BSTR nothing = nullptr;
    EXPECT_EQ(source->Search(nullptr, &nothing), E_NOTIMPL);
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
    struct Job {
        TestSource source;
        Ptr<_CSession> session = New<::CSession, _CSession>();
        DWORD thread = 0;
        Job() {
            source.download = [this](_CSession*) {
                thread = GetCurrentThreadId();
                return S_OK;
            };
            session->putref_DataSource(&source);
            SetParameter(session, L"PERIOD", 20L);
            session->Start();
        }
    };
    DWORD second = 0, ticked = 0;
    std::thread([&] {
        CoInitialize(nullptr);
        {
            Job job;
            second = GetCurrentThreadId();
            RunLoop(enough, [&] { return job.source.downloads >= 3; });
            ticked = job.thread;
            job.session->Done();
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
