#include "objectmodel/CDataSource.h"

#include "automation/Bstr.h"
#include "automation/ClassTable.h"
#include "objectmodel/CData.h"

namespace vtdl {

using namespace automation;

STDMETHODIMP CDataSource::get_PriceDataType(vtdlPriceDataType* result) noexcept {
    return FramedResult<"PriceDataType">(result, [&] { *result = vtdlPriceDataTypeNone; });
}

STDMETHODIMP CDataSource::get_DataFields(_CDataFields** result) noexcept {
    return FramedResult<"DataFields">(result, [&] { *result = Make<CDataFields>().detach(); });
}

STDMETHODIMP CDataSource::get_Description(BSTR* result) noexcept {
    return FramedResult<"Description">(result, [&] { *result = Bstr(L"").release(); });
}

STDMETHODIMP CDataSource::get_Name(BSTR* result) noexcept {
    return FramedResult<"Name">(result, [&] { *result = Bstr(L"").release(); });
}

STDMETHODIMP CDataSource::get_Parameters(_CParameters** result) noexcept {
    return FramedResult<"Parameters">(result, [] {});
}

STDMETHODIMP CDataSource::Download(_CSession** session) noexcept {
    if (!session || !*session) return NullReference();
    return Framed<"Download">([&](MethodFrame& frame) {
        const auto progress = Query<_IProgressCallBack>(*session);
        if (!progress) throw MakeRuntimeError(RuntimeError::typeMismatch);
        // Each report has references of its own, which the sink may change.
        const auto report = [&](auto&& send) {
            frame.Step([&] {
                ComPtr<IUnknown> caller(static_cast<_CDataSource*>(this));
                Check(send(caller.InOut()));
            });
        };
        report([&](IUnknown** caller) { return progress->Start(caller); });
        for (long percent = 1; percent <= 100; ++percent)
            report([&](IUnknown** caller) {
                return progress->Progress(caller, percent, Bstr(L"").put());
            });
        report([&](IUnknown** caller) { return progress->Done(caller, 0); });
    });
}

STDMETHODIMP CDataSource::Abort() noexcept {
    return Framed<"Abort">([] {});
}

STDMETHODIMP CDataSource::Search(_CParameters**, BSTR* result) noexcept {
    if (result) *result = nullptr;
    return Raising(
        [] { throw Error(E_NOTIMPL, L"vtdl.CDataSource.Search", L"Search is not implemented"); });
}

STDMETHODIMP CDataSource::CreateSession(_CSession** result) noexcept {
    return FramedResult<"CreateSession">(result, [&] {
        auto session = CreateInstance<_CSession>(__uuidof(::CSession));
        Check(session->putref_DataSource(this));
        *result = session.detach();
    });
}

STDMETHODIMP CDataSource::Clone(_CDataSource** result) noexcept {
    return FramedResult<"Clone">(result, [&] { *result = Make<CDataSource>().detach(); });
}

VTDL_CREATABLE(CDataSource)
VTDL_CREATABLE(CDataSources)

}  // namespace vtdl
