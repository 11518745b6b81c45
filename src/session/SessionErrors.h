#pragma once
// The texts of download errors.

#include <string_view>

namespace vtdl {

/// Download failure, as adapters report it when a fetch fails.
inline constexpr long downloadFailure = static_cast<long>(0x800C0008);
inline constexpr long dataNotAvailable = static_cast<long>(0x800C0007);

/// The text of an internet-transfer error or of one of the library's page errors (500 to 504);
/// "Unknown error" for any other number, among them 0x800C0005 and HTTP's own, on purpose.
std::wstring_view SessionErrorText(long number) noexcept;

}  // namespace vtdl
