#include "ProgressSink.h"

#include "Com.h"
#include "Interrupt.h"
#include "ProgressLine.h"

namespace vtdl::host {

STDMETHODIMP ProgressSink::QueryInterface(REFIID identifier, void** object) noexcept {
    if (!object) return E_POINTER;
    const bool isKnown = identifier == IID_IUnknown || identifier == IID_IDispatch ||
                         identifier == __uuidof(_IProgressCallBack);
    *object = isKnown ? static_cast<_IProgressCallBack*>(this) : nullptr;
    if (!isKnown) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) ProgressSink::Release() noexcept {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
}

STDMETHODIMP ProgressSink::GetTypeInfoCount(UINT* count) noexcept {
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
}

STDMETHODIMP ProgressSink::Start(IUnknown**) noexcept {
    AbortIfInterrupted();
    return S_OK;
}

STDMETHODIMP ProgressSink::Progress(IUnknown**, long percent, BSTR* statusText) noexcept {
    try {
        const std::string text = ToUtf8(automation::ViewOf(statusText ? *statusText : nullptr));
        m_bar.Draw(ProgressLine(m_source, percent, text));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    AbortIfInterrupted();
    return S_OK;
}

STDMETHODIMP ProgressSink::DataReady(IUnknown**) noexcept {
    ++m_updates;
    m_hasEnded = true;
    return S_OK;
}

STDMETHODIMP ProgressSink::Done(IUnknown**, long) noexcept {
    m_hasEnded = true;
    return S_OK;
}

void ProgressSink::AbortIfInterrupted() noexcept {
    if (IsInterrupted()) m_session.Abort();
}

}  // namespace vtdl::host
