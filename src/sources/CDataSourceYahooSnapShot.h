#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceYahooSnapShot final
    : public LeftOpenAdapter<CDataSourceYahooSnapShot, ::CDataSourceYahooSnapShot,
                             _CDataSourceYahooSnapShot> {
public:
    static constexpr text::FixedString className{"CDataSourceYahooSnapShot"};
    static constexpr SourceIdentity identity{
        .name = L"YAHOOSNAPSHOT",
        .description = L"Yahoo! Finance (snapshot)",
        .priceDataType = vtdlPriceDataTypeStocks,
        .section = L"YAHOOSNAPSHOT/PARAMETERS",
        .nameParameter = L"Yahoo! Finance (snapshot)",
        .descriptionParameter = L"Yahoo! Finance (snapshot)",
        .dataServer = L"YAHOO",
    };
};

}  // namespace vtdl
