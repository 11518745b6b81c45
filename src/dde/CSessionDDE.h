#pragma once
// A session that reads one item of a DDE server.
//
// Who holds whom: the data sources of an apartment share one dde::Instance and keep it; a session
// keeps the one that its names and its conversation are of, for as long as it has either. A session
// owns its conversation, its names, its timer and the inner session. mDDE's registry knows the
// sessions with a hot link by their conversation and keeps none of them alive: a session leaves it
// before its conversation ends, and the callback holds the session that it found there while the
// host is told.

#include <deque>
#include <memory>

#include "dde/DdeHandles.h"
#include "session/CSession.h"

namespace vtdl {

/// The published DDE session: one request, a request every period, or a hot link on which the
/// server advises every change. What every session has (parameters, status, error, data) it leaves
/// to an inner session. Its default IDispatch also answers a session's names.
class CSessionDDE final
    : public FramedObject<CSessionDDE, ::CSessionDDE, _CSessionDDE, _CSession, iTimer> {
public:
    static constexpr text::FixedString className{"CSessionDDE"};

    CSessionDDE() = default;
    ~CSessionDDE();

    STDMETHODIMP get_HAResult(long* result) noexcept override;
    STDMETHODIMP get_ConvID(long* result) noexcept override;
    STDMETHODIMP get_SessionType(vtdlDDESessionType* result) noexcept override;
    STDMETHODIMP put_SessionType(vtdlDDESessionType value) noexcept override;

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
    STDMETHODIMP get_Data(_CData** result) noexcept override;
    STDMETHODIMP putref_Data(_CData* value) noexcept override;

    /// Reads "TYPE": REQUEST reads once; TIMER every "PERIOD" milliseconds, or once when that is
    /// below 1; everything else opens a hot link.
    STDMETHODIMP Start() noexcept override;
    /// Reads once and hands over "DATA": the local time of the reading and the server's text, empty
    /// when there is none.
    STDMETHODIMP NextTick() noexcept override;
    /// Without effect: no transaction takes longer than two seconds.
    STDMETHODIMP Abort() noexcept override;
    STDMETHODIMP Done() noexcept override;

    STDMETHODIMP Fire(long elapsed) noexcept override;

    /// Takes what the server advises, from within the callback alone; answers for the server.
    long TakeAdvise(HDDEDATA data) noexcept;

    HCONV Conversation() const noexcept { return m_conversation; }
    static std::wstring ConversationKey(HCONV conversation);

private:
    /// The server's text, and the automation date at which it was read.
    struct Reading {
        std::string text;
        double time;
    };

    bool InvokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) override;
    IDispatch* AlsoAnswers() override { return static_cast<_CSession*>(this); }

    template <text::FixedString Member, class Method, class... Arguments>
    HRESULT Delegate(Method method, Arguments... arguments) noexcept {
        return Framed<Member>([&] {
            automation::Check((static_cast<_CSession*>(m_session.get())->*method)(arguments...));
        });
    }

    void CreateStringHandles(MethodFrame& frame);
    void FreeStringHandles();
    void Connect(MethodFrame& frame);
    void Disconnect();
    void StartHotLink(MethodFrame& frame);
    void StartTimer(long period);
    long Period() noexcept;
    std::string Partner();  ///< the service and the topic that the parameters name
    void EndLink();
    void StopAdvise(MethodFrame& frame);
    HDDEDATA Transact(UINT type);
    std::string Request(MethodFrame& frame);
    std::string ReadAdvise();
    void Deliver(MethodFrame& frame, const Reading& reading);
    UINT ConnectOnce();  ///< the system's error
    void TakeFailure(UINT transaction, UINT error);
    void RecordError(UINT error);
    DWORD Instance() const noexcept;  ///< its number, or 0
    bool IsBusy();
    std::wstring TranslateError(UINT error);
    void Trace(std::wstring_view what);
    static void Trace(long identifier, std::wstring_view what);
    std::string Parameter(std::wstring_view name);

    automation::ComPtr<CSession> m_session = automation::Make<CSession>();
    vtdlDDESessionType m_sessionType{};
    HDDEDATA m_hData = nullptr;  ///< of the delivery being taken; the server's, never freed here
    long m_haResult = 0;
    std::shared_ptr<dde::Instance> m_instance;  ///< of the names and of the conversation
    HCONV m_conversation = nullptr;
    std::string m_partner;  ///< of the conversation
    dde::StringHandle m_service;
    dde::StringHandle m_topic;
    dde::StringHandle m_item;
    std::unique_ptr<cTimer> m_timer;
    std::shared_ptr<HiddenWindow> m_window;
    /// What arrived while the host was being told of earlier data.
    std::deque<Reading> m_waiting;
    int m_transactions = 0;
    bool m_endsAfterTransaction = false;
};

}  // namespace vtdl
