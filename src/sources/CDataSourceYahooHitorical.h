#pragma once
// Daily, weekly and monthly prices of the chart service. The class's name is published so.

#include "sources/YahooChart.h"

namespace vtdl {

class CDataSourceYahooHitorical final
    : public SourceAdapter<CDataSourceYahooHitorical, ::CDataSourceYahooHitorical,
                           _CDataSourceYahooHitorical> {
public:
    static constexpr text::FixedString className{"CDataSourceYahooHitorical"};
    static constexpr SourceIdentity identity{
        .name = L"YAHOOHIST",
        .description = L"Yahoo! Finance. Historical data",
        .priceDataType = vtdlPriceDataTypeStocks | vtdlPriceDataTypeHistorical,
        .nameParameter = L"Yahoo! Finance (historical data)",
        .descriptionParameter = L"Yahoo! Finance (historical data)",
        .dataServer = L"YAHOO",
        .columns = replies::yahooPriceColumns,
    };
    static std::vector<ParameterDeclaration> SessionParameters();

    STDMETHODIMP Download(_CSession** session) noexcept override;
    STDMETHODIMP SelectYahooInternalServer() noexcept override;

private:
    struct PriceRequest : HistoryRequest {
        explicit PriceRequest(_CParameters* parameters);
        std::string Path(double lastDay) const;

        std::string periodicity;
        bool isAdjusted;
    };

    bool FetchPages(MethodFrame& frame, _CSession* session, const PriceRequest& request,
                    replies::Columns& grid);

    YahooChart m_chart{m_download, *m_settings,
                       text::RoutineName<className, "YahooReplyValidityIndex">::value};
};

}  // namespace vtdl
