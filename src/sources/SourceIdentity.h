#pragma once
// What an adapter is, in constants.

#include <vtdl.h>

#include <span>
#include <string_view>

#include "replies/Columns.h"

namespace vtdl {

struct SourceIdentity {
    std::wstring_view name;
    std::wstring_view description;
    long priceDataType;      ///< bits of vtdlPriceDataType
    const wchar_t* section;  ///< of the settings file
    // The adapter's own parameters.
    std::wstring_view nameParameter;
    std::wstring_view descriptionParameter;
    std::wstring_view dataServer;
    std::span<const replies::ColumnSpec> columns{};
    GUID sessionClass = __uuidof(::CSession);
};

}  // namespace vtdl
