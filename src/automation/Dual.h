#pragma once
// IDispatch of one dual interface, from the type library.

#include <optional>

#include "automation/Arguments.h"
#include "automation/ComPtr.h"
#include "automation/Error.h"
#include "automation/Platform.h"
#include "automation/TypeInformation.h"

namespace vtdl::automation {

/// Implements the IDispatch half of a dual interface. A class with several dual interfaces has one
/// Dual for each, so that each face answers its own names.
template <class I>
class Dual : public I {
public:
    STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept final {
        if (!count) return E_POINTER;
        *count = 1;
        return S_OK;
    }

    STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** information) noexcept final {
        if (!information) return E_POINTER;
        *information = nullptr;
        if (index != 0) return DISP_E_BADINDEX;
        return Guarded([&] {
            *information = TypeInformationOf<I>();
            (*information)->AddRef();
            return S_OK;
        });
    }

    STDMETHODIMP GetIDsOfNames(REFIID asker, LPOLESTR* names, UINT count, LCID locale,
                               DISPID* identifiers) noexcept final {
        return Guarded([&] {
            const HRESULT hr = TypeInformationOf<I>()->GetIDsOfNames(names, count, identifiers);
            const auto other = OtherFace(asker, hr == DISP_E_UNKNOWNNAME);
            return other ? other->GetIDsOfNames(__uuidof(I), names, count, locale, identifiers)
                         : hr;
        });
    }

    STDMETHODIMP Invoke(DISPID member, REFIID asker, LCID locale, WORD flags,
                        DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument) noexcept final {
        return Guarded([&] {
            if (!parameters) return E_POINTER;
            if (const auto hr = InvokeOwn(member, flags, *parameters, result)) return *hr;
            ArgumentsByReference arguments(TypeInformationOf<I>(), member, flags, *parameters);
            const HRESULT hr = TypeInformationOf<I>()->Invoke(static_cast<I*>(this), member, flags,
                                                              arguments.parameters(), result,
                                                              exception, badArgument);
            const auto other = OtherFace(asker, hr == DISP_E_MEMBERNOTFOUND);
            return other ? other->Invoke(member, __uuidof(I), locale, flags, parameters, result,
                                         exception, badArgument)
                         : hr;
        });
    }

protected:
    /// Calls that the platform's dispatcher cannot make; nothing leaves the call to it.
    virtual std::optional<HRESULT> InvokeOwn(DISPID, WORD, DISPPARAMS&, VARIANT*) { return {}; }

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

    template <class Body>
    static HRESULT Guarded(Body&& body) noexcept {
        try {
            return body();
        } catch (...) {
            return Raise(CurrentError());
        }
    }
};

}  // namespace vtdl::automation
