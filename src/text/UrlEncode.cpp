#include "text/UrlEncode.h"

namespace vtdl::text {

std::string UrlEncode(std::string_view bytes, bool spaceAsPlus) {
    constexpr char hex[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(bytes.size() * 3);
    for (const char c : bytes) {
        const auto code = static_cast<unsigned char>(c);
        if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) {
            encoded += c;
        } else if (c == ' ') {
            encoded += spaceAsPlus ? "+" : "%20";
        } else {
            encoded += '%';
            if (code < 10 || code > 15) encoded += hex[code >> 4];
            encoded += hex[code & 15];
        }
    }
    return encoded;
}

}  // namespace vtdl::text
