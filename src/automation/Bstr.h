#pragma once
// An owned automation string.

#include <new>
#include <string_view>
#include <utility>

#include "automation/Platform.h"

namespace vtdl::automation {

/// The characters of an automation string; a null one is empty.
inline std::wstring_view ViewOf(BSTR text) noexcept {
    return text ? std::wstring_view(text, SysStringLen(text)) : std::wstring_view();
}

class Bstr {
public:
    Bstr() noexcept = default;
    explicit Bstr(std::wstring_view text)
        : m_text(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
        if (!m_text) throw std::bad_alloc();
    }
    Bstr(const Bstr& other) : Bstr(other.view()) {}
    Bstr(Bstr&& other) noexcept : m_text(std::exchange(other.m_text, nullptr)) {}
    ~Bstr() { SysFreeString(m_text); }

    Bstr& operator=(Bstr other) noexcept {
        std::swap(m_text, other.m_text);
        return *this;
    }

    /// Takes a string over.
    static Bstr attach(BSTR text) noexcept {
        Bstr owner;
        owner.m_text = text;
        return owner;
    }

    /// From bytes in the system's code page.
    static Bstr FromBytes(std::string_view bytes) {
        Bstr text = Sized(bytes.size());
        char highBits = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            text.m_text[i] = static_cast<unsigned char>(bytes[i]);
            highBits |= bytes[i];
        }
        if (highBits >= 0) return text;  // plain ASCII, the usual case

        const int size = static_cast<int>(bytes.size());
        const int length = MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, nullptr, 0);
        text = Sized(static_cast<std::size_t>(length));
        MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, text.m_text, length);
        return text;
    }

    std::wstring_view view() const noexcept { return ViewOf(m_text); }
    BSTR get() const noexcept { return m_text; }
    BSTR release() noexcept { return std::exchange(m_text, nullptr); }
    /// For out-parameters and by-reference arguments.
    BSTR* put() noexcept { return &m_text; }

private:
    static Bstr Sized(std::size_t length) {
        Bstr text = attach(SysAllocStringLen(nullptr, static_cast<UINT>(length)));
        if (!text.m_text) throw std::bad_alloc();
        return text;
    }

    BSTR m_text = nullptr;
};

}  // namespace vtdl::automation
