// Sessions: the order of reports, statuses, failures; periodic ones with the system's timers and a
// host's message loop.

#include "support/Downloads.h"
#include "support/HostLoop.h"
#include "timers/cTimer.h"

namespace vtdl::tests {
namespace {

class SessionTest : public LibraryTest {
protected:
    SessionTest() {
        session->putref_DataSource(&source);
        session->putref_Progressor(&sink);
    }

    /// The periodic one downloads with the source's clone.
    void Start(long period) {
        source.clone = &clone;
        SetParameter(session, L"PERIOD", _variant_t(period));
        EXPECT_EQ(session->Start(), S_OK);
        EXPECT_EQ(StatusOf(session), vtdlSessionStatusIdle);
    }
    bool RunUntil(int downloads) {
        return RunLoop(enough, [&] { return clone.downloads >= downloads; });
    }

    TestSource source, clone;
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
}

TEST_F(SessionTest, PeriodsThatMakeASingleRun) {
    for (const _variant_t& period : {_variant_t(), _variant_t(L""), _variant_t(L"soon"),
                                     _variant_t(0L), _variant_t(-5L), _variant_t(1e12)}) {
        SCOPED_TRACE(TextOf(period));
        sink.events.clear();
        SetParameter(session, L"PERIOD", period);
        EXPECT_EQ(session->Start(), S_OK);
        EXPECT_EQ(sink.events, (Events{L"DataReady", L"Done 0"}));
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

TEST_F(SessionTest, DownloadsAtEveryTickUntilDone) {
    Start(50);
    ASSERT_TRUE(RunUntil(3));
    EXPECT_EQ(session->Abort(), S_OK);
    EXPECT_EQ(source.aborts, 1) << "the source is told,";
    EXPECT_EQ(clone.aborts, 0) << "not the clone that downloads";

    EXPECT_EQ(session->Done(), S_OK);
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusDone);
    EXPECT_EQ(clone.aborts, 1);
    const int downloads = clone.downloads;
    RunLoop(150);
    EXPECT_EQ(clone.downloads, downloads);
    EXPECT_EQ(source.downloads, 0);
    Events expected(static_cast<std::size_t>(downloads), L"DataReady");
    expected.push_back(L"Done 0");
    EXPECT_EQ(sink.events, expected);
}

TEST_F(SessionTest, UpdateLockSkipsTicks) {
    const auto manager = New<::CManager, _CManager>(), other = New<::CManager, _CManager>();
    // Unlocking too often counts below zero, and the next lock starts from one.
    for (_CManager* const unlocking : {manager, other, manager}) unlocking->UnlockUpdate();
    Start(10);
    manager->LockUpdate();
    RunLoop(150);
    EXPECT_EQ(clone.downloads, 0);
    other->UnlockUpdate();
    EXPECT_TRUE(RunUntil(2)) << "the lock is shared by all managers";
    session->Done();
}

// What a host does in its sink happens inside a tick.
TEST_F(SessionTest, SessionsEndFromTheirOwnTick) {
    for (const bool isReleased : {false, true}) {
        const int before = clone.downloads;
        sink.events.clear();
        sink.onEvent = [&](const std::wstring& event, _CSession* current) {
            if (isReleased)
                session = nullptr;
            else if (event == L"DataReady")
                current->Done();
        };
        Start(10);
        ASSERT_TRUE(RunUntil(before + 1));
        RunLoop(100);
        EXPECT_EQ(clone.downloads, before + 1);
        EXPECT_EQ(sink.events,
                  isReleased ? Events{L"DataReady"} : (Events{L"DataReady", L"Done 0"}));
    }
}

TEST_F(SessionTest, QuitDuringAWaitIsPostedAgain) {
    Start(100);
    PostQuitMessage(9);
    EXPECT_EQ(session->Done(), S_OK);
    MSG message;
    ASSERT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 9u);
}

/// What a timer fires at; messages that run meanwhile must not bring the next tick.
class Owner : public iTimer {
public:
    int fired = 0, depth = 0;
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 1; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP Fire(long) override {
        EXPECT_EQ(++depth, 1);
        if (++fired == 1) RunLoop(150);
        return --depth, S_OK;
    }
};

TEST_F(SessionTest, TimersFireOnceAtATime) {
    const auto window = HiddenWindow::get();
    Owner owner;
    cTimer timer;
    timer.StartTimer(10, &owner, window->Handle(), 4711);
    EXPECT_TRUE(RunLoop(enough, [&] { return owner.fired > 2; }));
}

}  // namespace
}  // namespace vtdl::tests
