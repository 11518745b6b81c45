#pragma once
// The callback of the DDE management library, and the sessions whose links are hot.

#include <windows.h>

#include <ddeml.h>

namespace vtdl {

class CSessionDDE;

namespace mDDE {

/// Enters a session under its conversation, so that the server's data reaches it. The registry does
/// not keep the session alive.
void SetDDEHotAdvanceSession(CSessionDDE& session) noexcept;

/// Forgets a session; does nothing for one that is not entered.
void DeleteDDESession(CSessionDDE& session) noexcept;

/// Acts on advised data alone; every other transaction is ignored. Data of a conversation that is
/// not entered is ignored too.
HDDEDATA CALLBACK DDECallback(UINT type, UINT format, HCONV conversation, HSZ topic, HSZ item,
                              HDDEDATA data, ULONG_PTR data1, ULONG_PTR data2) noexcept;

}  // namespace mDDE
}  // namespace vtdl
