#include "dde/DdeHandles.h"

#include <iterator>
#include <vector>

#include "automation/Object.h"
#include "automation/PerApartment.h"
#include "dde/mDDE.h"
#include "text/Ascii.h"

namespace vtdl::dde {
namespace {

automation::PerApartment<std::weak_ptr<Instance>> shared;
automation::PerApartment<int> callbackDepth;
automation::PerApartment<std::vector<std::function<void()>>> postponed;

// The callback may still run: the host lets messages run in it.
void CALLBACK DoPostponed(HWND, UINT, UINT_PTR timer, DWORD) noexcept {
    if (InCallback::IsSo()) return;
    KillTimer(nullptr, timer);
    for (const auto& action : std::exchange(*postponed, {})) {
        action();
        automation::LiveObject::Unlock();
    }
}

}  // namespace

InCallback::InCallback() : m_depth(*callbackDepth) { ++m_depth; }

bool InCallback::IsSo() noexcept {
    const int* const depth = callbackDepth.find();
    return depth && *depth > 0;
}

// The library stays loaded until then.
void OutsideCallback(std::function<void()> action) {
    if (!InCallback::IsSo()) return action();
    postponed->push_back(std::move(action));
    automation::LiveObject::Lock();
    if (postponed->size() == 1) SetTimer(nullptr, 0, USER_TIMER_MINIMUM, DoPostponed);
}

std::shared_ptr<Instance> Instance::get() {
    std::shared_ptr<Instance> instance = Current();
    if (!instance) *shared = instance = Another();
    return instance;
}

std::shared_ptr<Instance> Instance::Current() { return shared->lock(); }

std::shared_ptr<Instance> Instance::Another() {
    constexpr DWORD flags = APPCMD_CLIENTONLY | MF_SENDMSGS | MF_POSTMSGS;
    DWORD identifier = 0;
    if (DdeInitializeA(&identifier, mDDE::DDECallback, flags, 0) != DMLERR_NO_ERROR) return {};
    return std::make_shared<Instance>(identifier);
}

Instance::~Instance() {
    OutsideCallback([identifier = m_identifier] { DdeUninitialize(identifier); });
}

StringHandle MakeString(DWORD instance, std::string_view text) {
    return StringHandle(
        {instance, DdeCreateStringHandleA(instance, std::string(text).c_str(), CP_WINANSI)});
}

std::string TextOf(HDDEDATA data) {
    std::string text(DdeGetData(data, nullptr, 0, 0), '\0');
    text.resize(
        DdeGetData(data, reinterpret_cast<BYTE*>(text.data()), static_cast<DWORD>(text.size()), 0));
    text.resize(vtdl::text::ItemText(text).size());
    return text;
}

std::wstring_view ErrorName(UINT error) noexcept {
    // By number from DMLERR_FIRST on; two of them in short forms of the library's own.
    constexpr std::wstring_view names[] = {
        L"DMLERR_ADVACKTIMEOUT",
        L"DMLERR_BUSY",
        L"DMLERR_DATAACKTIMEOUT",
        L"DMLERR_NOT_INITIALIZED",
        L"DMLERR_USAGE",
        L"DMLERR_EXECACKTIMEOUT",
        L"DMLERR_INVALIDPARAMETER",
        L"DMLERR_LOW_MEMORY",
        L"DMLERR_MEMORY_ERROR",
        L"DMLERR_NOTPROCESSED",
        L"DMLERR_NO_CONV_ESTABLISHED",
        L"DMLERR_POKEACKTIMEOUT",
        L"DMLERR_POSTMSG_FAILED",
        L"DMLERR_REENTRANCY",
        L"DMLERR_SERVER_DIED",
        L"DMLERR_SYS_ERROR",
        L"DMLERR_UNADVACKTIMEOUT",
        L"DMLERR_UNFOUND_QUEUE_ID",
    };
    if (error == DMLERR_NO_ERROR) return L"DMLERR_NO_ERROR";
    const UINT index = error - DMLERR_FIRST;
    return index < std::size(names) ? names[index] : std::wstring_view();
}

}  // namespace vtdl::dde
