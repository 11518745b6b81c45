#include "session/mTimer.h"

#include <unordered_map>

#include "session/cTimer.h"

namespace vtdl::mTimer {
namespace {

std::unordered_map<UINT_PTR, cTimer*> timers;

}  // namespace

void SetTimerSession(UINT_PTR identifier, cTimer* timer) { timers[identifier] = timer; }

void DeleteTimerSession(UINT_PTR identifier) noexcept { timers.erase(identifier); }

void CALLBACK TimerProc(HWND window, UINT, UINT_PTR identifier, DWORD ticks) noexcept {
    const auto found = timers.find(identifier);
    if (found == timers.end())
        KillTimer(window, identifier);
    else
        found->second->Tick(ticks);
}

}  // namespace vtdl::mTimer
