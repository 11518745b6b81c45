#pragma once
// The type library embedded in this module.

#include <string>

#include "automation/ComPtr.h"
#include "automation/Platform.h"

namespace vtdl::automation {

/// The module (DLL or test program) that this code is linked into.
HMODULE Module();

/// Its full path.
std::wstring ModulePath();

/// The embedded type library, loaded from the module itself: no registration is needed.
ITypeLib* TypeLibrary();

/// An identifier as the registry writes it, in braces.
std::wstring TextOf(REFGUID identifier);

ITypeInfo* TypeInformation(REFGUID identifier);

/// The type information of an interface or class, looked up once and kept while the module is
/// loaded. Throws when the module has no such type.
template <class T>
ITypeInfo* TypeInformationOf() {
    static ITypeInfo* const information = TypeInformation(__uuidof(T));
    return information;
}

}  // namespace vtdl::automation
