#include "session/CSession.h"

#include "automation/ClassTable.h"
#include "automation/MessagePump.h"
#include "objectmodel/mGlobals.h"
#include "session/LateBoundSink.h"
#include "session/SessionState.h"
#include "settings/SharedSettings.h"
#include "text/CaseFold.h"
#include "transport/WinInet.h"

namespace vtdl {

using namespace automation;

namespace {

// The identifier of the record vtdlSessionError in the type library.
constexpr GUID errorRecordId = {
    0x51F5AD57, 0x152A, 0x412E, {0x83, 0x6D, 0xA0, 0xE9, 0xFC, 0x6E, 0x08, 0x7C}};

struct ErrorText {
    unsigned long number;
    std::wstring_view text;
};

constexpr ErrorText errorTexts[] = {
    {0x800C0002, L"Invalid URL"},
    {0x800C0003, L"No session"},
    {0x800C0004, L"Cannot connect"},
    {0x800C0006, L"Object not found"},
    {0x800C0007, L"Data not available"},
    {0x800C0008, L"Download failure"},
    {0x800C0009, L"Authentication required"},
    {0x800C000A, L"No valid media"},
    {0x800C000B, L"Connection timeout"},
    {0x800C000C, L"Invalid request"},
    {0x800C000F, L"Cannot load data"},
    {0x800C0010, L"Cannot instantiate object"},
    {0x800C0013, L"Unknown query option"},
    {0x800C0014, L"Redirect failed"},
    {0x800C0015, L"Redirect to dir"},
    {0x800C0016, L"Cannot lock request"},
    {0x800C0100, L"Code download declined"},
    {0x800C0300, L"Cannot replace SFP file"},
    {500, L"An internal server error occurred. Please try again later."},
    {501, L"There are no All Markets results"},
    {502, L"Internal Server Error"},
    {503, L"Bad Request.Your client has issued a malformed or illegal request."},
    {504, L"Not Found"},
};

}  // namespace

std::wstring_view SessionErrorText(long number) noexcept {
    for (const ErrorText& entry : errorTexts)
        if (static_cast<long>(entry.number) == number) return entry.text;
    return L"Unknown error";
}

CSession::CSession() : m_parameters(Make<CParameters>()) {
    GUID identifier;
    Check(CoCreateGuid(&identifier));
    m_id = static_cast<long>(identifier.Data1);
}

// The pause lets a timer message that was posted already find the timer gone.
CSession::~CSession() {
    m_timer.reset();
    if (m_period > 0) Sleep(static_cast<DWORD>(m_period));
}

STDMETHODIMP CSession::get_Error(vtdlSessionError* result) noexcept {
    return FramedResult<"Error">(result, [&] {
        Bstr description = m_errorDescription;
        const VARIANT_BOOL isNewer = mGlobals::IsNewVersionKnown() ? VARIANT_TRUE : VARIANT_FALSE;
        *result = {m_errorType, m_errorNumber, description.release(), isNewer};
    });
}

STDMETHODIMP CSession::get_Status(vtdlSessionStatus* result) noexcept {
    return FramedResult<"Status">(result, [&] { *result = m_status; });
}

STDMETHODIMP CSession::get_UserData(VARIANT* result) noexcept {
    return FramedResult<"UserData">(result, [&] { *result = Variant(m_userData).release(); });
}

STDMETHODIMP CSession::put_UserData(VARIANT value) noexcept {
    return Framed<"UserData">([&] { m_userData = Variant(value); });
}

STDMETHODIMP CSession::putref_UserData(VARIANT value) noexcept { return put_UserData(value); }

STDMETHODIMP CSession::get_Tag(VARIANT* result) noexcept {
    return FramedResult<"Tag">(result, [&] { *result = Variant(m_tag).release(); });
}

STDMETHODIMP CSession::put_Tag(VARIANT value) noexcept {
    return Framed<"Tag">([&] { m_tag = Variant(value); });
}

STDMETHODIMP CSession::putref_Tag(VARIANT value) noexcept { return put_Tag(value); }

STDMETHODIMP CSession::putref_Progressor(_IProgressCallBack* value) noexcept {
    return Framed<"Progressor">([&] { m_progressor = value; });
}

STDMETHODIMP CSession::get_Progressor(_IProgressCallBack** result) noexcept {
    return FramedResult<"Progressor">(result, [&] { *result = m_progressor.AddRefed(); });
}

STDMETHODIMP CSession::get_ID(long* result) noexcept {
    return FramedResult<"ID">(result, [&] { *result = m_id; });
}

STDMETHODIMP CSession::get_DataSource(_CDataSource** result) noexcept {
    return FramedResult<"DataSource">(result, [&] { *result = m_dataSource.AddRefed(); });
}

STDMETHODIMP CSession::putref_DataSource(_CDataSource* value) noexcept {
    return Framed<"DataSource">([&] { m_dataSource = value; });
}

STDMETHODIMP CSession::get_Parameters(_CParameters** result) noexcept {
    return FramedResult<"Parameters">(result, [&] { *result = m_parameters.AddRefed(); });
}

STDMETHODIMP CSession::get_Data(_CData** result) noexcept {
    return FramedResult<"Data">(result, [&] { *result = m_data.AddRefed(); });
}

STDMETHODIMP CSession::putref_Data(_CData* value) noexcept {
    return Framed<"Data">([&] { m_data = value; });
}

template <text::FixedString Member>
HRESULT CSession::WithoutDataSource() noexcept {
    return Untrapped<Member>([](const wchar_t* routine) {
        throw Error(E_INVALIDARG, routine, L"The session has no data source");
    });
}

STDMETHODIMP CSession::Start() noexcept {
    if (!m_dataSource) return WithoutDataSource<"Start">();
    const ComPtr<_CSession> alive(this);
    return Framed<"Start">([&](MethodFrame& frame) {
        DropEarlierData();
        const long period = this->Period();
        if (period >= 1) return RunPeriodically(frame, period);
        frame.Step([&] { m_activeSource = m_dataSource; });
        frame.Step([&] { Check(NextTick()); });
        frame.Step([&] { Check(Done()); });
    });
}

STDMETHODIMP CSession::NextTick() noexcept {
    if (!m_dataSource) return WithoutDataSource<"NextTick">();
    const ComPtr<_CSession> alive(this);
    return Framed<"NextTick">([&](MethodFrame& frame) {
        if (m_status == vtdlSessionStatusBusy || UpdateLock::IsLocked()) return;
        m_status = vtdlSessionStatusBusy;
        // Whatever way the download is left, the session can be started again.
        struct Idle {
            vtdlSessionStatus& status;
            ~Idle() {
                if (status == vtdlSessionStatusBusy) status = vtdlSessionStatusIdle;
            }
        } idle{m_status};
        frame.Step([&] {
            const ComPtr<_CDataSource> source = m_activeSource ? m_activeSource : m_dataSource;
            ComPtr<_CSession> session(this);
            Check(source->Download(session.InOut()));
        });
        frame.Step([&] {
            ComPtr<IUnknown> caller(AsCaller());
            if (const auto sink = m_progressor) Check(sink->DataReady(caller.InOut()));
        });
        m_status = vtdlSessionStatusIdle;
    });
}

// The session's data source is told, not the clone that a periodic run downloads with; on purpose.
STDMETHODIMP CSession::Abort() noexcept {
    if (!m_dataSource) return WithoutDataSource<"Abort">();
    return Framed<"Abort">([&] { Check(ComPtr(m_dataSource)->Abort()); });
}

STDMETHODIMP CSession::Done() noexcept {
    const ComPtr<_CSession> alive(this);
    return Framed<"Done">([&](MethodFrame& frame) {
        m_timer.reset();
        // A timer message already posted drains meanwhile.
        if (const long period = std::exchange(m_period, 0); period > 0)
            PumpFor(static_cast<DWORD>(period));
        ComPtr<_CDataSource> source = std::move(m_activeSource);
        frame.Step([&] {
            if (source) Check(source->Abort());
        });
        source.reset();
        m_status = vtdlSessionStatusDone;
        frame.Step([&] {
            ComPtr<IUnknown> caller(AsCaller());
            if (const auto sink = m_progressor) Check(sink->Done(caller.InOut(), m_errorNumber));
        });
    });
}

STDMETHODIMP CSession::Start(IUnknown**) noexcept {
    return Framed<"IProgressCallBack_Start">([&] {
        ComPtr<IUnknown> caller(AsCaller());
        if (const auto sink = m_progressor) Check(sink->Start(caller.InOut()));
    });
}

STDMETHODIMP CSession::Progress(IUnknown**, long percent, BSTR* statusText) noexcept {
    return Framed<"IProgressCallBack_Progress">([&] {
        ComPtr<IUnknown> caller(AsCaller());
        if (const auto sink = m_progressor)
            Check(sink->Progress(caller.InOut(), percent, statusText));
    });
}

// The session itself tells the host when the download has returned.
STDMETHODIMP CSession::DataReady(IUnknown**) noexcept {
    return Framed<"IProgressCallBack_DataReady">([] {});
}

// Success does not clear the record, on purpose: an error stays until a later one replaces it.
STDMETHODIMP CSession::Done(IUnknown**, long errorNumber) noexcept {
    return Framed<"IProgressCallBack_Done">([&] {
        if (errorNumber != 0)
            SetError(vtdlSessionErrorDownload, errorNumber, TranslateErrorMessage(errorNumber));
    });
}

std::wstring_view CSession::TranslateErrorMessage(long number) noexcept {
    std::wstring_view text;
    Framed<"TranslateErrorMessage">([&] { text = SessionErrorText(number); });
    return text;
}

void CSession::SetError(vtdlSessionErrorType type, long number, std::wstring_view description) {
    m_errorDescription = Bstr(description);
    m_errorType = type;
    m_errorNumber = number;
}

// A request of the same thread that lets this message run could not go on before the tick's own one
// has ended.
STDMETHODIMP CSession::Fire(long) noexcept {
    return Framed<"iTimer_Fire">([&] {
        if (m_timer && m_timer->TakeTurn(!WinInet::IsAnyRunning())) Check(NextTick());
    });
}

// The platform's dispatcher cannot return a record, and takes no sink that lacks the interface.
bool CSession::InvokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) {
    constexpr DISPID error = 1, progressor = 5;
    const bool isRead = (flags & DISPATCH_PROPERTYGET) && result;
    const bool isAssigned =
        (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) && parameters.cArgs == 1;
    if (member == error && isRead && parameters.cArgs == 0)
        *result = ErrorRecord().release();
    else if (member == error && isRead && parameters.cArgs == 1)
        *result = ErrorField(ToText(parameters.rgvarg[0]).view()).release();
    else if (member == progressor && isRead && parameters.cArgs == 0)
        *result = LateBoundProgressor().release();
    else if (member == progressor && isAssigned)
        SetLateBoundProgressor(Variant(parameters.rgvarg[0]));
    else
        return false;
    return true;
}

void CSession::SetLateBoundProgressor(const Variant& object) {
    if (!object.IsObject()) throw MakeRuntimeError(RuntimeError::typeMismatch);
    IUnknown* unknown = object.get().punkVal;
    ComPtr<_IProgressCallBack> sink = Query<_IProgressCallBack>(unknown);
    if (const auto lateBound = Query<IDispatch>(unknown); !sink && lateBound)
        sink = Make<LateBoundSink>(lateBound.get());
    Check(putref_Progressor(sink.get()));
}

// The host's own object, not what stands between.
Variant CSession::LateBoundProgressor() {
    ComPtr<_IProgressCallBack> sink;
    Check(get_Progressor(sink.put()));
    const auto standIn = Query<ILateBoundSink>(sink.get());
    return Variant(standIn ? standIn->Target() : static_cast<IDispatch*>(sink.get()));
}

Variant CSession::ErrorRecord() {
    ComPtr<IRecordInfo> information;
    Check(GetRecordInfoFromTypeInfo(TypeInformation(errorRecordId), information.put()));
    Variant record;
    auto* value = static_cast<vtdlSessionError*>(information->RecordCreate());
    if (!value) throw std::bad_alloc();
    record.put()->vt = VT_RECORD;
    record.put()->pvRecord = value;
    record.put()->pRecInfo = information.detach();
    Check(get_Error(value));
    return record;
}

// Script languages know no records; they read Error("ErrorNumber").
Variant CSession::ErrorField(std::wstring_view name) const {
    const std::wstring field = text::FoldCase(name);
    if (field == L"ERRORTYPE") return Variant::Long(m_errorType);
    if (field == L"ERRORNUMBER") return Variant::Long(m_errorNumber);
    if (field == L"ERRORDESCRIPTION") return Variant(m_errorDescription.view());
    if (field == L"NEWVERSIONAVAILABLE") return Variant::Bool(mGlobals::IsNewVersionKnown());
    throw MakeRuntimeError(RuntimeError::invalidCall, name);
}

// Whatever keeps the period from being read makes a single run, on purpose.
long CSession::Period() noexcept {
    try {
        const ComPtr<_CParameter> parameter = m_parameters->Items().find(L"PERIOD");
        Variant value;
        if (parameter) Check(parameter->get_Value(value.put()));
        return ToLong(value.get());
    } catch (...) {
        return 0;
    }
}

// Strictly, what a download before brought cannot pass for the next one's.
void CSession::DropEarlierData() noexcept {
    try {
        if (AreRepliesStrict(*SharedSettings())) m_data.reset();
    } catch (...) {
        return;  // the download will fail alike
    }
}

void CSession::RunPeriodically(MethodFrame& frame, long period) {
    frame.Step([&] {
        ComPtr<_CDataSource> clone;
        Check(m_dataSource->Clone(clone.put()));
        m_activeSource = clone;
    });
    frame.Step([&] {
        m_window = HiddenWindow::get();
        m_timer = std::make_unique<cTimer>();
        m_timer->StartTimer(period, this, m_window->Handle(), m_id);
    });
    m_period = period;
    m_status = vtdlSessionStatusIdle;
}

VTDL_CREATABLE(CSession)
VTDL_CREATABLE(CSessions)

}  // namespace vtdl
