#pragma once
// Dividends of the chart service.

#include "sources/YahooChart.h"

namespace vtdl {

class CDataSourceYahooDividends final
    : public SourceAdapter<CDataSourceYahooDividends, ::CDataSourceYahooDividends,
                           _CDataSourceYahooDividends> {
public:
    static constexpr text::FixedString className{"CDataSourceYahooDividends"};
    static constexpr SourceIdentity identity{
        .name = L"YAHOODIVIDENDS",
        .description = L"Yahoo! Finance. Historical dividends data",
        .priceDataType = vtdlPriceDataTypeDividends | vtdlPriceDataTypeHistorical,
        .nameParameter = L"Yahoo! Finance (historical dividends data)",
        .descriptionParameter = L"Yahoo! Finance (historical dividends data)",
        .dataServer = L"YAHOO",
        .columns = replies::yahooDividendColumns,
    };
    static std::vector<ParameterDeclaration> SessionParameters();

    STDMETHODIMP Download(_CSession** session) noexcept override;
    STDMETHODIMP SelectYahooInternalServer() noexcept override;

private:
    bool FetchPages(MethodFrame& frame, _CSession* session, const HistoryRequest& request,
                    replies::Columns& grid);

    YahooChart m_chart{m_download, *m_settings,
                       text::RoutineName<className, "YahooReplyValidityIndex">::value};
};

}  // namespace vtdl
