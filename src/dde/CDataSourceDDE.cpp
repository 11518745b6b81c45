#include "dde/CDataSourceDDE.h"

#include "automation/ClassTable.h"
#include "session/SessionState.h"

namespace vtdl {

using namespace automation;

std::vector<ParameterDeclaration> CDataSourceDDE::SessionParameters() {
    constexpr std::wstring_view types[] = {L"REQUEST", L"TIMER", L"HOTADVISE"};
    ParameterDeclaration type = ListParameter(L"TYPE", types);
    type.value = Variant(std::wstring_view(L"HOTADVISE"));
    return {TextParameter(L"SERVICE"), TextParameter(L"TOPIC"), TextParameter(L"ITEM"),
            PeriodParameter(), type};
}

CDataSourceDDE::CDataSourceDDE() {
    Framed<"Class_Initialize">([&] { m_instance = dde::Instance::get(); });
}

STDMETHODIMP CDataSourceDDE::Download(_CSession** session) noexcept {
    if (!session || !*session) return NullReference();
    const ComPtr<_CSession> current(*session);
    return Framed<"CDataSource_Download">([&] {
        if (Query<_CSessionDDE>(current.get()))
            Check(current->NextTick());
        else
            CurrentSession(static_cast<_CDataSource*>(this), current.get()).Done(dataNotAvailable);
    });
}

VTDL_CREATABLE(CDataSourceDDE)

}  // namespace vtdl
