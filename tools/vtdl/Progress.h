#pragma once
// While a session runs: what the library reports, and Ctrl-C.

#include <vtdl.h>
#include <windows.h>

#include <string>

#include "Console.h"

namespace vtdl::host {

/// While it exists, Ctrl-C asks for an end. A download that does not end in time, because a server
/// keeps silent, ends with the program; so does everything at the second Ctrl-C.
class InterruptGuard {
public:
    /// The end may take so many milliseconds more than a download is given.
    explicit InterruptGuard(DWORD extraPatience = 0);
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;
    ~InterruptGuard();
};

bool IsInterrupted() noexcept;

/// Dispatches the messages of this thread, in whose course the library works. Waits for the first
/// of them, but not longer than that, and not after Ctrl-C.
void DispatchMessages(DWORD milliseconds);

/// Shows the progress, and aborts the session after Ctrl-C: the library calls here on the thread on
/// which it may be called. It must not outlive the session and the bar that it is given.
class ProgressSink final : public _IProgressCallBack {
public:
    ProgressSink(_CSession& session, std::string source, ProgressBar& bar)
        : m_session(session), m_source(std::move(source)), m_bar(bar) {}

    /// Data has arrived, or none will.
    bool HasEnded() const noexcept { return m_hasEnded; }

    /// How often data has been said to be ready.
    unsigned Updates() const noexcept { return m_updates; }

    STDMETHODIMP QueryInterface(REFIID identifier, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() noexcept override;

    // The library calls through the vtable; nobody asks for names.
    STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override;
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                        UINT*) noexcept override {
        return E_NOTIMPL;
    }

    STDMETHODIMP Start(IUnknown** caller) noexcept override;
    STDMETHODIMP Progress(IUnknown** caller, long percent, BSTR* statusText) noexcept override;
    STDMETHODIMP DataReady(IUnknown** caller) noexcept override;
    STDMETHODIMP Done(IUnknown** caller, long errorNumber) noexcept override;

private:
    ~ProgressSink() = default;
    void AbortIfInterrupted() noexcept;

    ULONG m_references = 0;
    _CSession& m_session;
    std::string m_source;
    ProgressBar& m_bar;
    bool m_hasEnded = false;
    unsigned m_updates = 0;
};

}  // namespace vtdl::host
