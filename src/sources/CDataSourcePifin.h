#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourcePifin final
    : public LeftOpenAdapter<CDataSourcePifin, ::CDataSourcePifin, _CDataSourcePifin> {
public:
    static constexpr text::FixedString className{"CDataSourcePifin"};
    static constexpr SourceIdentity identity{
        .name = L"Pifin",
        .description = L"PIFIN",
        .priceDataType = vtdlPriceDataTypeHistorical | vtdlPriceDataTypeCommodities,
        .section = L"PIFIN/PARAMETERS",
        .nameParameter = L"Pifin",
        .descriptionParameter = L"Pifin (historical data)",
        .dataServer = L"PIFIN",
    };
};

}  // namespace vtdl
