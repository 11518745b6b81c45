#pragma once
// Names as template arguments, put together at compile time.

#include <cstddef>
#include <string_view>

namespace vtdl::text {

template <std::size_t Size>
struct FixedString {
    consteval FixedString(const char (&literal)[Size]) {
        for (std::size_t i = 0; i < Size; ++i) characters[i] = literal[i];
    }
    char characters[Size]{};
};

/// "vtdl.Class.Member": the name under which a member stands in the call stack and in reports.
template <FixedString Class, FixedString Member>
struct RoutineName {
    static constexpr std::size_t length =
        5 + sizeof Class.characters - 1 + 1 + sizeof Member.characters - 1;

    struct Text {
        wchar_t characters[length + 1]{};
    };

    static consteval Text Compose() {
        Text name;
        std::size_t at = 0;
        const auto append = [&](const auto& part, std::size_t size) {
            for (std::size_t i = 0; i < size; ++i)
                name.characters[at++] = static_cast<wchar_t>(part[i]);
        };
        append("vtdl.", 5);
        append(Class.characters, sizeof Class.characters - 1);
        append(".", 1);
        append(Member.characters, sizeof Member.characters - 1);
        return name;
    }

    static constexpr Text text = Compose();
    static constexpr std::wstring_view value{text.characters, length};
};

}  // namespace vtdl::text
