#pragma once

#include <unknwn.h>

#include "automation/ClassTable.h"

namespace vtdl::server {

/// A class factory for a row of the class table; answers the interface asked for.
HRESULT CreateFactory(const automation::ClassEntry& entry, REFIID interfaceId,
                      void** factory) noexcept;

}  // namespace vtdl::server
