#include "session/SessionErrors.h"

namespace vtdl {
namespace {

struct ErrorText {
    unsigned long number;
    std::wstring_view text;
};

constexpr ErrorText texts[] = {
    {0x800C0002, L"Invalid URL"},
    {0x800C0003, L"No session"},
    {0x800C0004, L"Cannot connect"},
    {0x800C0006, L"Object not found"},
    {0x800C0007, L"Data not available"},
    {0x800C0008, L"Download failure"},
    {0x800C0009, L"Authentication required"},
    {0x800C000A, L"No valid media"},
    {0x800C000B, L"Connection timeout"},
    {0x800C000C, L"Invalid request"},
    {0x800C000F, L"Cannot load data"},
    {0x800C0010, L"Cannot instantiate object"},
    {0x800C0013, L"Unknown query option"},
    {0x800C0014, L"Redirect failed"},
    {0x800C0015, L"Redirect to dir"},
    {0x800C0016, L"Cannot lock request"},
    {0x800C0100, L"Code download declined"},
    {0x800C0300, L"Cannot replace SFP file"},
    {500, L"An internal server error occurred. Please try again later."},
    {501, L"There are no All Markets results"},
    {502, L"Internal Server Error"},
    {503, L"Bad Request.Your client has issued a malformed or illegal request."},
    {504, L"Not Found"},
};

}  // namespace

std::wstring_view SessionErrorText(long number) noexcept {
    for (const ErrorText& entry : texts)
        if (static_cast<long>(entry.number) == number) return entry.text;
    return L"Unknown error";
}

}  // namespace vtdl
