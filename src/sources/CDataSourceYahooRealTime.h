#pragma once
// The current quote of one ticker.

#include "replies/Quote.h"
#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"

namespace vtdl {

class CDataSourceYahooRealTime final
    : public SourceAdapter<CDataSourceYahooRealTime, ::CDataSourceYahooRealTime,
                           _CDataSourceYahooRealTime> {
public:
    static constexpr text::FixedString className{"CDataSourceYahooRealTime"};
    static constexpr SourceIdentity identity{
        .name = L"YAHOOREALTIME",
        .description = L"Yahoo! Finance (realtime)",
        .priceDataType = vtdlPriceDataTypeRealtime | vtdlPriceDataTypeCurrency |
                         vtdlPriceDataTypeIndicies | vtdlPriceDataTypeStocks,
        .nameParameter = L"Yahoo! Finance (realtime)",
        .descriptionParameter = L"Yahoo! Finance (realtime)",
        .dataServer = L"YAHOO",
        .settingsName = L"YAHOORT",  // not the name, on purpose
    };
    static std::vector<ParameterDeclaration> SessionParameters() { return {TickerParameter()}; }

    /// Each column holds a single value. A quote whose trade date is the first day of 1970 is
    /// handed over too, and reported as error 5.
    STDMETHODIMP Download(_CSession** session) noexcept override;

    static std::string FormFault(const WinInet& client);

private:
    static double ToDate(_CSession* session, const replies::QuoteColumn& column,
                         std::string_view text) noexcept;
    static double ToTime(_CSession* session, const replies::QuoteColumn& column,
                         std::string_view text) noexcept;
    static void AddValue(_CSession* session, _CDataFields* fields,
                         const replies::QuoteColumn& column, std::string_view text,
                         bool& isInvalid);
};

}  // namespace vtdl
