#include "session/LateBoundSink.h"

#include <dispex.h>

#include "automation/ClassTable.h"
#include "automation/Variant.h"

namespace vtdl {
namespace {

using namespace automation;

VARIANT LongArgument(long value) {
    VARIANT argument;
    argument.vt = VT_I4;
    argument.lVal = value;
    return argument;
}

// By value: script languages take no references to texts.
VARIANT TextArgument(BSTR text) {
    VARIANT argument;
    argument.vt = VT_BSTR;
    argument.bstrVal = text;
    return argument;
}

}  // namespace

STDMETHODIMP LateBoundSink::Start(IUnknown** caller) noexcept { return Call(L"Start", caller, {}); }

STDMETHODIMP LateBoundSink::Progress(IUnknown** caller, long percent, BSTR* statusText) noexcept {
    return Call(L"Progress", caller,
                {TextArgument(statusText ? *statusText : nullptr), LongArgument(percent)});
}

STDMETHODIMP LateBoundSink::DataReady(IUnknown** caller) noexcept {
    return Call(L"DataReady", caller, {});
}

STDMETHODIMP LateBoundSink::Done(IUnknown** caller, long errorNumber) noexcept {
    return Call(L"Done", caller, {LongArgument(errorNumber)});
}

HRESULT LateBoundSink::Call(const wchar_t* method, IUnknown** caller,
                            std::vector<VARIANT> arguments) noexcept {
    return Raising([&] {
        // Script classes are asked through their own interface: Wine's VBScript answers no other.
        const auto script = Query<IDispatchEx>(m_target.get());
        const Bstr name(method);
        DISPID member = 0;
        LPOLESTR names = name.get();
        const HRESULT found =
            script ? script->GetDispID(name.get(), fdexNameCaseInsensitive, &member)
                   : m_target->GetIDsOfNames(GUID{}, &names, 1, LOCALE_USER_DEFAULT, &member);
        if (found == DISP_E_UNKNOWNNAME || found == DISP_E_MEMBERNOTFOUND) return;
        Check(found);

        const Variant callerArgument(Query<IDispatch>(caller ? *caller : nullptr).get());
        arguments.push_back(callerArgument.get());
        DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
        EXCEPINFO exception{};
        const HRESULT hr =
            script ? script->InvokeEx(member, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                                      nullptr, &exception, nullptr)
                   : m_target->Invoke(member, GUID{}, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                      &parameters, nullptr, &exception, nullptr);
        const Bstr source = Bstr::attach(exception.bstrSource);
        const Bstr description = Bstr::attach(exception.bstrDescription);
        const Bstr helpFile = Bstr::attach(exception.bstrHelpFile);
        if (hr != DISP_E_EXCEPTION) return Check(hr);
        throw Error(FAILED(exception.scode) ? exception.scode : hr, std::wstring(source.view()),
                    std::wstring(description.view()));
    });
}

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

VTDL_CREATABLE(IProgressCallBack)

}  // namespace vtdl
