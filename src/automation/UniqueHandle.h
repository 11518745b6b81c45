#pragma once
// System handles that close themselves.

#include <windows.h>

#include <utility>

namespace vtdl::automation {

/// Traits name the handle's type, its null value (or values) and the function that closes it.
template <class Traits>
class UniqueHandle {
public:
    using Handle = typename Traits::Handle;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Handle handle) noexcept : m_handle(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept
        : m_handle(std::exchange(other.m_handle, Traits::Null())) {}
    UniqueHandle& operator=(UniqueHandle other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~UniqueHandle() { reset(); }

    explicit operator bool() const noexcept { return m_handle != Traits::Null(); }
    Handle get() const noexcept { return m_handle; }
    Handle release() noexcept { return std::exchange(m_handle, Traits::Null()); }
    void reset() noexcept {
        if (*this) Traits::Close(release());
    }

private:
    Handle m_handle = Traits::Null();
};

struct FileTraits {
    using Handle = HANDLE;
    static Handle Null() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) noexcept { CloseHandle(handle); }
};
using FileHandle = UniqueHandle<FileTraits>;

struct FindTraits : FileTraits {
    static void Close(Handle handle) noexcept { FindClose(handle); }
};

}  // namespace vtdl::automation
