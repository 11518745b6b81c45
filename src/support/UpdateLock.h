#pragma once
// The lock that makes the periodic sessions of an apartment skip their ticks.

#include <algorithm>

#include "automation/PerApartment.h"

namespace vtdl {

/// Counts outstanding locks; shared by all managers of an apartment. Unlocking more often than
/// locking takes the count below zero, and the next lock brings it to one; on purpose.
class UpdateLock {
public:
    static void Lock() {
        State& state = *s_state;
        state.count = std::max(state.count + 1, 1);
        state.isLocked = true;
    }
    static void Unlock() {
        State& state = *s_state;
        if (--state.count < 1) state.isLocked = false;
    }
    static bool IsLocked() noexcept {
        const State* const state = s_state.find();
        return state && state->isLocked;
    }

private:
    struct State {
        int count = 0;
        bool isLocked = false;
    };
    static inline automation::PerApartment<State> s_state;
};

}  // namespace vtdl
