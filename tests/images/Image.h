#pragma once
// A reader of program files: what their headers promise the system about them.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vtdl::tests {

class Image {
public:
    explicit Image(std::string bytes) : m_bytes(std::move(bytes)) {
        if (m_bytes.substr(0, 2) != "MZ") throw std::runtime_error("no program file");
        m_header = Read<std::uint32_t>(0x3C);
        if (Read<std::uint32_t>(m_header) != 0x4550) throw std::runtime_error("no PE header");
    }

    bool Is64Bit() const { return Read<std::uint16_t>(m_header + 4) == 0x8664; }

    /// What is missing of the protections that every program of ours has, a line each.
    std::string Weaknesses() const {
        std::string found;
        const unsigned flags = Read<std::uint16_t>(CharacteristicsAt());
        if (!(flags & 0x40)) found += "stays at one address\n";
        if (!(flags & 0x100)) found += "may run data\n";
        if (Is64Bit() && !(flags & 0x20)) found += "uses low addresses only\n";
        if (HasNoRelocations()) found += "cannot be moved\n";
        for (std::size_t at : Sections()) {
            const auto section = Read<std::uint32_t>(at + 36);
            if ((section & 0x80000000) && (section & 0x20000000))
                found += "runs what it can write: " + m_bytes.substr(at, 8) + "\n";
        }
        if (m_bytes.find("stack smashing detected") == std::string::npos)
            found += "does not guard its stack\n";
        return found;
    }

    std::size_t CharacteristicsAt() const { return m_header + 24 + 70; }

    /// Where the headers of the sections are.
    std::vector<std::size_t> Sections() const {
        const unsigned count = Read<std::uint16_t>(m_header + 6);
        const std::size_t first = m_header + 24 + Read<std::uint16_t>(m_header + 20);
        std::vector<std::size_t> sections;
        for (unsigned i = 0; i < count; ++i) sections.push_back(first + i * 40);
        return sections;
    }

private:
    // Without a table of relocations the flag alone would be an empty promise.
    bool HasNoRelocations() const {
        const std::size_t directories = m_header + 24 + (Is64Bit() ? 112 : 96);
        const bool isStripped = Read<std::uint16_t>(m_header + 22) & 1;
        return isStripped || Read<std::uint32_t>(directories + 5 * 8 + 4) == 0;
    }

    template <class T>
    T Read(std::size_t at) const {
        if (at > m_bytes.size() || m_bytes.size() - at < sizeof(T))
            throw std::runtime_error("cut off");
        T value;
        std::memcpy(&value, m_bytes.data() + at, sizeof value);
        return value;
    }

    std::string m_bytes;
    std::size_t m_header;
};

}  // namespace vtdl::tests
