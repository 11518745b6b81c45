#pragma once
// The session that an adapter serves, seen through its progress face.

#include <vtdl.h>

#include <string>

#include "automation/Bstr.h"
#include "automation/ComPtr.h"
#include "automation/Error.h"

namespace vtdl {

/// Reports to a session; without one, reports go nowhere. The adapter is the caller of every
/// report.
class CurrentSession {
public:
    CurrentSession() = default;
    CurrentSession(IUnknown* adapter, IUnknown* session)
        : m_adapter(adapter), m_callback(automation::Query<_IProgressCallBack>(session)) {}

    bool IsCurrent() const noexcept { return static_cast<bool>(m_callback); }

    void Start() const {
        automation::ComPtr<IUnknown> caller(m_adapter);
        if (const auto callback = m_callback) automation::Check(callback->Start(caller.InOut()));
    }

    void Progress(long percent, const std::wstring& statusText) const {
        if (!m_callback) return;
        automation::ComPtr<IUnknown> caller(m_adapter);
        automation::Bstr text(statusText);
        const auto callback = m_callback;
        automation::Check(callback->Progress(caller.InOut(), percent, text.put()));
    }

    void DataReady() const {
        automation::ComPtr<IUnknown> caller(m_adapter);
        if (const auto callback = m_callback)
            automation::Check(callback->DataReady(caller.InOut()));
    }

    void Done(long errorNumber) {
        automation::ComPtr<IUnknown> caller(m_adapter);
        Note(errorNumber);
        if (const auto callback = m_callback)
            automation::Check(callback->Done(caller.InOut(), errorNumber));
    }

    /// The first error of this download; 0 without one. Note() is for one that is reported another
    /// way than through Done.
    long Error() const noexcept { return m_error; }
    void Note(long errorNumber) noexcept {
        if (m_error == 0) m_error = errorNumber;
    }

private:
    IUnknown* m_adapter = nullptr;
    automation::ComPtr<_IProgressCallBack> m_callback;
    long m_error = 0;
};

}  // namespace vtdl
