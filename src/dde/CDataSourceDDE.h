#pragma once
// Local DDE servers.

#include "dde/DdeHandles.h"
#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"

namespace vtdl {

inline constexpr replies::ColumnSpec ddeColumns[] = {
    {L"TIME", replies::ColumnType::date},
    {L"DATA", replies::ColumnType::string},
};

class CDataSourceDDE final
    : public SourceAdapter<CDataSourceDDE, ::CDataSourceDDE, _CDataSourceDDE> {
public:
    static constexpr text::FixedString className{"CDataSourceDDE"};
    static constexpr SourceIdentity identity{
        .name = L"DDE",
        .description = L"DDE",
        .priceDataType = vtdlPriceDataAny | vtdlPriceDataTypeRealtime,
        .nameParameter = L"DDE",
        .descriptionParameter = L"Dynamic Data Exchange",
        .dataServer = L"DDE",
        .columns = ddeColumns,
        .sessionClass = __uuidof(::CSessionDDE),
    };
    static std::vector<ParameterDeclaration> SessionParameters();

    CDataSourceDDE();

    /// A DDE session reads by itself; this makes it do so now. Other sessions cannot be served.
    /// Abort is without effect: no transaction takes longer than two seconds.
    STDMETHODIMP Download(_CSession** session) noexcept override;

private:
    std::shared_ptr<dde::Instance> m_instance;  ///< nothing without DDE, which sessions report
};

}  // namespace vtdl
