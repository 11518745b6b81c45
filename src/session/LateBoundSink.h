#pragma once
// Progress sinks written in languages that have no interfaces.

#include <vtdl.h>

#include "automation/Object.h"

namespace vtdl {

/// A face of every such stand-in; it is not in the type library.
struct ILateBoundSink : IUnknown {
    virtual IDispatch* Target() noexcept = 0;
};

}  // namespace vtdl

__CRT_UUID_DECL(vtdl::ILateBoundSink, 0x1A5F0C52, 0x7D1E, 0x4E0B, 0x8A, 0x6F, 0x3C, 0x92, 0x0B,
                0x4D, 0x71, 0xE6)

namespace vtdl {

/// Passes progress on to an object that only has IDispatch, by the methods' names. A method that
/// the object does not have is skipped.
class LateBoundSink final : public automation::Object<LateBoundSink, ::IProgressCallBack,
                                                      _IProgressCallBack, ILateBoundSink> {
public:
    explicit LateBoundSink(IDispatch* target) : m_target(target) {}

    STDMETHODIMP Start(IUnknown** caller) noexcept override;
    STDMETHODIMP Progress(IUnknown** caller, long percent, BSTR* statusText) noexcept override;
    STDMETHODIMP DataReady(IUnknown** caller) noexcept override;
    STDMETHODIMP Done(IUnknown** caller, long errorNumber) noexcept override;

    IDispatch* Target() noexcept override { return m_target.get(); }

private:
    // Arguments in reverse order, as IDispatch takes them; the caller is added as the last.
    HRESULT Call(const wchar_t* method, IUnknown** caller, std::vector<VARIANT> arguments) noexcept;

    automation::ComPtr<IDispatch> m_target;
};

}  // namespace vtdl
