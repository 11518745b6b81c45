#pragma once

#include <vtdl.h>

#include "automation/Variant.h"

namespace vtdl::mGlobals {

/// Adds a named value to a result block; its data type stays unset. A name that is taken is an
/// error of the method's frame.
HRESULT AddDataField(_CDataFields* fields, std::wstring_view name,
                     automation::Variant value) noexcept;

}  // namespace vtdl::mGlobals
