#pragma once
// What the library's own classes may change in a session, and hosts may not.

#include <vtdl.h>

#include <string_view>

namespace vtdl {

/// A face of every session of the library; it is not in the type library.
struct ISessionState : IUnknown {
    virtual void SetStatus(vtdlSessionStatus status) noexcept = 0;
    virtual void SetError(vtdlSessionErrorType type, long number,
                          std::wstring_view description) = 0;
};

}  // namespace vtdl

__CRT_UUID_DECL(vtdl::ISessionState, 0x6E1C6A55, 0x0F7B, 0x4B43, 0x9C, 0x11, 0x52, 0x7B, 0x18, 0x5A,
                0xD4, 0x90)
