// What a DDE session has to do with the system: names, the conversation, transactions.
#include <cstdio>

#include "dde/CSessionDDE.h"
#include "dde/mDDE.h"
#include "automation/CodePage.h"

namespace vtdl {

using namespace automation;

void CSessionDDE::CreateStringHandles(MethodFrame& frame) {
    frame.Step([&] {
        Check(Framed<"CreateStringHandles">([&] {
            if (!m_instance) m_instance = dde::Instance::Current();
            const DWORD instance = Instance();
            m_item = dde::MakeString(instance, Parameter(L"ITEM"));
            // An open conversation has no use for the others, and a handle costs a timer's tick much of
            // its time: the system keeps the texts for all programs.
            if (m_conversation) return;
            m_service = dde::MakeString(instance, Parameter(L"SERVICE"));
            m_topic = dde::MakeString(instance, Parameter(L"TOPIC"));
        }));
    });
}

void CSessionDDE::FreeStringHandles() {
    Framed<"FreeStringHandles">([&] {
        m_service.reset();
        m_topic.reset();
        m_item.reset();
        if (!m_conversation) m_instance.reset();
    });
}

void CSessionDDE::Connect(MethodFrame& frame) {
    frame.Step([&] {
        Check(Framed<"Connect">([&](MethodFrame& inner) {
            m_partner = Partner();
            UINT error = ConnectOnce();
            // Wine keeps to one conversation of an instance with a topic, be its server gone: it
            // makes no second one, and says nothing of an error.
            if (!m_conversation && error == DMLERR_NO_ERROR && m_instance) {
                m_instance = dde::Instance::Another();
                CreateStringHandles(inner);
                error = ConnectOnce();
            }
            if (!m_conversation) RecordError(error);
            Trace(m_conversation ? L": DDE Connection Success." : L": DDE Connection Failure.");
        }));
    });
}

std::string CSessionDDE::Partner() {
    return Parameter(L"SERVICE").append(1, '\0').append(Parameter(L"TOPIC"));
}

UINT CSessionDDE::ConnectOnce() {
    CONVCONTEXT context{};
    context.cb = sizeof context;
    context.iCodePage = CP_WINANSI;
    m_conversation = nullptr;
    DdeGetLastError(Instance());  // forgets what went wrong before
    m_conversation = DdeConnect(Instance(), m_service.get().text, m_topic.get().text, &context);
    return m_conversation ? DMLERR_NO_ERROR : DdeGetLastError(Instance());
}

// The session may be gone when it is done; the instance must not.
void CSessionDDE::Disconnect() {
    if (!m_conversation) return;
    // Whatever kind the session says it is by now: the registry must not outlive the conversation.
    mDDE::DeleteDDESession(*this);
    long identifier = 0;
    Check(m_session->get_ID(&identifier));
    dde::OutsideCallback(
        [conversation = std::exchange(m_conversation, nullptr), instance = m_instance, identifier] {
            Framed<"Disconnect">([&] {
                const bool isEnded = DdeDisconnect(conversation);
                Trace(identifier,
                      isEnded ? L": DDE Disconnection Success." : L": DDE Disconnection Failure.");
            });
        });
}

// Messages run until the server has answered or the time is over. Only a request gives a handle of
// data, the caller's; for others the result says that they succeeded.
HDDEDATA CSessionDDE::Transact(UINT type) {
    ++m_transactions;
    const HDDEDATA result = DdeClientTransaction(nullptr, 0, m_conversation, m_item.get().text,
                                                 CF_TEXT, type, dde::transactionTimeout, nullptr);
    --m_transactions;
    if (!result) TakeFailure(type, DdeGetLastError(Instance()));
    if (m_endsAfterTransaction && m_transactions == 0) EndLink();
    return result;
}

void CSessionDDE::TakeFailure(UINT transaction, UINT error) {
    // Servers that have no link to stop say so; that a session ends is no failure.
    if (transaction != XTYP_ADVSTOP) RecordError(error);
    // A conversation whose server is gone is over; the next tick connects anew.
    if (error == DMLERR_NO_CONV_ESTABLISHED || error == DMLERR_SERVER_DIED ||
        error == DMLERR_POSTMSG_FAILED)
        Disconnect();
}

// What went wrong shows in the session's record.
void CSessionDDE::RecordError(UINT error) {
    m_session->SetError(vtdlSessionErrorDDE, static_cast<long>(error), TranslateError(error));
}

DWORD CSessionDDE::Instance() const noexcept { return m_instance ? m_instance->Identifier() : 0; }

std::wstring CSessionDDE::TranslateError(UINT error) {
    std::wstring name;
    Framed<"TranslateError">([&] { name = dde::ErrorName(error); });
    return name;
}

void CSessionDDE::Trace(std::wstring_view what) {
    long identifier = 0;
    Check(m_session->get_ID(&identifier));
    Trace(identifier, what);
}

void CSessionDDE::Trace(long identifier, std::wstring_view what) {
    if (!gErrorHandler().TracingEnabled()) return;
    wchar_t text[16];
    std::swprintf(text, std::size(text), L"%lX", identifier);
    gErrorHandler().TraceLine(std::wstring(text).append(what));
}

std::string CSessionDDE::Parameter(std::wstring_view name) {
    ComPtr<_CParameters> parameters;
    Check(m_session->get_Parameters(parameters.put()));
    return ToBytes(ToText(ParameterValue(parameters.get(), name).get()).view());
}

}  // namespace vtdl
