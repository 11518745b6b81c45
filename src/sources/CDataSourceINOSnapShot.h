#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceINOSnapShot final
    : public LeftOpenAdapter<CDataSourceINOSnapShot, ::CDataSourceINOSnapShot,
                             _CDataSourceINOSnapShot> {
public:
    static constexpr text::FixedString className{"CDataSourceINOSnapShot"};
    static constexpr SourceIdentity identity{
        .name = L"INOSNAPSHOT",
        .description = L"INO Snapshot price",
        .priceDataType = vtdlPriceDataTypeFutures,
        .section = L"INOSNAPSHOT/PARAMETERS",
        .nameParameter = L"INO Snapshot price",
        .descriptionParameter = L"INO Snapshot price",
        .dataServer = L"INO",
    };
};

}  // namespace vtdl
