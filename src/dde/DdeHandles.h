#pragma once
// The system's DDE management library: the process's instance, and its handles.

#include <windows.h>

#include <ddeml.h>

#include <memory>
#include <string>
#include <string_view>

#include "automation/UniqueHandle.h"

namespace vtdl::dde {

/// Milliseconds that a transaction may take.
inline constexpr DWORD transactionTimeout = 2000;

/// The one instance of the process. It exists while a data source holds it: several of them share
/// it, because ending it would end the conversations of all.
class Instance {
public:
    static std::shared_ptr<Instance> get();

    Instance();
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;
    ~Instance();

    /// 0 when there is none.
    static DWORD Identifier() noexcept;
};

struct StringTraits {
    using Handle = HSZ;
    static Handle Null() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept {
        DdeFreeStringHandle(Instance::Identifier(), handle);
    }
};
using StringHandle = automation::UniqueHandle<StringTraits>;

/// The handle of a name in the ANSI code page.
StringHandle MakeString(std::string_view text);

struct DataTraits {
    using Handle = HDDEDATA;
    static Handle Null() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { DdeFreeDataHandle(handle); }
};
using DataHandle = automation::UniqueHandle<DataTraits>;

/// The text of a data handle, up to its terminating zero and without the line end before it. A
/// server that sends neither loses no character.
std::string TextOf(HDDEDATA data);

/// The name of the instance's last error, empty for a number without one; and the number.
std::wstring_view ErrorName(UINT error) noexcept;

}  // namespace vtdl::dde
