#include "dde/CSessionDDE.h"

#include <cstdio>

#include "automation/ClassTable.h"
#include "automation/CodePage.h"
#include "dde/mDDE.h"
#include "objectmodel/CData.h"
#include "objectmodel/mGlobals.h"
#include "text/CaseFold.h"

namespace vtdl {

using namespace automation;

namespace {

// A host that keeps its callback busy for long loses the oldest of what is waiting, not the newest.
constexpr std::size_t longestQueue = 1000;

std::wstring Hexadecimal(ULONG_PTR number) {
    wchar_t text[20];
    std::swprintf(text, std::size(text), L"%IX", number);
    return text;
}

double Now() {
    SYSTEMTIME now;
    double date = 0;
    GetLocalTime(&now);
    SystemTimeToVariantTime(&now, &date);
    return date + now.wMilliseconds / 86400000.0;
}

}  // namespace

CSessionDDE::~CSessionDDE() {
    m_timer.reset();
    Framed<"Class_Terminate">([&] { EndLink(); });
}

std::wstring CSessionDDE::ConversationKey(HCONV conversation) {
    return Hexadecimal(reinterpret_cast<ULONG_PTR>(conversation));
}

STDMETHODIMP CSessionDDE::Start() noexcept {
    const ComPtr<_CSession> alive(this);
    return Framed<"CSession_Start">([&](MethodFrame& frame) {
        // From within its own wait for the server the session cannot be turned into another one.
        if (m_transactions > 0) return;
        m_timer.reset();
        std::wstring type;
        frame.Step([&] { type = text::FoldCase(ToWide(Parameter(L"TYPE"))); });
        const long period = type == L"TIMER" ? Period() : 0;
        const bool isOneRequest = period < 1 && (type == L"REQUEST" || type == L"TIMER");
        bool isSameConversation = false;
        frame.Step([&] {
            isSameConversation = m_conversation && isOneRequest &&
                                 m_sessionType == vtdlDDESessionTypeOneRequest &&
                                 m_partner == Partner();
        });
        if (!isSameConversation) EndLink();  // of an earlier start
        if (period >= 1) {
            m_sessionType = vtdlDDESessionTypeByTimer;
            frame.Step([&] { StartTimer(period); });
        } else if (isOneRequest) {
            m_sessionType = vtdlDDESessionTypeOneRequest;
            // From within its own DataReady too it reads and delivers.
            if (IsBusy()) m_session->SetStatus(vtdlSessionStatusIdle);
            frame.Step([&] { Check(NextTick()); });
        } else {
            m_sessionType = vtdlDDESessionTypeHotAdvise;
            StartHotLink(frame);
        }
    });
}

// Whatever keeps the period from being read makes a single request, on purpose.
long CSessionDDE::Period() noexcept {
    try {
        return ToLong(Variant(ToWide(Parameter(L"PERIOD"))).get());
    } catch (...) {
        return 0;
    }
}

void CSessionDDE::StartTimer(long period) {
    long identifier = 0;
    Check(m_session->get_ID(&identifier));
    m_window = HiddenWindow::get();
    m_timer = std::make_unique<cTimer>();
    m_timer->StartTimer(period, this, m_window->Handle(), identifier);
    m_session->SetStatus(vtdlSessionStatusIdle);
}

void CSessionDDE::StartHotLink(MethodFrame& frame) {
    CreateStringHandles(frame);
    Connect(frame);
    const bool isStarted = m_conversation && Transact(XTYP_ADVSTART);
    Trace(isStarted ? L": Hot advise transaction start success."
                    : L": Hot advise transaction start failure.");
    // The host may have ended the session meanwhile, and with it the conversation.
    const bool isHot = isStarted && m_conversation;
    if (isHot) mDDE::SetDDEHotAdvanceSession(*this);
    m_session->SetStatus(isHot ? vtdlSessionStatusIdle : vtdlSessionStatusDone);
}

STDMETHODIMP CSessionDDE::NextTick() noexcept {
    const ComPtr<_CSession> alive(this);
    return Framed<"CSession_NextTick">([&](MethodFrame& frame) {
        const bool isTimed = m_sessionType == vtdlDDESessionTypeByTimer;
        // While a transaction or the host's callback lets messages run, another tick may arrive.
        if (IsBusy() || (isTimed && UpdateLock::IsLocked())) return;
        m_session->SetStatus(vtdlSessionStatusBusy);
        struct Idle {
            CSessionDDE& session;
            ~Idle() {
                if (session.IsBusy()) session.m_session->SetStatus(vtdlSessionStatusIdle);
            }
        } const idle{*this};

        const bool isHot = m_sessionType == vtdlDDESessionTypeHotAdvise;
        Reading reading{isHot ? ReadAdvise() : Request(frame), Now()};
        if (!IsBusy()) return;  // ended while it waited for the server
        Deliver(frame, reading);
        while (!m_waiting.empty()) {
            reading = std::move(m_waiting.front());
            m_waiting.pop_front();
            Deliver(frame, reading);
        }
    });
}

bool CSessionDDE::IsBusy() {
    vtdlSessionStatus status{};
    m_session->get_Status(&status);
    return status == vtdlSessionStatusBusy;
}

// The conversation stays open from tick to tick.
std::string CSessionDDE::Request(MethodFrame& frame) {
    CreateStringHandles(frame);
    if (!m_conversation) Connect(frame);
    std::string text;
    frame.Step([&] {
        if (!m_conversation) return;
        const dde::DataHandle data(Transact(XTYP_REQUEST));
        if (data) text = dde::TextOf(data.get());
    });
    FreeStringHandles();
    return text;
}

std::string CSessionDDE::ReadAdvise() {
    m_haResult = DDE_FBUSY;
    std::string text = m_hData ? dde::TextOf(m_hData) : std::string();
    m_haResult = DDE_FACK;
    return text;
}

long CSessionDDE::TakeAdvise(HDDEDATA data) noexcept {
    if (IsBusy()) {
        // The host is in its callback for earlier data and lets messages run there.
        Framed<"TakeAdvise">([&] {
            if (m_waiting.size() == longestQueue) m_waiting.pop_front();
            m_waiting.push_back({dde::TextOf(data), Now()});
        });
        return DDE_FACK;
    }
    m_hData = data;
    NextTick();
    m_hData = nullptr;  // it is valid during the callback only
    return m_haResult;
}

void CSessionDDE::Deliver(MethodFrame& frame, const Reading& reading) {
    frame.Step([&] {
        const auto fields = Make<CDataFields>();
        const auto data = Make<CData>();
        AddColumn(fields.get(), {L"TIME", replies::ColumnType::date}, Variant::Date(reading.time));
        AddColumn(fields.get(), {L"DATA", replies::ColumnType::string},
                  Variant(Bstr::FromBytes(reading.text)));
        SetBlock(*data.get(), L"DATA", fields.get(), true);
        Check(m_session->putref_Data(data.get()));
    });
    frame.Step([&] {
        ComPtr<IUnknown> caller(static_cast<_CSession*>(this));
        ComPtr<_IProgressCallBack> sink;
        Check(m_session->get_Progressor(sink.put()));
        if (sink) Check(sink->DataReady(caller.InOut()));
    });
}

STDMETHODIMP CSessionDDE::Abort() noexcept {
    return Framed<"CSession_Abort">([] {});
}

STDMETHODIMP CSessionDDE::Done() noexcept {
    const ComPtr<_CSession> alive(this);
    return Framed<"CSession_Done">([&](MethodFrame& frame) {
        if (m_sessionType == vtdlDDESessionTypeOneRequest) StopAdvise(frame);
        m_timer.reset();
        EndLink();
        m_session->SetStatus(vtdlSessionStatusDone);
        frame.Step([&] {
            ComPtr<IUnknown> caller(static_cast<_CSession*>(this));
            ComPtr<_IProgressCallBack> sink;
            vtdlSessionError error{};
            Check(m_session->get_Progressor(sink.put()));
            Check(m_session->get_Error(&error));
            const Bstr description = Bstr::attach(error.ErrorDescription);
            if (sink) Check(sink->Done(caller.InOut(), error.ErrorNumber));
        });
    });
}

// Sent by the session that made one request, and not by the one with the hot link, whose link ends
// with its conversation. That is the required order, on purpose.
void CSessionDDE::StopAdvise(MethodFrame& frame) {
    CreateStringHandles(frame);
    if (m_conversation && m_transactions == 0) {
        const bool isStopped = Transact(XTYP_ADVSTOP) != nullptr;
        Trace(isStopped ? L": Hot advise transaction stop success."
                        : L": Hot advise transaction stop failure.");
        mDDE::DeleteDDESession(*this);
    }
    FreeStringHandles();
}

// A conversation must not be ended under a transaction that waits in it.
void CSessionDDE::EndLink() {
    m_endsAfterTransaction = m_transactions > 0;
    if (m_endsAfterTransaction) return;
    m_waiting.clear();
    Disconnect();
    FreeStringHandles();
}

STDMETHODIMP CSessionDDE::Fire(long) noexcept {
    return Framed<"iTimer_Fire">([&] { Check(NextTick()); });
}

STDMETHODIMP CSessionDDE::get_HAResult(long* result) noexcept {
    return FramedResult<"HAResult">(result, [&] { *result = m_haResult; });
}

// The published handle has 32 bits, which is what the system's handles need.
STDMETHODIMP CSessionDDE::get_ConvID(long* result) noexcept {
    return FramedResult<"ConvID">(
        result, [&] { *result = static_cast<long>(reinterpret_cast<LONG_PTR>(m_conversation)); });
}

STDMETHODIMP CSessionDDE::get_SessionType(vtdlDDESessionType* result) noexcept {
    return FramedResult<"SessionType">(result, [&] { *result = m_sessionType; });
}

STDMETHODIMP CSessionDDE::put_SessionType(vtdlDDESessionType value) noexcept {
    return Framed<"SessionType">([&] { m_sessionType = value; });
}

STDMETHODIMP CSessionDDE::get_Error(vtdlSessionError* result) noexcept {
    return Delegate<"CSession_Error">(&_CSession::get_Error, result);
}

STDMETHODIMP CSessionDDE::get_Status(vtdlSessionStatus* result) noexcept {
    return Delegate<"CSession_Status">(&_CSession::get_Status, result);
}

STDMETHODIMP CSessionDDE::get_UserData(VARIANT* result) noexcept {
    return Delegate<"CSession_UserData">(&_CSession::get_UserData, result);
}

STDMETHODIMP CSessionDDE::putref_UserData(VARIANT value) noexcept {
    return Delegate<"CSession_UserData">(&_CSession::putref_UserData, value);
}

STDMETHODIMP CSessionDDE::put_UserData(VARIANT value) noexcept {
    return Delegate<"CSession_UserData">(&_CSession::put_UserData, value);
}

STDMETHODIMP CSessionDDE::get_Tag(VARIANT* result) noexcept {
    return Delegate<"CSession_Tag">(&_CSession::get_Tag, result);
}

STDMETHODIMP CSessionDDE::put_Tag(VARIANT value) noexcept {
    return Delegate<"CSession_Tag">(&_CSession::put_Tag, value);
}

STDMETHODIMP CSessionDDE::putref_Tag(VARIANT value) noexcept {
    return Delegate<"CSession_Tag">(&_CSession::putref_Tag, value);
}

STDMETHODIMP CSessionDDE::putref_Progressor(_IProgressCallBack* value) noexcept {
    return Delegate<"CSession_Progressor">(&_CSession::putref_Progressor, value);
}

STDMETHODIMP CSessionDDE::get_Progressor(_IProgressCallBack** result) noexcept {
    return Delegate<"CSession_Progressor">(&_CSession::get_Progressor, result);
}

STDMETHODIMP CSessionDDE::get_ID(long* result) noexcept {
    return Delegate<"CSession_ID">(&_CSession::get_ID, result);
}

STDMETHODIMP CSessionDDE::get_DataSource(_CDataSource** result) noexcept {
    return Delegate<"CSession_DataSource">(&_CSession::get_DataSource, result);
}

STDMETHODIMP CSessionDDE::putref_DataSource(_CDataSource* value) noexcept {
    return Delegate<"CSession_DataSource">(&_CSession::putref_DataSource, value);
}

STDMETHODIMP CSessionDDE::get_Parameters(_CParameters** result) noexcept {
    return Delegate<"CSession_Parameters">(&_CSession::get_Parameters, result);
}

STDMETHODIMP CSessionDDE::get_Data(_CData** result) noexcept {
    return Delegate<"CSession_data">(&_CSession::get_Data, result);
}

STDMETHODIMP CSessionDDE::putref_Data(_CData* value) noexcept {
    return Delegate<"CSession_data">(&_CSession::putref_Data, value);
}

// The inner session knows how to give its record and take late-bound sinks.
bool CSessionDDE::InvokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) {
    return m_session->InvokeOwn(member, flags, parameters, result);
}

VTDL_CREATABLE(CSessionDDE)

}  // namespace vtdl
