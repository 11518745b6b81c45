#pragma once
// The type library embedded in this module.

#include <string>

#include "automation/ComPtr.h"
#include "automation/Platform.h"

namespace vtdl::automation {

/// The full path of the module (DLL or test program) that this code is linked into.
std::wstring modulePath();

/// The embedded type library, loaded from the module itself: no registration is needed.
ITypeLib* typeLibrary();

ITypeInfo* typeInformation(REFGUID identifier);

/// The type information of an interface or class, looked up once and kept while the module is
/// loaded. Throws when the module has no such type.
template <class T>
ITypeInfo* typeInformationOf() {
    static ITypeInfo* const information = typeInformation(__uuidof(T));
    return information;
}

}  // namespace vtdl::automation
