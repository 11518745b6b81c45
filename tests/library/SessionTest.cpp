// Sessions: the order of reports, statuses, the error record, sinks of every kind, and what data
// sources give their sessions.

#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

constexpr long errorOf(unsigned long number) { return static_cast<long>(number); }

Ptr<_IProgressCallBack> ProgressOf(_CSession* session) { return Ptr<_IProgressCallBack>(session); }

void Report(_CSession* session, long number) {
    IUnknown* caller = session;
    ProgressOf(session)->Done(&caller, number);
}

class SessionTest : public LibraryTest {
protected:
    SessionTest() {
        session->putref_DataSource(&source);
        session->putref_Progressor(&sink);
    }

    TestSource source;
    ProgressSink sink;
    Ptr<_CSession> session = New<::CSession, _CSession>();
};

TEST_F(SessionTest, NewSession) {
    const auto fresh = New<::CSession, _CSession>(), other = New<::CSession, _CSession>();
    EXPECT_EQ(StatusOf(fresh), vtdlSessionStatusNew);
    EXPECT_EQ(ErrorOf(fresh), L"0 0 ");
    long identifiers[2] = {}, count = -1;
    fresh->get_ID(&identifiers[0]);
    other->get_ID(&identifiers[1]);
    EXPECT_NE(identifiers[0], identifiers[1]);
    Ptr<_CParameters> parameters;
    fresh->get_Parameters(&parameters);
    parameters->get_Count(&count);
    EXPECT_EQ(count, 0);
    Ptr<_CData> data;
    Ptr<_IProgressCallBack> progressor;
    Ptr<_CDataSource> dataSource;
    EXPECT_EQ(fresh->get_Data(&data), S_OK);
    EXPECT_EQ(fresh->get_Progressor(&progressor), S_OK);
    EXPECT_EQ(fresh->get_DataSource(&dataSource), S_OK);
    EXPECT_FALSE(data || progressor || dataSource);
}

TEST_F(SessionTest, ReportsAndStatusesInOrder) {
    std::vector<vtdlSessionStatus> statuses;
    sink.onEvent = [&](const std::wstring& event, _CSession* caller) {
        EXPECT_EQ(caller, session.GetInterfacePtr());
        statuses.push_back(StatusOf(caller));
        source.AddRef();
        const ULONG holders = source.Release();
        if (event == L"Done 0") {
            EXPECT_EQ(holders, 1u) << "the active source is let go before";
        }
    };
    source.download = [](_CSession* current) {
        const auto progress = ProgressOf(current);
        IUnknown* caller = current;
        const _bstr_t text(L"halfway");
        BSTR status = text;
        progress->Start(&caller);
        progress->Progress(&caller, 50, &status);
        EXPECT_EQ(current->NextTick(), S_OK) << "skipped while busy";
        progress->DataReady(&caller);
        progress->Done(&caller, 0);
        return S_OK;
    };
    EXPECT_EQ(session->Start(), S_OK);
    EXPECT_EQ(sink.events, (Events{L"Start", L"Progress 50 [halfway]", L"DataReady", L"Done 0"}));
    EXPECT_EQ(statuses, (std::vector{vtdlSessionStatusBusy, vtdlSessionStatusBusy,
                                     vtdlSessionStatusBusy, vtdlSessionStatusDone}));
    EXPECT_EQ(source.downloads, 1);
    EXPECT_EQ(source.aborts, 1);

    EXPECT_EQ(session->NextTick(), S_OK) << "one more download without a start";
    EXPECT_EQ(source.downloads, 2);
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusIdle);
    EXPECT_EQ(session->Abort(), S_OK);
    EXPECT_EQ(source.aborts, 2);
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusIdle);
}

TEST_F(SessionTest, ErrorTexts) {
    const std::pair<unsigned long, const wchar_t*> texts[] = {
        {0x800C0002, L"Invalid URL"},
        {0x800C0003, L"No session"},
        {0x800C0004, L"Cannot connect"},
        {0x800C0005, L"Unknown error"},
        {0x800C0006, L"Object not found"},
        {0x800C0007, L"Data not available"},
        {0x800C0008, L"Download failure"},
        {0x800C0009, L"Authentication required"},
        {0x800C000A, L"No valid media"},
        {0x800C000B, L"Connection timeout"},
        {0x800C000C, L"Invalid request"},
        {0x800C000F, L"Cannot load data"},
        {0x800C0010, L"Cannot instantiate object"},
        {0x800C0013, L"Unknown query option"},
        {0x800C0014, L"Redirect failed"},
        {0x800C0015, L"Redirect to dir"},
        {0x800C0016, L"Cannot lock request"},
        {0x800C0100, L"Code download declined"},
        {0x800C0300, L"Cannot replace SFP file"},
        {500, L"An internal server error occurred. Please try again later."},
        {501, L"There are no All Markets results"},
        {502, L"Internal Server Error"},
        {503, L"Bad Request.Your client has issued a malformed or illegal request."},
        {504, L"Not Found"},
        {404, L"Unknown error"},
        {1, L"Unknown error"},
    };
    for (const auto& [number, text] : texts) {
        Report(session, errorOf(number));
        EXPECT_EQ(ErrorOf(session), L"1 " + std::to_wstring(errorOf(number)) + L" " + text);
    }
    EXPECT_EQ(sink.events, Events{}) << "the host is told at the end only";
}

TEST_F(SessionTest, ErrorStaysAfterALaterSuccess) {
    source.download = [&](_CSession* current) {
        Report(current, source.downloads == 1 ? errorOf(0x800C0004) : 0);
        return S_OK;
    };
    for (int run = 0; run < 2; ++run) {
        session->Start();
        EXPECT_EQ(ErrorOf(session), L"1 -2146697212 Cannot connect");
        EXPECT_EQ(sink.events.back(), L"Done -2146697212");
    }
}

TEST_F(SessionTest, WithoutADataSource) {
    const auto empty = New<::CSession, _CSession>();
    const std::tuple<const wchar_t*, HRESULT (STDMETHODCALLTYPE _CSession::*)()> members[] = {
        {L"Start", &_CSession::Start},
        {L"NextTick", &_CSession::NextTick},
        {L"Abort", &_CSession::Abort}};
    for (const auto& [name, member] : members) {
        const std::wstring routine = std::wstring(L"vtdl.CSession.") + name;
        EXPECT_EQ((empty.GetInterfacePtr()->*member)(), E_INVALIDARG);
        const ErrorInformation information = TakeErrorInformation();
        EXPECT_EQ(information.source, routine);
        EXPECT_NE(information.description, L"");
        const Called called = Invoke(empty, name, DISPATCH_METHOD);
        EXPECT_EQ(called.hr, E_INVALIDARG);
        EXPECT_EQ(called.source, routine);
        EXPECT_EQ(called.description, information.description);
    }
    EXPECT_EQ(StatusOf(empty), vtdlSessionStatusNew);
    EXPECT_EQ(empty->Done(), S_OK);
    EXPECT_EQ(StatusOf(empty), vtdlSessionStatusDone);
}

// A failing download or sink goes to the error handler; the session ends and can start again.
TEST_F(SessionTest, FailuresAreReportedAndTheSessionGoesOn) {
    source.download = [](_CSession*) { return E_FAIL; };
    EXPECT_EQ(session->Start(), S_OK);
    EXPECT_NE(TakeErrors().find(L"in vtdl.CSession.NextTick"), std::wstring::npos);
    EXPECT_EQ(sink.events.back(), L"Done 0");
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusDone);

    source.download = [](_CSession*) { return S_OK; };
    sink.events.clear();
    EXPECT_EQ(session->Start(), S_OK);
    EXPECT_EQ(sink.events, (Events{L"DataReady", L"Done 0"}));
}

TEST_F(SessionTest, PeriodsThatMakeASingleRun) {
    session->Start();
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusDone) << "no period";
    _variant_t null;
    null.vt = VT_NULL;
    for (const _variant_t& period :
         {_variant_t(), null, _variant_t(L""), _variant_t(L"soon"), _variant_t(0L), _variant_t(-5L),
          _variant_t(0.4), _variant_t(1e12), _variant_t(L"0")}) {
        SCOPED_TRACE(testing::PrintToString(TextOf(period)));
        sink.events.clear();
        SetParameter(session, L"PERIOD", period);
        EXPECT_EQ(session->Start(), S_OK);
        EXPECT_EQ(sink.events, (Events{L"DataReady", L"Done 0"}));
        EXPECT_EQ(StatusOf(session), vtdlSessionStatusDone);
    }
}

TEST_F(SessionTest, PlainDataSourceDemonstratesProgress) {
    const auto plain = New<::CDataSource, _CDataSource>();
    Job job(plain);
    job.Start();
    Events expected{L"Start"};
    for (int percent = 1; percent <= 100; ++percent)
        expected.push_back(L"Progress " + std::to_wstring(percent) + L" []");
    expected.insert(expected.end(), {L"DataReady", L"Done 0"});
    EXPECT_EQ(job.sink.events, expected);
}

/// A sink whose method fails as a script's does.
struct RaisingSink : ScriptSink {
    STDMETHODIMP Invoke(DISPID member, REFIID id, LCID locale, WORD flags, DISPPARAMS* parameters,
                        VARIANT* result, EXCEPINFO* exception, UINT* odd) override {
        ScriptSink::Invoke(member, id, locale, flags, parameters, result, exception, odd);
        exception->scode = errorOf(0x800A0005);
        exception->bstrSource = SysAllocString(L"the script");
        exception->bstrDescription = SysAllocString(L"went wrong");
        return DISP_E_EXCEPTION;
    }
};

TEST_F(SessionTest, ScriptSinks) {
    const auto plain = New<::CDataSource, _CDataSource>();
    Ptr<_CSession> job;
    plain->CreateSession(&job);
    {
        ScriptSink script;
        Put(job, L"Progressor", _variant_t(static_cast<IDispatch*>(&script)));
        EXPECT_EQ(job->Start(), S_OK);
        ASSERT_EQ(script.events.size(), 103u);
        EXPECT_EQ(script.events[0], L"Start");
        EXPECT_EQ(script.events[100], L"Progress 100 ");
        EXPECT_EQ(script.events[101], L"DataReady");
        EXPECT_EQ(script.events[102], L"Done 0");
        Put(job, L"Progressor", _variant_t(static_cast<IDispatch*>(nullptr)));
    }
    {
        ScriptSink partial;
        partial.methods = {L"done"};
        Put(job, L"Progressor", _variant_t(static_cast<IDispatch*>(&partial)));
        EXPECT_EQ(job->Start(), S_OK);
        EXPECT_EQ(partial.events, Events{L"done 0"});
        job->putref_Progressor(nullptr);
    }
    RaisingSink raising;
    raising.methods = {L"DataReady", L"Done"};
    Put(job, L"Progressor", _variant_t(static_cast<IDispatch*>(&raising)));
    EXPECT_EQ(job->Start(), S_OK);
    EXPECT_EQ(raising.events, (Events{L"DataReady", L"Done 0"}));
    EXPECT_EQ(StatusOf(job), vtdlSessionStatusDone);
    const std::wstring errors = TakeErrors();
    for (const wchar_t* part : {L"went wrong", L"vtdl.CSession.NextTick", L"vtdl.CSession.Done"})
        EXPECT_NE(errors.find(part), std::wstring::npos) << testing::PrintToString(errors);
    job->putref_Progressor(nullptr);
}

TEST_F(SessionTest, ProgressorThroughInvoke) {
    Put(session, L"Progressor", _variant_t(static_cast<IDispatch*>(nullptr)));
    session->Start();
    EXPECT_EQ(sink.events, Events{});
    Put(session, L"Progressor", _variant_t(static_cast<IDispatch*>(&sink)));
    session->Start();
    EXPECT_EQ(sink.events, (Events{L"DataReady", L"Done 0"}));
}

// Nothing else would end what it passes on to itself.
TEST_F(SessionTest, ItsOwnProgressor) {
    IUnknown* caller = session;
    session->putref_Progressor(ProgressOf(session));
    EXPECT_EQ(ProgressOf(session)->Start(&caller), S_OK);
    EXPECT_NE(TakeErrors().find(L"Out of stack space"), std::wstring::npos);
    session->putref_Progressor(nullptr);
}

// A list of tickers, each started by the end of the one before.
TEST_F(SessionTest, ChainsOfSessions) {
    sink.onEvent = [&](const std::wstring& event, _CSession* caller) {
        if (event == L"Done 0" && source.downloads < 300) caller->Start();
    };
    session->Start();
    EXPECT_EQ(source.downloads, 300);
}

TEST_F(SessionTest, ErrorThroughInvoke) {
    Report(session, errorOf(0x800C0004));
    // Not copied: Wine does not copy fields of enumeration types.
    const Called called = Invoke(session, L"Error", DISPATCH_PROPERTYGET);
    const VARIANT& record = called.value;
    ASSERT_EQ(record.vt, VT_RECORD);
    const auto* error = static_cast<const vtdlSessionError*>(record.pvRecord);
    EXPECT_EQ(error->ErrorType, vtdlSessionErrorDownload);
    EXPECT_EQ(error->ErrorNumber, errorOf(0x800C0004));
    EXPECT_STREQ(error->ErrorDescription, L"Cannot connect");
    EXPECT_EQ(error->NewVersionAvailable, VARIANT_FALSE);
    ULONG size = 0;
    EXPECT_EQ(record.pRecInfo->GetSize(&size), S_OK);
    EXPECT_EQ(size, sizeof *error);
    const std::pair<const wchar_t*, _variant_t> fields[] = {
        {L"ErrorType", 1L},
        {L"ErrorNumber", errorOf(0x800C0004)},
        {L"ErrorDescription", L"Cannot connect"},
        {L"NewVersionAvailable", false}};
    for (const auto& [name, value] : fields) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
        EXPECT_EQ(TextOf(Get(session, L"error", {name})), TextOf(value));
    }
}

TEST_F(SessionTest, UserDataAndTagTakeValuesAndObjects) {
    for (const wchar_t* name : {L"UserData", L"Tag"}) {
        EXPECT_EQ(Get(session, name).vt, VT_EMPTY);
        Put(session, name, _variant_t(4.5));
        EXPECT_EQ(Get(session, name), _variant_t(4.5));
        TestSource object;
        Put(session, name, _variant_t(static_cast<IDispatch*>(&object)));
        _variant_t value = Get(session, name);
        EXPECT_EQ(value.vt, VT_DISPATCH);
        EXPECT_EQ(value.pdispVal, &object);
        value.Clear();
        // A script's variable comes by reference; what is kept is its value.
        _variant_t variable(L"text"), reference;
        reference.vt = VT_BYREF | VT_VARIANT;
        reference.pvarVal = &variable;
        Put(session, name, reference);
        variable = 1L;
        EXPECT_EQ(TextOf(Get(session, name)), L"text");
        reference.vt = VT_EMPTY;
    }
    Put(session, L"Tag", _variant_t(1L));
    EXPECT_EQ(TextOf(Get(session, L"UserData")), L"text");
}

TEST_F(SessionTest, SessionsOfASourceAreIndependent) {
    const auto prices = New<::CDataSourceYahooHitorical, _CDataSource>();
    const Job first(prices), second(prices);
    Ptr<_CParameters> parameters, others, own;
    first.session->get_Parameters(&parameters);
    second.session->get_Parameters(&others);
    prices->get_Parameters(&own);
    long counts[3] = {};
    parameters->get_Count(&counts[0]);
    own->get_Count(&counts[1]);
    SetParameter(first.session, L"TICKER", L"DIA");
    SetParameter(first.session, L"PERIODICITY", L"WEEKLY");
    EXPECT_EQ(TextOf(ParameterOf(others, L"TICKER")), L"");
    EXPECT_EQ(TextOf(ParameterOf(others, L"PERIODICITY")), L"DAILY");
    EXPECT_EQ(TextOf(ParameterOf(others, L"ADJUST VALUES")), L"True");
    own->get_Count(&counts[2]);
    EXPECT_EQ(counts[0], 5);
    EXPECT_EQ(counts[1], 3);
    EXPECT_EQ(counts[2], 3);
}

TEST_F(SessionTest, SourcesKeepTheirParametersInTheSettings) {
    WriteSettings({{"yahoohist/parameters", "name", "Saved"}});
    // The store is written when its last user goes, which a manager is here.
    {
        const auto manager = New<::CManager, _CManager>();
        const auto prices = New<::CDataSourceYahooHitorical, _CDataSource>();
        Ptr<_CDataSource> clone;
        Ptr<_CParameters> parameters, cloned;
        prices->get_Parameters(&parameters);
        EXPECT_EQ(TextOf(ParameterOf(parameters, L"DATASERVER")), L"YAHOO");
        EXPECT_EQ(prices->Clone(&clone), S_OK);
        clone->get_Parameters(&cloned);
        EXPECT_NE(parameters.GetInterfacePtr(), cloned.GetInterfacePtr());
        // What a source says about itself cannot be edited, not in the file either.
        EXPECT_EQ(TextOf(ParameterOf(cloned, L"NAME")), L"Yahoo! Finance (historical data)");

        // An entry that a host adds is kept with the others; a clone has what was last saved.
        Ptr<_CParameter> own;
        _variant_t key(L"MINE");
        parameters->Item(&key, &own);
        own->put_Value(_variant_t(L"kept"));
        Ptr<_CDataSource> unsaved;
        prices->Clone(&unsaved);
        Ptr<_CParameters> declared;
        VARIANT_BOOL exists = VARIANT_TRUE;
        unsaved->get_Parameters(&declared);
        declared->Exists(&key, &exists);
        EXPECT_EQ(exists, VARIANT_FALSE);
    }
    const std::string file = ReadAll("VTDL33.Settings.xml");
    EXPECT_NE(file.find("kept"), std::string::npos) << file;
    EXPECT_NE(file.find("yahoodividends/parameters"), std::string::npos) << file;
}

}  // namespace
}  // namespace vtdl::tests
