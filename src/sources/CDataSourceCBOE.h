#pragma once
// The option chain of an underlying, from the download form of the exchange's delayed quotes.

#include "replies/CboeTable.h"
#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"

namespace vtdl {

class CDataSourceCBOE final
    : public SourceAdapter<CDataSourceCBOE, ::CDataSourceCBOE, _CDataSourceCBOE> {
public:
    static constexpr text::FixedString className{"CDataSourceCBOE"};
    static constexpr SourceIdentity identity{
        .name = L"CBOE",
        .description = L"CBOE",
        .priceDataType = vtdlPriceDataTypeOptions | vtdlPriceDataTypeOptionsByUnderlying,
        .nameParameter = L"CBOE",
        .descriptionParameter = L"Chicago Board Of Exchange",
        .dataServer = L"CBOE",
    };
    static std::vector<ParameterDeclaration> SessionParameters() { return {TickerParameter()}; }

    /// No columns are announced: the result is three records.
    STDMETHODIMP get_DataFields(_CDataFields** result) noexcept override;

    /// Delivers "TICKER", the underlying's quote, and "CALLS" and "PUTS": nine arrays each, the
    /// elements at one index describing the same option, and the same line of the reply in both. A
    /// reply that failed or is of another type delivers a result without values.
    STDMETHODIMP Download(_CSession** session) noexcept override;

    static std::string FormFault(const WinInet& client);

private:
    std::string BuildFormBody(bool isLookupForm, std::string_view ticker);
    std::string FetchTable(MethodFrame& frame, _CSession* session);
    bool Parse(MethodFrame& frame, _CSession* session, std::string_view reply, CData& data);
    static double ConvertCBOEDate(_CSession* session, std::string_view text) noexcept;
    static automation::ComPtr<CDataFields> QuoteRecord(MethodFrame& frame, _CSession* session,
                                                       const replies::CboeQuote& quote);
};

}  // namespace vtdl
