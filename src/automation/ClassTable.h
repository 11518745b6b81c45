#pragma once
// The library's classes, by class identifier; the server fills the table.

#include <unknwn.h>

#include <span>

#include "automation/ComPtr.h"
#include "automation/Error.h"

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

}  // namespace vtdl::automation
