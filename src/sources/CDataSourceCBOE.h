#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceCBOE final
    : public LeftOpenAdapter<CDataSourceCBOE, ::CDataSourceCBOE, _CDataSourceCBOE> {
public:
    static constexpr text::FixedString className{"CDataSourceCBOE"};
    static constexpr SourceIdentity identity{
        .name = L"CBOE",
        .description = L"CBOE",
        .priceDataType = vtdlPriceDataTypeOptions | vtdlPriceDataTypeOptionsByUnderlying,
        .section = L"CBOE/PARAMETERS",
        .nameParameter = L"CBOE",
        .descriptionParameter = L"Chicago Board Of Exchange",
        .dataServer = L"CBOE",
    };
};

}  // namespace vtdl
