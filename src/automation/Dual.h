#pragma once
// IDispatch of one dual interface, from the type library.

#include "automation/ComPtr.h"
#include "automation/Error.h"
#include "automation/LateCall.h"
#include "automation/Platform.h"
#include "automation/TypeInformation.h"

namespace vtdl::automation {

/// Implements the IDispatch half of a dual interface. A class with several dual interfaces has one
/// Dual for each, so that each face answers its own names.
template <class I>
class Dual : public I {
public:
    STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept final {
        if (!count) return NullReference();
        *count = 1;
        return S_OK;
    }

    STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** information) noexcept final {
        if (!information) return NullReference();
        *information = nullptr;
        return Guarded(nullptr, [&]() -> HRESULT {
            if (index != 0) return DISP_E_BADINDEX;
            *information = TypeInformationOf<I>();
            (*information)->AddRef();
            return S_OK;
        });
    }

    STDMETHODIMP GetIDsOfNames(REFIID asker, LPOLESTR* names, UINT count, LCID locale,
                               DISPID* identifiers) noexcept final {
        return Guarded(nullptr, [&] {
            const HRESULT hr = TypeInformationOf<I>()->GetIDsOfNames(names, count, identifiers);
            const auto other = OtherFace(asker, hr == DISP_E_UNKNOWNNAME);
            return other ? other->GetIDsOfNames(__uuidof(I), names, count, locale, identifiers)
                         : hr;
        });
    }

    STDMETHODIMP Invoke(DISPID member, REFIID asker, LCID locale, WORD flags,
                        DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument) noexcept final {
        return Guarded(exception, [&] {
            if (!parameters || HasNullReference(*parameters)) return E_POINTER;
            LateCall call(TypeInformationOf<I>(), member, flags, *parameters);
            if (InvokeOwn(member, flags, call.Parameters(), result)) return S_OK;
            const HRESULT hr =
                call.Make(static_cast<I*>(this), locale, result, exception, badArgument);
            const auto other = OtherFace(asker, hr == DISP_E_MEMBERNOTFOUND);
            return other ? other->Invoke(member, __uuidof(I), locale, flags, parameters, result,
                                         exception, badArgument)
                         : hr;
        });
    }

protected:
    /// Makes calls that the platform's dispatcher cannot make; false leaves the call to it. The
    /// arguments stand in reverse order, all by position. Throws what goes wrong.
    virtual bool InvokeOwn(DISPID, WORD, DISPPARAMS&, VARIANT*) { return false; }

    /// The face of the object whose names a late-bound host reaches through the default one, and
    /// the default one's through this.
    virtual IDispatch* AlsoAnswers() { return nullptr; }

private:
    // The reserved identifier, which is null in a host's calls, tells that the other face asks and
    // must not be asked again.
    ComPtr<IDispatch> OtherFace(REFIID asker, bool isNeeded) {
        IDispatch* const other = isNeeded && asker == GUID{} ? AlsoAnswers() : nullptr;
        const bool isOther = other != static_cast<IDispatch*>(static_cast<I*>(this));
        return isOther ? ComPtr<IDispatch>(other) : Query<IDispatch>(other);
    }

    // What a failure returns by its number alone must not find the texts of an earlier one.
    template <class Body>
    static HRESULT Guarded(EXCEPINFO* exception, Body&& body) noexcept {
        SetErrorInfo(0, nullptr);
        try {
            return body();
        } catch (...) {
            return exception ? Report(CurrentError(), *exception) : Raise(CurrentError());
        }
    }
};

}  // namespace vtdl::automation
