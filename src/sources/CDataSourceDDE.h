#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceDDE final
    : public LeftOpenAdapter<CDataSourceDDE, ::CDataSourceDDE, _CDataSourceDDE> {
public:
    static constexpr text::FixedString className{"CDataSourceDDE"};
    static constexpr SourceIdentity identity{
        .name = L"DDE",
        .description = L"DDE",
        .priceDataType = vtdlPriceDataAny | vtdlPriceDataTypeRealtime,
        .section = L"DDE/PARAMETERS",
        .nameParameter = L"DDE",
        .descriptionParameter = L"Dynamic Data Exchange",
        .dataServer = L"DDE",
    };
};

}  // namespace vtdl
