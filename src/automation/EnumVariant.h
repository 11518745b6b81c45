#pragma once
// The enumerator behind a host's "for each".

#include <vector>

#include "automation/ComPtr.h"
#include "automation/Platform.h"

namespace vtdl::automation {

/// An IEnumVARIANT over a snapshot: items added or removed during the walk do not disturb it.
ComPtr<IUnknown> Enumerate(std::vector<ComPtr<IDispatch>> items);

}  // namespace vtdl::automation
