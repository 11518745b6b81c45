#pragma once
// What the library's own classes know of a session: its errors, and a face that hosts cannot reach.

#include <vtdl.h>

#include <string_view>

namespace vtdl {

/// Download failure, as adapters report it when a fetch fails.
inline constexpr long downloadFailure = static_cast<long>(0x800C0008);
inline constexpr long dataNotAvailable = static_cast<long>(0x800C0007);

/// The text of an internet-transfer error or of one of the library's page errors (500 to 504);
/// "Unknown error" for any other number, among them 0x800C0005 and HTTP's own, on purpose.
std::wstring_view SessionErrorText(long number) noexcept;

/// A face of every session of the library; it is not in the type library.
struct ISessionState : IUnknown {
    virtual void SetStatus(vtdlSessionStatus status) noexcept = 0;
    virtual void SetError(vtdlSessionErrorType type, long number,
                          std::wstring_view description) = 0;
};

}  // namespace vtdl

__CRT_UUID_DECL(vtdl::ISessionState, 0x6E1C6A55, 0x0F7B, 0x4B43, 0x9C, 0x11, 0x52, 0x7B, 0x18, 0x5A,
                0xD4, 0x90)
