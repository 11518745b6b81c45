#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceGoogleHitorical final
    : public LeftOpenAdapter<CDataSourceGoogleHitorical, ::CDataSourceGoogleHitorical,
                             _CDataSourceGoogleHitorical> {
public:
    static constexpr text::FixedString className{"CDataSourceGoogleHitorical"};
    static constexpr SourceIdentity identity{
        .name = L"GOOGLEHIST",
        .description = L"Google.Finance. Historical data",
        .priceDataType = vtdlPriceDataTypeStocks | vtdlPriceDataTypeHistorical,
        .section = L"GOOGLEHIST/PARAMETERS",
        .nameParameter = L"Google.Finance (historical data)",
        .descriptionParameter = L"Google.Finance (historical data)",
        .dataServer = L"GOOGLE",
    };
};

}  // namespace vtdl
