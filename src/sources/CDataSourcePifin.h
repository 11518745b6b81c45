#pragma once
// Daily history of futures and commodities, with open interest.

#include "replies/HistoryTables.h"
#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"
#include "transport/CHTTPDownloader.h"

namespace vtdl {

class CDataSourcePifin final
    : public SourceAdapter<CDataSourcePifin, ::CDataSourcePifin, _CDataSourcePifin>,
      private HttpDownloadEvents {
public:
    static constexpr text::FixedString className{"CDataSourcePifin"};
    static constexpr SourceIdentity identity{
        .name = L"Pifin",
        .description = L"PIFIN",
        .priceDataType = vtdlPriceDataTypeHistorical | vtdlPriceDataTypeCommodities,
        .nameParameter = L"Pifin",
        .descriptionParameter = L"Pifin (historical data)",
        .dataServer = L"PIFIN",
        .columns = replies::pifinColumns,
    };
    static std::vector<ParameterDeclaration> SessionParameters();

    /// Hands the rows over in the order of the reply. A reply that is no table gives an empty
    /// result.
    STDMETHODIMP Download(_CSession** session) noexcept override;

private:
    void OnStatusText(std::wstring_view) noexcept override {}
    void OnProgress(long percent) noexcept override;

    /// Its progress reaches the session. No request goes through it so far: the service answers the
    /// other client just as well.
    automation::ComPtr<CHTTPDownloader> m_HTTPDNL =
        automation::Make<CHTTPDownloader>(static_cast<HttpDownloadEvents*>(this));
};

}  // namespace vtdl
