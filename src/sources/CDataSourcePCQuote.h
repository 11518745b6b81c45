#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourcePCQuote final
    : public LeftOpenAdapter<CDataSourcePCQuote, ::CDataSourcePCQuote, _CDataSourcePCQuote> {
public:
    static constexpr text::FixedString className{"CDataSourcePCQuote"};
    static constexpr SourceIdentity identity{
        .name = L"PCQUOTE",
        .description = L"PCQuote",
        .priceDataType =
            vtdlPriceDataTypeOptionsByTicker | vtdlPriceDataTypeRealtime | vtdlPriceDataAny,
        .section = L"PCQUOTE/PARAMETERS",
        .nameParameter = L"PCQuote",
        .descriptionParameter = L"PCQuote (realtime)",
        .dataServer = L"PCQUOTE",
    };
};

}  // namespace vtdl
