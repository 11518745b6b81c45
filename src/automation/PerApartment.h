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
    PerApartment() noexcept : m_slot(FlsAlloc(&Destroy)), m_found(TlsAlloc()) {}
    PerApartment(const PerApartment&) = delete;
    PerApartment& operator=(const PerApartment&) = delete;
    ~PerApartment() {
        FlsFree(m_slot);
        TlsFree(m_found);
    }

    /// Throws when there is no memory for the thread's first use.
    T& operator*() {
        T* const value = find();
        return value ? *value : Create();
    }
    T* operator->() { return &**this; }

    /// The thread's own, or nothing when it has not used one.
    T* find() const noexcept { return static_cast<T*>(TlsGetValue(m_found)); }

private:
    struct Holder {
        T value{};
        DWORD found;
    };

    T& Create() {
        auto holder = std::make_unique<Holder>();
        holder->found = m_found;
        if (!TlsSetValue(m_found, &holder->value)) throw std::bad_alloc();
        if (!FlsSetValue(m_slot, holder.get())) {
            TlsSetValue(m_found, nullptr);
            throw std::bad_alloc();
        }
        return holder.release()->value;
    }

    // Whatever of the thread is destroyed after it does not find it any more.
    static void WINAPI Destroy(void* value) noexcept {
        const std::unique_ptr<Holder> holder(static_cast<Holder*>(value));
        TlsSetValue(holder->found, nullptr);
    }

    const DWORD m_slot;   // owns
    const DWORD m_found;  // is read, in half the time
};

}  // namespace vtdl::automation
