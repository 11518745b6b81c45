#pragma once
// What the library keeps once for each apartment of its hosts.

#include <windows.h>

#include <memory>
#include <new>

namespace vtdl::automation {

/// One T for each thread that uses it: an apartment's objects, timers and errors stay its own. Made
/// on first use; destroyed when its thread ends or the library is unloaded, whichever comes first.
/// Only for variables of static storage.
template <class T>
class PerApartment {
public:
    PerApartment() noexcept : m_slot(FlsAlloc(&Destroy)) {}
    PerApartment(const PerApartment&) = delete;
    PerApartment& operator=(const PerApartment&) = delete;
    ~PerApartment() { FlsFree(m_slot); }

    /// Throws when there is no memory for the thread's first use.
    T& operator*() {
        T* const value = find();
        return value ? *value : Create();
    }
    T* operator->() { return &**this; }

    /// The thread's own, or nothing when it has not used one.
    T* find() const noexcept { return static_cast<T*>(FlsGetValue(m_slot)); }

private:
    T& Create() {
        auto value = std::make_unique<T>();
        if (!FlsSetValue(m_slot, value.get())) throw std::bad_alloc();
        return *value.release();
    }

    static void WINAPI Destroy(void* value) noexcept { delete static_cast<T*>(value); }

    const DWORD m_slot;
};

}  // namespace vtdl::automation
