#pragma once
// Daily and weekly prices of the finance service. The class's name is published so.

#include "replies/HistoryTables.h"
#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"

namespace vtdl {

class CDataSourceGoogleHitorical final
    : public SourceAdapter<CDataSourceGoogleHitorical, ::CDataSourceGoogleHitorical,
                           _CDataSourceGoogleHitorical> {
public:
    static constexpr text::FixedString className{"CDataSourceGoogleHitorical"};
    static constexpr SourceIdentity identity{
        .name = L"GOOGLEHIST",
        .description = L"Google.Finance. Historical data",
        .priceDataType = vtdlPriceDataTypeStocks | vtdlPriceDataTypeHistorical,
        .nameParameter = L"Google.Finance (historical data)",
        .descriptionParameter = L"Google.Finance (historical data)",
        .dataServer = L"GOOGLE",
        .columns = replies::googleAnnouncedColumns,
    };
    static std::vector<ParameterDeclaration> SessionParameters();

    /// Hands the rows over in the order of the reply, newest first, unlike the chart service's; on
    /// purpose. A reply that is no table ends the download without data.
    STDMETHODIMP Download(_CSession** session) noexcept override;

    static long PageError(const std::string& reply);

private:
    struct PriceRequest : HistoryRequest {
        explicit PriceRequest(_CParameters* parameters);
        std::string Path() const;

        std::string escapedTicker;
        std::string periodicity;
    };
};

}  // namespace vtdl
