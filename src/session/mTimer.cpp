#include "session/mTimer.h"

#include <unordered_map>

#include "automation/PerApartment.h"
#include "session/cTimer.h"

namespace vtdl::mTimer {
namespace {

automation::PerApartment<std::unordered_map<UINT_PTR, cTimer*>> timers;

}  // namespace

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

}  // namespace vtdl::mTimer
