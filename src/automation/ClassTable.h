#pragma once
// The library's classes, by class identifier; the server fills the table.

#include <unknwn.h>

#include <span>

#include "automation/ComPtr.h"
#include "automation/Error.h"
#include "automation/Object.h"

namespace vtdl::automation {

struct ClassEntry {
    const GUID& identifier;
    const wchar_t* name;  ///< without the library's name: "CManager"
    const wchar_t* description;
    HRESULT (*create)(REFIID interfaceId, void** object) noexcept;
};

/// All creatable classes.
std::span<const ClassEntry> ClassTable();

/// Makes an object of one of the library's classes, as COM would, without the registry.
HRESULT CreateInstance(REFCLSID classId, REFIID interfaceId, void** object) noexcept;

template <class I>
ComPtr<I> CreateInstance(REFCLSID classId) {
    ComPtr<I> object;
    Check(CreateInstance(classId, __uuidof(I), reinterpret_cast<void**>(object.put())));
    return object;
}

/// What the table asks of a class's own file: the function that makes one, under a name that the
/// table knows without knowing the class.
#define VTDL_CREATABLE(name)                                                \
    HRESULT Create##name(REFIID interfaceId, void** object) noexcept;       \
    HRESULT Create##name(REFIID interfaceId, void** object) noexcept {      \
        return ::vtdl::automation::CreateObject<name>(interfaceId, object); \
    }

template <class D>
HRESULT CreateObject(REFIID interfaceId, void** object) noexcept {
    try {
        return Make<D>()->QueryInterface(interfaceId, object);
    } catch (...) {
        return Raise(CurrentError());
    }
}

}  // namespace vtdl::automation
