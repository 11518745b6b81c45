#pragma once
// The structures of a type-library file (MSFT), reached by name, so that two libraries with the
// same types in another order can be compared word by word.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vtdl::typelib {

class TypeLibraryFile {
public:
    // A record's words, by their place in it. What is not named here is the same in every library
    // or an offset into a table.
    enum Word : std::size_t {
        typeKind = 0,  // the high half is the type's number
        typeMemory = 2,
        typeData = 3,
        typeMembers = 6,
        typeNameAt = 13,
        typeSize = 20,
        typeInherited = 22,
        memberPlace = 3,   // slot or kind, and the size of the description in memory
        functionKind = 4,  // and calling convention, flags, the ring of a property's accessors
    };

    struct Member {
        std::string name;
        std::size_t at;
        std::size_t size;
        bool isFunction;
    };

    struct Type {
        std::string name;
        std::size_t at;
        std::int32_t offset;  // in the table of types, which is how a name tells its owner
        std::vector<Member> members;
    };

    struct Name {
        std::size_t at;  // the owner's offset or -1, the hash chain, then length and flags

        std::size_t FlagsAt() const { return at + 9; }
    };

    explicit TypeLibraryFile(std::string bytes) : m_bytes(std::move(bytes)) {
        constexpr std::size_t headerSize = 0x54, countAt = 0x20;
        if (m_bytes.substr(0, 4) != "MSFT") throw std::runtime_error("no type library");
        const auto count = Read<std::uint32_t>(countAt);
        const std::size_t tables = headerSize + 4 * count;
        m_names = Read<std::uint32_t>(tables + 7 * 16);
        const std::size_t end = m_names + Read<std::uint32_t>(tables + 7 * 16 + 4);
        for (std::size_t at = m_names; at < end;
             at += 12 + (Read<std::uint8_t>(at + 8) + 3u) / 4 * 4)
            m_byName[NameAt(at - m_names)] = {at};
        for (std::size_t index = 0; index < count; ++index) {
            const auto offset = Read<std::int32_t>(headerSize + 4 * index);
            ReadType(Read<std::uint32_t>(tables) + static_cast<std::size_t>(offset), offset);
        }
    }

    const std::string& Bytes() const { return m_bytes; }
    const std::vector<Type>& Types() const { return m_types; }
    const std::map<std::string, Name>& Names() const { return m_byName; }

    const Type& Find(const std::string& name) const {
        for (const Type& type : m_types)
            if (type.name == name) return type;
        throw std::runtime_error("a type is missing: " + name);
    }

    bool Has(const std::string& name) const {
        return std::any_of(m_types.begin(), m_types.end(),
                           [&](const Type& type) { return type.name == name; });
    }

    /// The name of the type that a name belongs to; empty if it belongs to none.
    std::string Owner(const Name& name) const {
        for (const Type& type : m_types)
            if (type.offset == Read<std::int32_t>(name.at)) return type.name;
        return {};
    }

    template <class T = std::uint32_t>
    T Read(std::size_t at) const {
        T value;
        if (at > m_bytes.size() || m_bytes.size() - at < sizeof value)
            throw std::runtime_error("type library cut off");
        std::memcpy(&value, m_bytes.data() + at, sizeof value);
        return value;
    }

    template <class T>
    void Write(std::size_t at, T value) {
        Read<T>(at);
        std::memcpy(m_bytes.data() + at, &value, sizeof value);
    }

private:
    std::string NameAt(std::size_t offset) const {
        const std::size_t at = m_names + offset;
        return m_bytes.substr(at + 12, Read<std::uint8_t>(at + 8));
    }

    // The members' records, then as many identifiers, name offsets and record offsets.
    void ReadType(std::size_t at, std::int32_t offset) {
        Type type{NameAt(Read(at + 4 * typeNameAt)), at, offset, {}};
        const std::size_t functions = Read<std::uint16_t>(at + 4 * typeMembers);
        const std::size_t count = functions + Read<std::uint16_t>(at + 4 * typeMembers + 2);
        const std::size_t records = Read(at + 4) + std::size_t{4};
        std::size_t record = records;
        for (std::size_t index = 0; index < count; ++index) {
            const std::size_t names = records + Read(records - 4) + 4 * count;
            const std::size_t size = Read<std::uint16_t>(record);
            type.members.push_back(
                {NameAt(Read(names + 4 * index)), record, size, index < functions});
            record += size;
        }
        m_types.push_back(std::move(type));
    }

    std::string m_bytes;
    std::size_t m_names = 0;
    std::map<std::string, Name> m_byName;
    std::vector<Type> m_types;
};

}  // namespace vtdl::typelib
