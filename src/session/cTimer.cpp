#include "session/cTimer.h"

#include "automation/ComPtr.h"
#include "session/mTimer.h"

namespace vtdl {

cTimer::~cTimer() {
    if (m_systemTimerId == 0) return;
    KillTimer(m_window, m_killId);
    mTimer::DeleteTimerSession(m_killId);
}

void cTimer::StartTimer(long interval, iTimer* owner, HWND window, long timerId) {
    m_owner = owner;
    m_window = window;
    m_timerId = static_cast<ULONG>(timerId);
    m_startTicks = GetTickCount();
    m_systemTimerId = SetTimer(window, m_timerId, static_cast<UINT>(interval), mTimer::TimerProc);
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

}  // namespace vtdl
