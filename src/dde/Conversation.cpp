// What a DDE session has to do with the system: names, the conversation, transactions.
#include <cstdio>

#include "dde/CSessionDDE.h"
#include "support/CodePage.h"

namespace vtdl {

using namespace automation;

void CSessionDDE::CreateStringHandles(MethodFrame& frame) {
    frame.Step([&] {
        Check(Framed<"CreateStringHandles">([&] {
            m_service = dde::MakeString(Parameter(L"SERVICE"));
            m_topic = dde::MakeString(Parameter(L"TOPIC"));
            m_item = dde::MakeString(Parameter(L"ITEM"));
        }));
    });
}

void CSessionDDE::FreeStringHandles() {
    Framed<"FreeStringHandles">([&] {
        m_service.reset();
        m_topic.reset();
        m_item.reset();
    });
}

void CSessionDDE::Connect(MethodFrame& frame) {
    frame.Step([&] {
        Check(Framed<"Connect">([&] {
            CONVCONTEXT context{};
            context.cb = sizeof context;
            context.iCodePage = CP_WINANSI;
            m_conversation = nullptr;
            m_conversation =
                DdeConnect(dde::Instance::Identifier(), m_service.get(), m_topic.get(), &context);
            if (!m_conversation) RecordError();
            Trace(m_conversation ? L": DDE Connection Success." : L": DDE Connection Failure.");
        }));
    });
}

void CSessionDDE::Disconnect() {
    if (!m_conversation) return;
    Framed<"Disconnect">([&] {
        const bool isEnded = DdeDisconnect(std::exchange(m_conversation, nullptr));
        Trace(isEnded ? L": DDE Disconnection Success." : L": DDE Disconnection Failure.");
    });
}

// Messages run until the server has answered or the time is over. Only a request gives a handle of
// data, the caller's; for others the result says that they succeeded.
HDDEDATA CSessionDDE::Transact(UINT type) {
    ++m_transactions;
    const HDDEDATA result = DdeClientTransaction(nullptr, 0, m_conversation, m_item.get(), CF_TEXT,
                                                 type, dde::transactionTimeout, nullptr);
    --m_transactions;
    // A conversation whose server is gone is over; the next tick connects anew.
    if (const UINT error = result ? DMLERR_NO_ERROR : RecordError();
        error == DMLERR_NO_CONV_ESTABLISHED || error == DMLERR_SERVER_DIED)
        Disconnect();
    if (m_endsAfterTransaction && m_transactions == 0) EndLink();
    return result;
}

// What went wrong shows in the session's record.
UINT CSessionDDE::RecordError() {
    const UINT error = DdeGetLastError(dde::Instance::Identifier());
    m_session->SetError(vtdlSessionErrorDDE, static_cast<long>(error), TranslateError(error));
    return error;
}

std::wstring CSessionDDE::TranslateError(UINT error) {
    std::wstring name;
    Framed<"TranslateError">([&] { name = dde::ErrorName(error); });
    return name;
}

void CSessionDDE::Trace(std::wstring_view what) {
    if (!gErrorHandler.TracingEnabled()) return;
    long identifier = 0;
    Check(m_session->get_ID(&identifier));
    wchar_t text[16];
    std::swprintf(text, std::size(text), L"%lX", identifier);
    gErrorHandler.TraceLine(std::wstring(text).append(what));
}

std::string CSessionDDE::Parameter(std::wstring_view name) {
    ComPtr<_CParameters> parameters;
    Check(m_session->get_Parameters(parameters.put()));
    return ToBytes(ToText(ParameterValue(parameters.get(), name).get()).view());
}

}  // namespace vtdl
