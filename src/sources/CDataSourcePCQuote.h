#pragma once
// The current quote of one ticker from a service that wants an account.

#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"

namespace vtdl {

/// Creatable, and not among the manager's data sources; on purpose.
class CDataSourcePCQuote final
    : public SourceAdapter<CDataSourcePCQuote, ::CDataSourcePCQuote, _CDataSourcePCQuote> {
public:
    static constexpr text::FixedString className{"CDataSourcePCQuote"};
    static constexpr SourceIdentity identity{
        .name = L"PCQUOTE",
        .description = L"PCQuote",
        .priceDataType =
            vtdlPriceDataTypeOptionsByTicker | vtdlPriceDataTypeRealtime | vtdlPriceDataAny,
        .nameParameter = L"PCQuote",
        .descriptionParameter = L"PCQuote (realtime)",
        .dataServer = L"PCQUOTE",
    };
    /// The account; kept in the settings file, in clear text, with the adapter's other parameters.
    static std::vector<ParameterDeclaration> OwnParameters();
    static std::vector<ParameterDeclaration> SessionParameters();

    /// Each column holds a single value. A reply with too few values, such as an error text, gives
    /// the ticker and otherwise empty columns.
    STDMETHODIMP Download(_CSession** session) noexcept override;

private:
    std::shared_ptr<WinInet> QuoteClient(std::string_view ticker);
};

}  // namespace vtdl
