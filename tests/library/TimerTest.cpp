// Periodic sessions and their timers, with the system's timers and a host's message loop.

#include "support/Downloads.h"
#include "support/HostLoop.h"
#include "timers/cTimer.h"

namespace vtdl::tests {
namespace {

constexpr DWORD coarseness = 32;  // of the tick count, at both ends

class TimerTest : public LibraryTest {
protected:
    TimerTest() {
        source.clone = &clone;
        session->putref_DataSource(&source);
        session->putref_Progressor(&sink);
    }

    void Start(long period) {
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

TEST_F(TimerTest, DownloadsAtEveryTickUntilDone) {
    Start(50);
    Sleep(120);
    EXPECT_EQ(clone.downloads, 0) << "only the message loop brings ticks";
    EXPECT_EQ(sink.events, Events{});
    ASSERT_TRUE(RunUntil(3));
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusIdle);
    EXPECT_EQ(session->Abort(), S_OK);
    EXPECT_EQ(source.aborts, 1) << "the source is told,";
    EXPECT_EQ(clone.aborts, 0) << "not the clone that downloads";

    const DWORD start = GetTickCount();
    EXPECT_EQ(session->Done(), S_OK);
    EXPECT_GE(GetTickCount() - start, 50 - coarseness);
    EXPECT_EQ(StatusOf(session), vtdlSessionStatusDone);
    EXPECT_EQ(clone.aborts, 1);
    const int downloads = clone.downloads;
    RunLoop(150);
    EXPECT_EQ(clone.downloads, downloads);
    EXPECT_EQ(source.downloads, 0);
    Events expected(static_cast<std::size_t>(downloads), L"DataReady");
    expected.push_back(L"Done 0");
    EXPECT_EQ(sink.events, expected);

    Start(10);
    EXPECT_TRUE(RunUntil(downloads + 2)) << "a session can be started again";
    session->Done();
}

TEST_F(TimerTest, TicksWhileBusyAreDropped) {
    int depth = 0, deepest = 0;
    clone.download = [&](_CSession* current) {
        deepest = std::max(deepest, ++depth);
        if (clone.downloads == 1) RunLoop(200);  // some 20 ticks fall into the first download
        EXPECT_EQ(StatusOf(current), vtdlSessionStatusBusy);
        --depth;
        return S_OK;
    };
    Start(10);
    EXPECT_TRUE(RunUntil(3)) << "later ticks are as before";
    EXPECT_EQ(deepest, 1);
    session->Done();
}

TEST_F(TimerTest, UpdateLockSkipsTicks) {
    const auto manager = New<::CManager, _CManager>(), other = New<::CManager, _CManager>();
    Start(10);
    manager->LockUpdate();
    RunLoop(150);
    EXPECT_EQ(clone.downloads, 0);
    other->UnlockUpdate();
    EXPECT_TRUE(RunUntil(2)) << "the lock is shared by all managers";
    session->Done();
}

TEST_F(TimerTest, ReleasingTheSessionStopsIt) {
    Start(60);
    const DWORD start = GetTickCount();
    session = nullptr;
    EXPECT_GE(GetTickCount() - start, 60 - coarseness)
        << "a tick posted already has to find the timer gone";
    RunLoop(150);
    EXPECT_EQ(clone.downloads, 0);
}

// What a host does in its sink happens inside a tick.
TEST_F(TimerTest, SessionsEndFromTheirOwnTick) {
    for (const bool isReleased : {false, true}) {
        const int before = clone.downloads;
        sink.events.clear();
        sink.onEvent = [&](const std::wstring& event, _CSession* current) {
            if (event != L"DataReady") return;
            if (isReleased)
                session = nullptr;
            else
                EXPECT_EQ(current->Done(), S_OK);
        };
        Start(10);
        ASSERT_TRUE(RunUntil(before + 1));
        RunLoop(100);
        EXPECT_EQ(clone.downloads, before + 1);
        EXPECT_EQ(sink.events,
                  isReleased ? Events{L"DataReady"} : (Events{L"DataReady", L"Done 0"}));
    }
}

TEST_F(TimerTest, QuitDuringAWaitIsPostedAgain) {
    Start(100);
    PostQuitMessage(9);
    EXPECT_EQ(session->Done(), S_OK);
    MSG message;
    ASSERT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 9u);
}

/// What a timer fires at.
class Owner : public iTimer {
public:
    int fired = 0;
    std::function<void()> onFire;
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 1; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP Fire(long) override {
        ++fired;
        onFire();
        return S_OK;
    }
};

TEST_F(TimerTest, TimersFireOnceAtATimeAndNotAfterTheirEnd) {
    const auto window = HiddenWindow::get();
    Owner owner;
    bool isInside = false;
    owner.onFire = [&] {
        EXPECT_FALSE(std::exchange(isInside, true));
        if (owner.fired == 1) RunLoop(150);
        isInside = false;
    };
    {
        cTimer timer;
        timer.StartTimer(10, &owner, window->Handle(), 4711);
        EXPECT_TRUE(RunLoop(enough, [&] { return owner.fired > 2; }));
    }
    const int fired = owner.fired;
    RunLoop(50);
    EXPECT_EQ(owner.fired, fired);
}

}  // namespace
}  // namespace vtdl::tests
