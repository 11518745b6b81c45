#pragma once
// System handles that close themselves.

#include <windows.h>

#include <utility>

namespace vtdl::automation {

/// A handle of type H, closed by the function; the number stands for none where null does not.
template <class H, auto CloseHandleOf, INT_PTR none = 0>
class UniqueHandle {
public:
    using Handle = H;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Handle handle) noexcept : m_handle(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, None())) {}
    UniqueHandle& operator=(UniqueHandle other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~UniqueHandle() { reset(); }

    explicit operator bool() const noexcept { return m_handle != None(); }
    Handle get() const noexcept { return m_handle; }
    Handle release() noexcept { return std::exchange(m_handle, None()); }
    void reset() noexcept {
        if (*this) CloseHandleOf(release());
    }

private:
    static Handle None() noexcept {
        if constexpr (none == 0)
            return {};
        else
            return reinterpret_cast<Handle>(none);
    }

    Handle m_handle = None();
};

using FileHandle = UniqueHandle<HANDLE, CloseHandle, -1>;

}  // namespace vtdl::automation
