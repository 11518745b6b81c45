#pragma once
// Text in the system's single-byte code page, as the services send and take it.

#include <windows.h>

#include <string>
#include <string_view>

namespace vtdl {

inline std::wstring ToWide(std::string_view bytes) {
    const int size = static_cast<int>(bytes.size());
    std::wstring text(bytes.size(), L'\0');
    text.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, text.data(), size)));
    return text;
}

inline std::string ToBytes(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    std::string bytes(text.size() * 4, '\0');
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_ACP, 0, text.data(), size, bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

}  // namespace vtdl
