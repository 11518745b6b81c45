#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceINOExchanges final
    : public LeftOpenAdapter<CDataSourceINOExchanges, ::CDataSourceINOExchanges,
                             _CDataSourceINOExchanges> {
public:
    static constexpr text::FixedString className{"CDataSourceINOExchanges"};
    static constexpr SourceIdentity identity{
        .name = L"INOEXCHANGES",
        .description = L"INO Exchanges",
        .priceDataType = vtdlPriceDataTypeFutures,
        .section = L"INOEXCHANGES/PARAMETERS",
        .nameParameter = L"INO Exchanges",
        .descriptionParameter = L"INO Exchanges",
        .dataServer = L"INO",
    };
};

}  // namespace vtdl
