#pragma once
// What hosts implement: progress sinks, and stand-ins for the library's own objects.

#include <gtest/gtest.h>
#include <vtdl.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/Com.h"

namespace vtdl::tests {

/// Base of an object that lives on the stack. What is left of references to it at its end is a
/// leak of the library. Its IDispatch answers nothing: the library uses vtables.
template <class I>
class HostObject : public I {
public:
    HostObject() = default;
    HostObject(const HostObject&) = delete;
    HostObject& operator=(const HostObject&) = delete;

    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        const bool isKnown =
            id == __uuidof(I) || id == __uuidof(IUnknown) || id == __uuidof(IDispatch);
        *object = isKnown ? static_cast<I*>(this) : nullptr;
        m_references += isKnown;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override { return --m_references; }
    STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                        UINT*) override {
        return DISP_E_MEMBERNOTFOUND;
    }

protected:
    ~HostObject() { EXPECT_EQ(m_references, 0u) << "references to a host's object are left"; }

private:
    ULONG m_references = 0;
};

using Events = std::vector<std::wstring>;

/// A sink that writes down what it is told.
class ProgressSink : public HostObject<_IProgressCallBack> {
public:
    Events events;
    std::function<void(const std::wstring& event, _CSession* session)> onEvent;

    STDMETHODIMP Start(IUnknown** caller) override { return Record(caller, L"Start"); }
    STDMETHODIMP Progress(IUnknown** caller, long percent, BSTR* statusText) override {
        const std::wstring text = *statusText ? *statusText : L"";
        return Record(caller, L"Progress " + std::to_wstring(percent) + L" [" + text + L"]");
    }
    STDMETHODIMP DataReady(IUnknown** caller) override { return Record(caller, L"DataReady"); }
    STDMETHODIMP Done(IUnknown** caller, long number) override {
        return Record(caller, L"Done " + std::to_wstring(number));
    }

private:
    HRESULT Record(IUnknown** caller, const std::wstring& event) {
        Ptr<_CSession> session(*caller);
        EXPECT_TRUE(session) << "the caller is not the session";
        events.push_back(event);
        if (onEvent) onEvent(event, session);
        return S_OK;
    }
};

/// A sink as script languages have it: only IDispatch, and not every method.
class ScriptSink : public HostObject<IDispatch> {
public:
    Events events;
    std::vector<std::wstring> methods{L"Start", L"Progress", L"DataReady", L"Done"};
    bool isRaising = false;

    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* member) override {
        const auto found = std::ranges::find(methods, names[0]);
        *member = static_cast<DISPID>(found - methods.begin());
        return found == methods.end() ? DISP_E_UNKNOWNNAME : S_OK;
    }
    STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                        EXCEPINFO* exception, UINT*) override {
        events.push_back(methods[static_cast<std::size_t>(member)]);
        for (UINT i = parameters->cArgs - 1; i-- > 0;)
            events.back() += L" " + TextOf(parameters->rgvarg[i]);
        EXPECT_EQ(parameters->rgvarg[parameters->cArgs - 1].vt, VT_DISPATCH);
        if (!isRaising) return S_OK;
        exception->scode = static_cast<HRESULT>(0x800A0005);
        exception->bstrDescription = SysAllocString(L"went wrong");
        return DISP_E_EXCEPTION;
    }
};

/// A data source whose download is a function of the test.
class TestSource : public HostObject<_CDataSource> {
public:
    std::function<HRESULT(_CSession* session)> download = [](_CSession*) { return S_OK; };
    TestSource* clone = nullptr;
    int downloads = 0;
    int aborts = 0;

    STDMETHODIMP get_PriceDataType(vtdlPriceDataType*) override { return E_NOTIMPL; }
    STDMETHODIMP get_DataFields(_CDataFields**) override { return E_NOTIMPL; }
    STDMETHODIMP get_Description(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Name(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Parameters(_CParameters**) override { return E_NOTIMPL; }
    STDMETHODIMP Download(_CSession** session) override {
        ++downloads;
        return download(*session);
    }
    STDMETHODIMP Abort() override { return ++aborts, S_OK; }
    STDMETHODIMP Search(_CParameters**, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP CreateSession(_CSession**) override { return E_NOTIMPL; }
    STDMETHODIMP Clone(_CDataSource** result) override {
        TestSource* copy = clone ? clone : this;
        copy->AddRef();
        *result = copy;
        return S_OK;
    }
};

}  // namespace vtdl::tests
