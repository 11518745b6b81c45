#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceYahooRealTime final
    : public LeftOpenAdapter<CDataSourceYahooRealTime, ::CDataSourceYahooRealTime,
                             _CDataSourceYahooRealTime> {
public:
    static constexpr text::FixedString className{"CDataSourceYahooRealTime"};
    static constexpr SourceIdentity identity{
        .name = L"YAHOOREALTIME",
        .description = L"Yahoo! Finance (realtime)",
        .priceDataType = vtdlPriceDataTypeRealtime | vtdlPriceDataTypeCurrency |
                         vtdlPriceDataTypeIndicies | vtdlPriceDataTypeStocks,
        .section = L"YAHOORT/PARAMETERS",
        .nameParameter = L"Yahoo! Finance (realtime)",
        .descriptionParameter = L"Yahoo! Finance (realtime)",
        .dataServer = L"YAHOO",
    };
};

}  // namespace vtdl
