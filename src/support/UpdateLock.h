#pragma once
// The library-wide lock that makes periodic sessions skip their ticks.

namespace vtdl {

/// Counts outstanding locks; shared by all managers of the process. Unlocking more often than
/// locking takes the count below zero, and the next lock brings it to one; on purpose.
class UpdateLock {
public:
    static void Lock() noexcept {
        s_count = s_count + 1 < 1 ? 1 : s_count + 1;
        s_isLocked = true;
    }
    static void Unlock() noexcept {
        if (--s_count < 1) s_isLocked = false;
    }
    static bool IsLocked() noexcept { return s_isLocked; }

private:
    static inline int s_count = 0;
    static inline bool s_isLocked = false;
};

}  // namespace vtdl
