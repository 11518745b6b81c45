#include "automation/Object.h"

namespace vtdl::automation {
namespace {

// What a failure returns by its number alone must not find the texts of an earlier one.
HRESULT Guarded(EXCEPINFO* exception, FunctionRef<HRESULT()> body) noexcept {
    SetErrorInfo(0, nullptr);
    try {
        return body();
    } catch (...) {
        return exception ? Report(CurrentError(), *exception) : Raise(CurrentError());
    }
}

}  // namespace

HRESULT Face::GetTypeInfo(UINT index, ITypeInfo** information) const noexcept {
    if (!information) return NullReference();
    *information = nullptr;
    return Guarded(nullptr, [&]() -> HRESULT {
        if (index != 0) return DISP_E_BADINDEX;
        *information = m_type();
        (*information)->AddRef();
        return S_OK;
    });
}

HRESULT Face::GetIDsOfNames(REFIID asker, LPOLESTR* names, UINT count, LCID locale,
                            DISPID* identifiers) const noexcept {
    return Guarded(nullptr, [&] {
        const HRESULT hr = m_type()->GetIDsOfNames(names, count, identifiers);
        const auto other = OtherFace(asker, hr == DISP_E_UNKNOWNNAME);
        return other ? other->GetIDsOfNames(m_id, names, count, locale, identifiers) : hr;
    });
}

HRESULT Face::Invoke(DISPID member, REFIID asker, LCID locale, WORD flags, DISPPARAMS* parameters,
                     VARIANT* result, EXCEPINFO* exception, UINT* badArgument,
                     OwnInvoke own) const noexcept {
    return Guarded(exception, [&] {
        if (!parameters || HasNullReference(*parameters)) return E_POINTER;
        LateCall call(m_type(), member, flags, *parameters);
        if (own(call.Parameters())) return S_OK;
        const HRESULT hr = call.Make(m_self, locale, result, exception, badArgument);
        const auto other = OtherFace(asker, hr == DISP_E_MEMBERNOTFOUND);
        return other ? other->Invoke(member, m_id, locale, flags, parameters, result, exception,
                                     badArgument)
                     : hr;
    });
}

// The reserved identifier, which is null in a host's calls, tells that the other face asks and must
// not be asked again.
ComPtr<IDispatch> Face::OtherFace(REFIID asker, bool isNeeded) const noexcept {
    if (!isNeeded || asker != GUID{}) return {};
    return m_other == m_self ? Query<IDispatch>(m_other) : ComPtr<IDispatch>(m_other);
}

}  // namespace vtdl::automation
