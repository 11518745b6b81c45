#pragma once
// The creatable class of the progress contract.

#include <vtdl.h>

#include "automation/Object.h"

namespace vtdl {

/// Every method fails, on purpose: the class exists so that hosts can implement its interface.
class IProgressCallBack final
    : public automation::Object<IProgressCallBack, ::IProgressCallBack, _IProgressCallBack> {
public:
    STDMETHODIMP Start(IUnknown**) noexcept override { return fail(L"Start"); }
    STDMETHODIMP Progress(IUnknown**, long, BSTR*) noexcept override { return fail(L"Progress"); }
    STDMETHODIMP DataReady(IUnknown**) noexcept override { return fail(L"DataReady"); }
    STDMETHODIMP Done(IUnknown**, long) noexcept override { return fail(L"Done"); }

private:
    static HRESULT fail(const wchar_t* method) noexcept {
        return raising([&] {
            throw automation::Error(static_cast<HRESULT>(0x80040064),
                                    std::wstring(L"vtdl.IProgressCallBack.") + method,
                                    L"IProgressCallBack component failure");
        });
    }
};

}  // namespace vtdl
