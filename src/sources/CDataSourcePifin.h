#pragma once
// Daily history of futures and commodities, with open interest.

#include "replies/PifinTable.h"
#include "sources/HistoryRequest.h"
#include "sources/SessionParameters.h"
#include "sources/WebAdapter.h"

namespace vtdl {

class CDataSourcePifin final
    : public WebAdapter<CDataSourcePifin, ::CDataSourcePifin, _CDataSourcePifin> {
public:
    static constexpr text::FixedString className{"CDataSourcePifin"};
    static constexpr SourceIdentity identity{
        .name = L"Pifin",
        .description = L"PIFIN",
        .priceDataType = vtdlPriceDataTypeHistorical | vtdlPriceDataTypeCommodities,
        .section = L"PIFIN/PARAMETERS",
        .nameParameter = L"Pifin",
        .descriptionParameter = L"Pifin (historical data)",
        .dataServer = L"PIFIN",
        .columns = replies::pifinColumns,
    };
    static std::vector<ParameterDeclaration> SessionParameters();

    /// Hands the rows over in the order of the reply. A reply that is no table gives an empty
    /// result.
    STDMETHODIMP Download(_CSession** session) noexcept override;
};

}  // namespace vtdl
