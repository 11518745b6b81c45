#pragma once
// The creatable class of the progress contract.

#include <vtdl.h>

#include "automation/Object.h"

namespace vtdl {

/// Every method fails, on purpose: the class exists so that hosts can implement its interface.
class IProgressCallBack final
    : public automation::Object<IProgressCallBack, ::IProgressCallBack, _IProgressCallBack> {
public:
    STDMETHODIMP Start(IUnknown**) noexcept override { return Fail(L"Start"); }
    STDMETHODIMP Progress(IUnknown**, long, BSTR*) noexcept override { return Fail(L"Progress"); }
    STDMETHODIMP DataReady(IUnknown**) noexcept override { return Fail(L"DataReady"); }
    STDMETHODIMP Done(IUnknown**, long) noexcept override { return Fail(L"Done"); }

private:
    static HRESULT Fail(const wchar_t* method) noexcept {
        return Raising([&] {
            throw automation::Error(static_cast<HRESULT>(0x80040064),
                                    std::wstring(L"vtdl.IProgressCallBack.") + method,
                                    L"IProgressCallBack component failure");
        });
    }
};

}  // namespace vtdl
