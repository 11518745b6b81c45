#include "server/ClassFactory.h"

#include <new>

#include "automation/Object.h"
#include "settings/SharedSettings.h"

namespace vtdl::server {
namespace {

class ClassFactory final : public IClassFactory, private automation::LiveObject {
public:
    explicit ClassFactory(const automation::ClassEntry& entry) : m_entry(entry) {}

    STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
        if (!object) return E_POINTER;
        *object = id == __uuidof(IUnknown) || id == __uuidof(IClassFactory) ? this : nullptr;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP_(ULONG) AddRef() noexcept override {
        return static_cast<ULONG>(InterlockedIncrement(&m_references));
    }

    STDMETHODIMP_(ULONG) Release() noexcept override {
        const long left = InterlockedDecrement(&m_references);
        if (left == 0) delete this;
        return static_cast<ULONG>(left);
    }

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) noexcept override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        ApplyErrorHandlerSettingsOnce();  // nothing fails before it is known how that is reported
        return m_entry.create(id, object);
    }

    STDMETHODIMP LockServer(BOOL isLocked) noexcept override {
        if (isLocked)
            Lock();
        else
            Unlock();
        return S_OK;
    }

private:
    ~ClassFactory() = default;

    const automation::ClassEntry& m_entry;
    long m_references = 1;
};

}  // namespace

HRESULT CreateFactory(const automation::ClassEntry& entry, REFIID interfaceId,
                      void** factory) noexcept {
    auto* created = new (std::nothrow) ClassFactory(entry);
    if (!created) return E_OUTOFMEMORY;
    const HRESULT hr = created->QueryInterface(interfaceId, factory);
    created->Release();
    return hr;
}

}  // namespace vtdl::server
