#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceINOFuturesList final
    : public LeftOpenAdapter<CDataSourceINOFuturesList, ::CDataSourceINOFuturesList,
                             _CDataSourceINOFuturesList> {
public:
    static constexpr text::FixedString className{"CDataSourceINOFuturesList"};
    static constexpr SourceIdentity identity{
        .name = L"INOFUTURESLIST",
        .description = L"INO Futures list",
        .priceDataType = vtdlPriceDataTypeFutures,
        .section = L"INOFUTURESLIST/PARAMETERS",
        .nameParameter = L"INO Futures list",
        .descriptionParameter = L"INO Futures list",
        .dataServer = L"INO",
    };
};

}  // namespace vtdl
