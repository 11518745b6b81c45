#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceYahooECNRealTime final
    : public LeftOpenAdapter<CDataSourceYahooECNRealTime, ::CDataSourceYahooECNRealTime,
                             _CDataSourceYahooECNRealTime> {
public:
    static constexpr text::FixedString className{"CDataSourceYahooECNRealTime"};
    static constexpr SourceIdentity identity{
        .name = L"YAHOOECN",
        .description = L"Yahoo! Finance (ecn - real time)",
        .priceDataType = vtdlPriceDataTypeStocks | vtdlPriceDataTypeRealtime,
        .section = L"YAHOOECN/PARAMETERS",
        .nameParameter = L"Yahoo! Finance (ecn - real time)",
        .descriptionParameter = L"Yahoo! Finance (ecn - real time)",
        .dataServer = L"YAHOO",
    };
};

}  // namespace vtdl
