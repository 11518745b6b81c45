// Periodic sessions and their timers, with the system's timers and a host's message loop.

#include <optional>

#include "timers/cTimer.h"
#include "support/Downloads.h"
#include "support/HostLoop.h"

namespace vtdl::tests {
namespace {

constexpr DWORD coarseness = 32;  // of the tick count, at both ends

/// The exit code of a waiting WM_QUIT, taken.
std::optional<int> TakeQuit() {
    MSG message;
    if (!PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) return std::nullopt;
    return static_cast<int>(message.wParam);
}

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
    RunLoop(200);
    EXPECT_EQ(clone.downloads, downloads);
    EXPECT_EQ(source.downloads, 0);
    Events expected(static_cast<std::size_t>(downloads), L"DataReady");
    expected.push_back(L"Done 0");
    EXPECT_EQ(sink.events, expected);

    Start(10);
    EXPECT_TRUE(RunUntil(downloads + 2)) << "a session can be started again";
    session->Done();
}

TEST_F(TimerTest, FirstTickComesAfterThePeriod) {
    const DWORD start = GetTickCount();
    Start(150);
    ASSERT_TRUE(RunUntil(1));
    EXPECT_GE(GetTickCount() - start, 150 - coarseness);
    session->Done();
}

TEST_F(TimerTest, TicksWhileBusyAreDropped) {
    int depth = 0, deepest = 0;
    clone.download = [&](_CSession* current) {
        deepest = std::max(deepest, ++depth);
        if (clone.downloads == 1) {
            RunLoop(200);
            EXPECT_EQ(clone.downloads, 1) << "some 20 ticks fell into the first download";
        }
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

// Unlocking too often counts below zero, and the next lock starts from one.
TEST_F(TimerTest, UpdateLockCounts) {
    const auto manager = New<::CManager, _CManager>();
    const auto isLocked = [&] {
        const int before = source.downloads;
        session->NextTick();
        return source.downloads == before;
    };
    const std::pair<bool, bool> steps[] = {{true, true},   {true, true},   {false, true},
                                           {false, false}, {false, false}, {false, false},
                                           {true, true},   {false, false}};
    int step = 0;
    for (const auto& [locks, expected] : steps) {
        EXPECT_EQ(locks ? manager->LockUpdate() : manager->UnlockUpdate(), S_OK);
        EXPECT_EQ(isLocked(), expected) << "step " << step;
        ++step;
    }
}

TEST_F(TimerTest, ReleasingTheSessionStopsIt) {
    Start(60);
    const DWORD start = GetTickCount();
    session = nullptr;
    EXPECT_GE(GetTickCount() - start, 60 - coarseness)
        << "a tick posted already has to find the timer gone";
    RunLoop(200);
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
    const DWORD start = GetTickCount();
    EXPECT_EQ(session->Done(), S_OK);
    EXPECT_GE(GetTickCount() - start, 100 - coarseness);
    EXPECT_EQ(TakeQuit(), 9);

    ChartServer chart(priceHeader + std::string("2004-01-09,1,1,1,1,1,1\n"));
    WriteSettings({{"hosts", "yahoo.chart", chart.server.Host()}});
    Job job(New<::CDataSourceYahooHitorical, _CDataSource>());
    job.sink.onEvent = [posted = false](const std::wstring&, _CSession*) mutable {
        if (!std::exchange(posted, true)) PostQuitMessage(7);
    };
    job.Start();
    EXPECT_EQ(TakeQuit(), 7);
    EXPECT_EQ(Column(job.session, L"DATE"), Numbers{Day(2004, 1, 9)}) << "the download goes on";
}

/// What a timer fires at.
class Owner : public iTimer {
public:
    std::vector<long> elapsed;
    std::function<void()> onFire;

    STDMETHODIMP QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override { return --m_references; }
    STDMETHODIMP Fire(long milliseconds) override {
        elapsed.push_back(milliseconds);
        if (onFire) onFire();
        return S_OK;
    }
    ~Owner() { EXPECT_EQ(m_references, 0u); }

private:
    ULONG m_references = 0;
};

TEST_F(TimerTest, TimersReachTheirOwners) {
    const auto window = HiddenWindow::get();
    Owner first, second;
    {
        cTimer one, two;
        one.StartTimer(10, &first, window->Handle(), 4711);
        two.StartTimer(10, &second, window->Handle(), -4712);
        EXPECT_TRUE(
            RunLoop(enough, [&] { return first.elapsed.size() > 2 && second.elapsed.size() > 2; }));
    }
    EXPECT_GE(first.elapsed.front(), 5);
    EXPECT_LT(first.elapsed.front(), 5000);
    EXPECT_TRUE(std::is_sorted(first.elapsed.begin(), first.elapsed.end()));
    const std::size_t fired = first.elapsed.size() + second.elapsed.size();
    RunLoop(100);
    EXPECT_EQ(first.elapsed.size() + second.elapsed.size(), fired) << "destroyed timers fire";
}

TEST_F(TimerTest, TimersFireOnceAtATime) {
    const auto window = HiddenWindow::get();
    Owner owner;
    cTimer timer;
    bool isInside = false;
    owner.onFire = [&] {
        EXPECT_FALSE(std::exchange(isInside, true));
        if (owner.elapsed.size() == 1) {
            RunLoop(150);
            EXPECT_EQ(owner.elapsed.size(), 1u);
        }
        isInside = false;
    };
    timer.StartTimer(10, &owner, window->Handle(), 4711);
    EXPECT_TRUE(RunLoop(enough, [&] { return owner.elapsed.size() > 2; }));
}

TEST_F(TimerTest, ElapsedTimeWrapsAround) {
    const auto window = HiddenWindow::get();
    Owner owner;
    cTimer timer;
    const DWORD before = GetTickCount();
    timer.StartTimer(60'000, &owner, window->Handle(), 4711);
    const long late = static_cast<long>(GetTickCount() - before);
    timer.Tick(before + 1000);
    timer.Tick(before - 1000);
    ASSERT_EQ(owner.elapsed.size(), 2u);
    EXPECT_LE(owner.elapsed[0], 1000);
    EXPECT_GE(owner.elapsed[0], 1000 - late);
    EXPECT_EQ(owner.elapsed[1], owner.elapsed[0] - 2000);
}

TEST_F(TimerTest, TickWithoutItsTimerStopsTheSystemsTimer) {
    const auto window = HiddenWindow::get();
    ASSERT_NE(SetTimer(window->Handle(), 4713, 60'000, mTimer::TimerProc), 0u);
    mTimer::TimerProc(window->Handle(), WM_TIMER, 4713, GetTickCount());
    EXPECT_FALSE(KillTimer(window->Handle(), 4713)) << "it is still there";
}

}  // namespace
}  // namespace vtdl::tests
