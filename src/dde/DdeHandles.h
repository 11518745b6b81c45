#pragma once
// The system's DDE management library: the process's instance, and its handles.

#include <windows.h>

#include <ddeml.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "automation/UniqueHandle.h"

namespace vtdl::dde {

/// Milliseconds that a transaction may take.
inline constexpr DWORD transactionTimeout = 2000;

/// While it exists, the management library is in its callback on this thread.
class InCallback {
public:
    InCallback();
    InCallback(const InCallback&) = delete;
    InCallback& operator=(const InCallback&) = delete;
    ~InCallback() { --m_depth; }

    static bool IsSo() noexcept;

private:
    int& m_depth;
};

/// Does it now or, within the callback, when messages run after that: ending a conversation or an
/// instance there pulls it from under the delivery that the system is in.
void OutsideCallback(std::function<void()> action);

/// A use of the management library; ends with its last holder, and its conversations with it.
class Instance {
public:
    /// The apartment's own, which its data sources share; nothing when there is no DDE.
    static std::shared_ptr<Instance> get();
    /// The same, unless no data source holds it.
    static std::shared_ptr<Instance> Current();
    /// One beside it; nothing when there is no DDE.
    static std::shared_ptr<Instance> Another();

    explicit Instance(DWORD identifier) noexcept : m_identifier(identifier) {}
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;
    ~Instance();

    DWORD Identifier() const noexcept { return m_identifier; }

private:
    DWORD m_identifier;
};

struct InstanceString {
    DWORD instance;
    HSZ text;
    bool operator==(const InstanceString&) const = default;
};
inline void FreeString(InstanceString string) noexcept {
    DdeFreeStringHandle(string.instance, string.text);
}
using StringHandle = automation::UniqueHandle<InstanceString, FreeString>;

/// The handle of a name in the ANSI code page, valid in the instance.
StringHandle MakeString(DWORD instance, std::string_view text);

using DataHandle = automation::UniqueHandle<HDDEDATA, DdeFreeDataHandle>;

/// The text of a data handle, up to its terminating zero and without the line end before it. A
/// server that sends neither loses no character.
std::string TextOf(HDDEDATA data);

/// The name of the instance's last error, empty for a number without one; and the number.
std::wstring_view ErrorName(UINT error) noexcept;

}  // namespace vtdl::dde
