#pragma once
// Progress sinks written in languages that have no interfaces.

#include <vtdl.h>

#include "automation/Object.h"

namespace vtdl {

/// Passes progress on to an object that only has IDispatch, by the methods' names. A method that
/// the object does not have is skipped.
class LateBoundSink final
    : public automation::Object<LateBoundSink, ::IProgressCallBack, _IProgressCallBack> {
public:
    explicit LateBoundSink(IDispatch* target) : m_target(target) {}

    STDMETHODIMP Start(IUnknown** caller) noexcept override;
    STDMETHODIMP Progress(IUnknown** caller, long percent, BSTR* statusText) noexcept override;
    STDMETHODIMP DataReady(IUnknown** caller) noexcept override;
    STDMETHODIMP Done(IUnknown** caller, long errorNumber) noexcept override;

private:
    // Arguments in reverse order, as IDispatch takes them; the caller is added as the last.
    HRESULT Call(const wchar_t* method, IUnknown** caller, std::vector<VARIANT> arguments) noexcept;

    automation::ComPtr<IDispatch> m_target;
};

}  // namespace vtdl
