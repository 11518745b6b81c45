#pragma once
// What sessions, adapters and the manager share: result fields, the update lock, the check for a
// newer version, and dates and texts of the services. Framed functions handle a failure themselves
// and give their default result.

#include <vtdl.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "automation/PerApartment.h"
#include "automation/Variant.h"
#include "settings/CXMLSettings.h"

namespace vtdl {

/// Counts outstanding locks; shared by all managers of an apartment. Unlocking more often than
/// locking takes the count below zero, and the next lock brings it to one; on purpose.
class UpdateLock {
public:
    static void Lock() {
        State& state = *s_state;
        state.count = std::max(state.count + 1, 1);
        state.isLocked = true;
    }
    static void Unlock() {
        State& state = *s_state;
        if (--state.count < 1) state.isLocked = false;
    }
    static bool IsLocked() noexcept {
        const State* const state = s_state.find();
        return state && state->isLocked;
    }

private:
    struct State {
        int count = 0;
        bool isLocked = false;
    };
    static inline automation::PerApartment<State> s_state;
};

namespace mGlobals {

/// Adds a named value to a result block; its data type stays unset. A name that is taken is an
/// error of the method's frame.
HRESULT AddDataField(_CDataFields* fields, std::wstring_view name,
                     automation::Variant value) noexcept;

/// Fetches the version file from the vendor's host. False without a reply of three parts; throws
/// for a part that is no number. Each part is compared on its own, on purpose: 1.0.9 is newer
/// than 2.0.3.
bool IsNewVersionAvailable(CXMLSettings& settings);

/// True once a check has found a newer version in this process; sessions say so in their error
/// record.
bool IsNewVersionKnown() noexcept;

/// The comparison: true when any part of the text is greater than its counterpart.
bool IsNewerVersion(const std::string& reply, const std::array<int, 3>& own);

/// The third Friday of the automation date's month.
double ThirdFriday(double day) noexcept;

/// 1 to 12 from the first three letters of an English month name, in any case; else 0.
short GetMonthNumber(std::wstring_view monthName) noexcept;

/// The page without its comments; see text::RemoveHtmlComments.
std::string DelCommentHtml(std::string_view html) noexcept;

/// A query value, its characters in the system's code page; see text::UrlEncode.
std::string URLEncode(std::wstring_view text, bool spaceAsPlus) noexcept;

}  // namespace mGlobals
}  // namespace vtdl
