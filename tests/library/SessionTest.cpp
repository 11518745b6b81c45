// Sessions: the order of reports, statuses, failures, and what makes a single run.

#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

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

TEST_F(SessionTest, ReportsAndStatusesInOrder) {
    std::vector<vtdlSessionStatus> statuses;
    sink.onEvent = [&](const std::wstring& event, _CSession* caller) {
        EXPECT_EQ(caller, session.GetInterfacePtr());
        statuses.push_back(StatusOf(caller));
        source.AddRef();
        const ULONG holders = source.Release();
        EXPECT_TRUE(event != L"Done 0" || holders == 1) << "the active source is let go before";
    };
    source.download = [](_CSession* current) {
        const Ptr<_IProgressCallBack> progress(current);
        IUnknown* caller = current;
        _bstr_t text(L"halfway");
        progress->Start(&caller);
        progress->Progress(&caller, 50, &text.GetBSTR());
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
    EXPECT_EQ(session->Abort(), S_OK);
    EXPECT_EQ(source.aborts, 2);
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusIdle);
}

// A failing download goes to the error handler; the session ends and can start again.
TEST_F(SessionTest, FailuresAreReportedAndTheSessionGoesOn) {
    source.download = [&](_CSession*) { return source.downloads == 1 ? E_FAIL : S_OK; };
    EXPECT_EQ(session->Start(), S_OK);
    EXPECT_NE(TakeErrors().find(L"in vtdl.CSession.NextTick"), std::wstring::npos);
    EXPECT_EQ(sink.events.back(), L"Done 0");
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusDone);
    sink.events.clear();
    EXPECT_EQ(session->Start(), S_OK);
    EXPECT_EQ(sink.events, (Events{L"DataReady", L"Done 0"}));
}

TEST_F(SessionTest, PeriodsThatMakeASingleRun) {
    _variant_t null;
    null.ChangeType(VT_NULL);
    for (const _variant_t& period :
         {_variant_t(), null, _variant_t(L""), _variant_t(L"soon"), _variant_t(0L), _variant_t(-5L),
          _variant_t(0.4), _variant_t(1e12), _variant_t(L"0")}) {
        SCOPED_TRACE(TextOf(period));
        sink.events.clear();
        SetParameter(session, L"PERIOD", period);
        EXPECT_EQ(session->Start(), S_OK);
        EXPECT_EQ(sink.events, (Events{L"DataReady", L"Done 0"}));
        EXPECT_EQ(StatusOf(session), vtdlSessionStatusDone);
    }
}

// Nothing else would end what it passes on to itself.
TEST_F(SessionTest, ItsOwnProgressor) {
    IUnknown* caller = session;
    const Ptr<_IProgressCallBack> progress(session);
    session->putref_Progressor(progress);
    EXPECT_EQ(progress->Start(&caller), S_OK);
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

}  // namespace
}  // namespace vtdl::tests
