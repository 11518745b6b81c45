#pragma once
// One download job.

#include <itimer.h>

#include <vtdl.h>

#include <memory>

#include "automation/Variant.h"
#include "errors/MethodFrame.h"
#include "objectmodel/CParameters.h"
#include "objectmodel/Collection.h"
#include "session/SessionState.h"
#include "timers/cTimer.h"

namespace vtdl {

/// The published session: runs its data source's download once, or on a timer when the parameter
/// "PERIOD" (milliseconds) is positive. Adapters report to its progress face; it passes start and
/// progress on to the host's sink and tells it itself when data is ready and the job is done.
class CSession final : public FramedObject<CSession, ::CSession, _CSession, _IProgressCallBack,
                                           iTimer, ISessionState> {
public:
    static constexpr text::FixedString className{"CSession"};

    CSession();
    ~CSession();

    STDMETHODIMP get_Error(vtdlSessionError* result) noexcept override;
    STDMETHODIMP get_Status(vtdlSessionStatus* result) noexcept override;
    STDMETHODIMP get_UserData(VARIANT* result) noexcept override;
    STDMETHODIMP putref_UserData(VARIANT value) noexcept override;
    STDMETHODIMP put_UserData(VARIANT value) noexcept override;
    STDMETHODIMP get_Tag(VARIANT* result) noexcept override;
    STDMETHODIMP put_Tag(VARIANT value) noexcept override;
    STDMETHODIMP putref_Tag(VARIANT value) noexcept override;
    STDMETHODIMP putref_Progressor(_IProgressCallBack* value) noexcept override;
    STDMETHODIMP get_Progressor(_IProgressCallBack** result) noexcept override;
    STDMETHODIMP get_ID(long* result) noexcept override;
    STDMETHODIMP get_DataSource(_CDataSource** result) noexcept override;
    STDMETHODIMP putref_DataSource(_CDataSource* value) noexcept override;
    STDMETHODIMP get_Parameters(_CParameters** result) noexcept override;
    STDMETHODIMP Start() noexcept override;
    STDMETHODIMP get_Data(_CData** result) noexcept override;
    STDMETHODIMP putref_Data(_CData* value) noexcept override;
    STDMETHODIMP NextTick() noexcept override;
    STDMETHODIMP Abort() noexcept override;
    STDMETHODIMP Done() noexcept override;

    STDMETHODIMP Start(IUnknown** caller) noexcept override;
    STDMETHODIMP Progress(IUnknown** caller, long percent, BSTR* statusText) noexcept override;
    STDMETHODIMP DataReady(IUnknown** caller) noexcept override;
    STDMETHODIMP Done(IUnknown** caller, long errorNumber) noexcept override;

    STDMETHODIMP Fire(long elapsed) noexcept override;

    void SetStatus(vtdlSessionStatus status) noexcept override { m_status = status; }
    void SetError(vtdlSessionErrorType type, long number, std::wstring_view description) override;

    /// Public for the session that holds this one as its inner one.
    bool InvokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) override;

private:
    automation::Variant ErrorRecord();
    automation::Variant ErrorField(std::wstring_view name) const;
    automation::Variant LateBoundProgressor();
    void SetLateBoundProgressor(const automation::Variant& object);
    std::wstring_view TranslateErrorMessage(long number) noexcept;
    template <text::FixedString Member>
    HRESULT WithoutDataSource() noexcept;
    long Period() noexcept;
    void DropEarlierData() noexcept;
    void RunPeriodically(MethodFrame& frame, long period);
    IUnknown* AsCaller() noexcept { return static_cast<_CSession*>(this); }

    automation::ComPtr<_CData> m_data;
    automation::ComPtr<CParameters> m_parameters;
    automation::ComPtr<_CDataSource> m_dataSource;
    automation::ComPtr<_CDataSource> m_activeSource;
    automation::ComPtr<_IProgressCallBack> m_progressor;
    long m_id = 0;
    vtdlSessionStatus m_status = vtdlSessionStatusNew;
    vtdlSessionErrorType m_errorType = vtdlSessionErrorNone;
    long m_errorNumber = 0;
    automation::Bstr m_errorDescription;
    automation::Variant m_userData;
    automation::Variant m_tag;
    long m_period = 0;
    std::shared_ptr<HiddenWindow> m_window;
    std::unique_ptr<cTimer> m_timer;
};

/// The published session collection.
class CSessions final : public Collection<CSessions, ::CSessions, _CSessions, _CSession> {
public:
    static constexpr text::FixedString className{"CSessions"};

    CSessions() {
        Framed<"Class_Initialize">([] {});
    }

    STDMETHODIMP Exists(VARIANT* index, VARIANT_BOOL* result) noexcept override {
        return IsPresent(index, result);
    }
};

}  // namespace vtdl
