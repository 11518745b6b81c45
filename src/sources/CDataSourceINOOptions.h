#pragma once

#include "sources/LeftOpenAdapter.h"

namespace vtdl {

class CDataSourceINOOptions final
    : public LeftOpenAdapter<CDataSourceINOOptions, ::CDataSourceINOOptions,
                             _CDataSourceINOOptions> {
public:
    static constexpr text::FixedString className{"CDataSourceINOOptions"};
    static constexpr SourceIdentity identity{
        .name = L"INOOPTIONS",
        .description = L"INO Options",
        .priceDataType = vtdlPriceDataTypeOptions | vtdlPriceDataTypeOptionsByUnderlying,
        .section = L"INOOPTIONS/PARAMETERS",
        .nameParameter = L"INO Options",
        .descriptionParameter = L"INO Options",
        .dataServer = L"INO",
    };
};

}  // namespace vtdl
