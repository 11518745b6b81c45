#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceIVolatility final
    : public LeftOpenAdapter<CDataSourceIVolatility, ::CDataSourceIVolatility,
                             _CDataSourceIVolatility> {
public:
    static constexpr text::FixedString className{"CDataSourceIVolatility"};
    static constexpr SourceIdentity identity{
        .name = L"IVOLATILITY",
        .description = L"IVolatility",
        .priceDataType = vtdlPriceDataTypeOptions | vtdlPriceDataTypeVolatility,
        .section = L"IVOLATILITY/PARAMETERS",
        .nameParameter = L"IVolatility",
        .descriptionParameter = L"IVolatility",
        .dataServer = L"IVOLATILITY",
    };
};

}  // namespace vtdl
