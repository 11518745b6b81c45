#include "dde/mDDE.h"

#include "automation/PerApartment.h"
#include "dde/CSessionDDE.h"
#include "session/CSession.h"

namespace vtdl::mDDE {

using namespace automation;

namespace {

/// Those that are left when their thread ends have no conversation any more, and their references
/// are not the collection's.
struct Registry {
    ComPtr<CSessions> sessions;
    ~Registry() { sessions.detach(); }
};

PerApartment<Registry> registry;

/// The sessions with a hot link by their conversation, in hexadecimal; created on first use.
ComPtr<CSessions>& HotSessions() {
    ComPtr<CSessions>& sessions = registry->sessions;
    if (!sessions) sessions = Make<CSessions>();
    return sessions;
}

// A collection that exists would keep the library loaded.
void ReleaseIfEmpty() {
    if (HotSessions()->Items().Count() == 0) HotSessions().reset();
}

ComPtr<_CSession> FindSession(HCONV conversation) {
    return HotSessions()->Items().find(CSessionDDE::ConversationKey(conversation));
}

}  // namespace

void SetDDEHotAdvanceSession(CSessionDDE& session) noexcept {
    Framed<"mDDE", "SetDDEHotAdvanceSession">([&] {
        _CSession* added = &session;
        const long count = HotSessions()->Items().Count();
        Check(HotSessions()->Add(
            &added, Variant(CSessionDDE::ConversationKey(session.Conversation())).put()));
        // The collection's own reference, unless it took none; taken again before the removal.
        if (HotSessions()->Items().Count() > count) added->Release();
        ReleaseIfEmpty();
    });
}

void DeleteDDESession(CSessionDDE& session) noexcept {
    Framed<"mDDE", "DeleteDDESession">([&] {
        const ComPtr<_CSession> found = FindSession(session.Conversation());
        if (found.get() == static_cast<_CSession*>(&session)) {
            session.AddRef();
            Check(HotSessions()->Remove(
                Variant(CSessionDDE::ConversationKey(session.Conversation())).put()));
        }
        ReleaseIfEmpty();
    });
}

HDDEDATA CALLBACK DDECallback(UINT type, UINT, HCONV conversation, HSZ, HSZ, HDDEDATA data,
                              ULONG_PTR, ULONG_PTR) noexcept {
    LONG_PTR answer = 0;
    if (type != XTYP_ADVDATA) return nullptr;
    Framed<"mDDE", "DDECallback">([&] {
        const dde::InCallback inCallback;
        // Held here: the host may release the session while it is told.
        const ComPtr<_CSession> session = FindSession(conversation);
        if (session) answer = static_cast<CSessionDDE*>(session.get())->TakeAdvise(data);
        ReleaseIfEmpty();
    });
    return reinterpret_cast<HDDEDATA>(answer);
}

}  // namespace vtdl::mDDE
