#include "automation/KeyedCollection.h"

#include <algorithm>
#include <memory>
#include <new>

#include "automation/Object.h"

namespace vtdl::automation {
namespace {

using Items = std::shared_ptr<const std::vector<ComPtr<IDispatch>>>;

class EnumVariant final : public IEnumVARIANT, private LiveObject {
public:
    EnumVariant(Items items, std::size_t position)
        : m_items(std::move(items)), m_position(position) {}

    STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
        if (!object) return E_POINTER;
        *object = id == __uuidof(IUnknown) || id == __uuidof(IEnumVARIANT) ? this : nullptr;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_references; }

    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

    STDMETHODIMP Next(ULONG count, VARIANT* values, ULONG* fetched) noexcept override {
        if (!values && count > 0) return E_POINTER;
        ULONG done = 0;
        for (; done < count && m_position < m_items->size(); ++done, ++m_position) {
            VariantInit(&values[done]);
            values[done].vt = VT_DISPATCH;
            values[done].pdispVal = (*m_items)[m_position].AddRefed();
        }
        if (fetched) *fetched = done;
        return done == count ? S_OK : S_FALSE;
    }

    STDMETHODIMP Skip(ULONG count) noexcept override {
        const std::size_t skipped = std::min<std::size_t>(count, m_items->size() - m_position);
        m_position += skipped;
        return skipped == count ? S_OK : S_FALSE;
    }

    STDMETHODIMP Reset() noexcept override {
        m_position = 0;
        return S_OK;
    }

    STDMETHODIMP Clone(IEnumVARIANT** clone) noexcept override {
        if (!clone) return E_POINTER;
        *clone = new (std::nothrow) EnumVariant(m_items, m_position);
        return *clone ? S_OK : E_OUTOFMEMORY;
    }

private:
    ~EnumVariant() = default;

    Items m_items;
    std::size_t m_position;
    ULONG m_references = 1;
};

}  // namespace

ComPtr<IUnknown> Enumerate(std::vector<ComPtr<IDispatch>> items) {
    auto shared = std::make_shared<const std::vector<ComPtr<IDispatch>>>(std::move(items));
    return ComPtr<IUnknown>::attach(new EnumVariant(std::move(shared), 0));
}

}  // namespace vtdl::automation
