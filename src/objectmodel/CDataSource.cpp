#include "objectmodel/CDataSource.h"

#include "automation/Bstr.h"
#include "automation/ClassTable.h"
#include "objectmodel/CDataFields.h"

namespace vtdl {

using namespace automation;

STDMETHODIMP CDataSource::get_PriceDataType(vtdlPriceDataType* result) noexcept {
    return framedResult<"PriceDataType">(result, [&] { *result = vtdlPriceDataTypeNone; });
}

STDMETHODIMP CDataSource::get_DataFields(_CDataFields** result) noexcept {
    return framedResult<"DataFields">(result, [&] { *result = make<CDataFields>().detach(); });
}

STDMETHODIMP CDataSource::get_Description(BSTR* result) noexcept {
    return framedResult<"Description">(result, [&] { *result = Bstr(L"").release(); });
}

STDMETHODIMP CDataSource::get_Name(BSTR* result) noexcept {
    return framedResult<"Name">(result, [&] { *result = Bstr(L"").release(); });
}

STDMETHODIMP CDataSource::get_Parameters(_CParameters** result) noexcept {
    return framedResult<"Parameters">(result, [] {});
}

STDMETHODIMP CDataSource::Download(_CSession** session) noexcept {
    if (!session || !*session) return E_POINTER;
    return framed<"Download">([&](MethodFrame& frame) {
        const auto progress = query<_IProgressCallBack>(*session);
        if (!progress) throw runtimeError(RuntimeError::typeMismatch);
        IUnknown* caller = static_cast<_CDataSource*>(this);
        Bstr statusText(L"");
        frame.step([&] { check(progress->Start(&caller)); });
        for (long percent = 1; percent <= 100; ++percent)
            frame.step([&] { check(progress->Progress(&caller, percent, statusText.put())); });
        frame.step([&] { check(progress->Done(&caller, 0)); });
    });
}

STDMETHODIMP CDataSource::Abort() noexcept {
    return framed<"Abort">([] {});
}

STDMETHODIMP CDataSource::Search(_CParameters**, BSTR* result) noexcept {
    if (result) *result = nullptr;
    return raising(
        [] { throw Error(E_NOTIMPL, L"vtdl.CDataSource.Search", L"Search is not implemented"); });
}

STDMETHODIMP CDataSource::CreateSession(_CSession** result) noexcept {
    return framedResult<"CreateSession">(result, [&] {
        auto session = createInstance<_CSession>(__uuidof(::CSession));
        check(session->putref_DataSource(this));
        *result = session.detach();
    });
}

STDMETHODIMP CDataSource::Clone(_CDataSource** result) noexcept {
    return framedResult<"Clone">(result, [&] { *result = make<CDataSource>().detach(); });
}

}  // namespace vtdl
