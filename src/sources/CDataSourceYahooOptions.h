#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceYahooOptions final
    : public LeftOpenAdapter<CDataSourceYahooOptions, ::CDataSourceYahooOptions,
                             _CDataSourceYahooOptions> {
public:
    static constexpr text::FixedString className{"CDataSourceYahooOptions"};
    static constexpr SourceIdentity identity{
        .name = L"YAHOOOPTIONS",
        .description = L"Yahoo! Finance (Options)",
        .priceDataType = vtdlPriceDataTypeOptions | vtdlPriceDataTypeOptionsByUnderlying,
        .section = L"YAHOOOPTIONS/PARAMETERS",
        .nameParameter = L"Yahoo! Finance (Options)",
        .descriptionParameter = L"Yahoo! Finance (Options)",
        .dataServer = L"YAHOO",
    };
};

}  // namespace vtdl
