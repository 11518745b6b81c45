#pragma once
// The one settings store that the managers and data sources of an apartment share, and what is read
// from it: the services' hosts, the rules of replies, the error handler's settings.

#include <memory>
#include <string>
#include <string_view>

#include "settings/CXMLSettings.h"
#include "text/HostAddress.h"

namespace vtdl {

/// The shared store; created on first use, and gone (saved, if it changed) with its last user.
std::shared_ptr<CXMLSettings> SharedSettings();

/// Names the store's file and loads it, after saving what an earlier user changed. Throws when the
/// file is damaged or cannot be read or written, which the error names; it is then left as it is.
void LoadSharedSettings(CXMLSettings& settings);

/// The same for whoever uses the store without a manager; does nothing on a store that was loaded,
/// or failed to load, before.
void LoadSharedSettingsOnce(CXMLSettings& settings);

/// The value of a key, or the default; also when the store is not loaded.
std::wstring ReadSetting(CXMLSettings& settings, const wchar_t* section, const wchar_t* key,
                         std::wstring_view defaultValue);

using text::HostAddress;
using text::ParseHost;

/// The host of a service ("yahoo.chart"), as text "host" or "host:port", "https://" in front where
/// requests have to be secure: its entry in the settings section "HOSTS", or the bundled quote
/// server's address, since the classic services are gone.
std::wstring ServiceHost(CXMLSettings& settings, const wchar_t* service);

/// A number of the settings' section "HTTP"; 0, which stands for the client's own, without one.
/// Above "timeout" and "total" stands the environment variable VTDL_TIMEOUT.
long HttpSetting(CXMLSettings& settings, const wchar_t* key);

/// Whether a reply counts only when it is whole and what was asked for: the environment variable
/// "VTDL_STRICT" (1 or 0), else the key "strict" of the section "HTTP".
bool AreRepliesStrict(CXMLSettings& settings);

/// Configures the error handler from the settings section "ERRORHANDLER": "actions", "errorlog",
/// "callstack", "tracing", "tracingflags", "tracinglog", "supportmail". Each stands for
/// itself: a missing key leaves its value, and so does a refused one, which is reported once the
/// others are set. Refused actions are the dialog, or only the log where no window can be seen.
/// Above the setting "actions" stands the environment variable VTDL_ACTIONS. Settings that are
/// nullptr or not loaded are like missing keys.
void ApplyErrorHandlerSettings(CXMLSettings* settings);

/// The same for the apartment's first object, whichever it is, unless settings were applied before.
/// A file that cannot be loaded is left to who needs what is in it.
void ApplyErrorHandlerSettingsOnce() noexcept;

}  // namespace vtdl
