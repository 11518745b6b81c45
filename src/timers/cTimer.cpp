#include "timers/cTimer.h"

#include <algorithm>
#include <deque>
#include <unordered_map>

#include "automation/ComPtr.h"
#include "automation/Error.h"
#include "automation/PerApartment.h"

namespace vtdl {
namespace {

automation::PerApartment<std::unordered_map<UINT_PTR, cTimer*>> timers;
// Who waits for a turn, the first in front. That one's timer alone ticks often.
automation::PerApartment<std::deque<cTimer*>> waiting;
automation::PerApartment<std::weak_ptr<HiddenWindow>> currentWindow;

}  // namespace

cTimer::~cTimer() {
    if (m_systemTimerId == 0) return;
    KillTimer(m_window, m_killId);
    mTimer::DeleteTimerSession(m_killId);
    if (auto* const line = waiting.find()) {
        std::erase(*line, this);
        if (!line->empty()) line->front()->SetInterval(USER_TIMER_MINIMUM);
    }
}

void cTimer::StartTimer(long interval, iTimer* owner, HWND window, long timerId) {
    m_owner = owner;
    m_window = window;
    m_timerId = static_cast<ULONG>(timerId);
    m_startTicks = GetTickCount();
    m_interval = static_cast<UINT>(interval);
    m_systemTimerId = SetTimer(window, m_timerId, m_interval, mTimer::TimerProc);
    m_killId = m_timerId != 0 ? m_timerId : m_systemTimerId;
    if (m_systemTimerId != 0) mTimer::SetTimerSession(m_killId, this);
}

void cTimer::Tick(DWORD ticks) noexcept {
    if (*m_isBusy) return;
    const std::shared_ptr<bool> isBusy = m_isBusy;
    const automation::ComPtr<iTimer> owner = m_owner;
    *isBusy = true;
    owner->Fire(static_cast<long>(ticks - m_startTicks));
    *isBusy = false;
}

bool cTimer::TakeTurn(bool isFree) {
    auto& line = *waiting;
    if (isFree && line.empty()) return true;
    if (!isFree || line.front() != this) {
        if (std::ranges::find(line, this) == line.end()) line.push_back(this);
        if (line.front() == this) SetInterval(USER_TIMER_MINIMUM);
        return false;
    }
    line.pop_front();
    SetInterval(m_interval);
    if (!line.empty()) line.front()->SetInterval(USER_TIMER_MINIMUM);
    return true;
}

void cTimer::SetInterval(UINT interval) noexcept {
    SetTimer(m_window, m_killId, interval, mTimer::TimerProc);
}

namespace mTimer {

void SetTimerSession(UINT_PTR identifier, cTimer* timer) { (*timers)[identifier] = timer; }

void DeleteTimerSession(UINT_PTR identifier) noexcept {
    if (auto* const own = timers.find()) own->erase(identifier);
}

void CALLBACK TimerProc(HWND window, UINT, UINT_PTR identifier, DWORD ticks) noexcept {
    auto& own = *timers;
    const auto found = own.find(identifier);
    if (found == own.end())
        KillTimer(window, identifier);
    else
        found->second->Tick(ticks);
}

}  // namespace mTimer

std::shared_ptr<HiddenWindow> HiddenWindow::get() {
    std::shared_ptr<HiddenWindow> window = currentWindow->lock();
    if (!window) *currentWindow = window = std::make_shared<HiddenWindow>();
    return window;
}

// A system class needs no registration of ours, so nothing is left behind when the library is
// unloaded.
HiddenWindow::HiddenWindow()
    : m_handle(CreateWindowExW(0, L"STATIC", L"VTDL", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                               nullptr)) {
    if (!m_handle) automation::ThrowLastError(L"CreateWindowEx");
}

HiddenWindow::~HiddenWindow() { DestroyWindow(m_handle); }

}  // namespace vtdl
