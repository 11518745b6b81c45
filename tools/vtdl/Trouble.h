#pragma once
// What to say about a download that brought nothing, and where to look: the library's settings
// file.

#include <vtdl.h>

#include <string>
#include <vector>

#include "Host.h"
#include "Services.h"

namespace vtdl::host {

std::wstring SettingsFile();

/// Nothing when there is no file; throws Failure, which says where it is damaged, when it cannot be
/// read.
ComPtr<_CXMLSettings> LoadSettings();

/// Why the settings do not count, in a sentence with its remedy: a data folder that is not there, a
/// file that is damaged. Empty when they do, or when nobody has made any.
struct SettingsTrouble {
    std::string what, remedy;
};
SettingsTrouble TroubleOfSettings();

/// The same on standard error.
void WarnOfSettings();

/// The value of a key, or the fallback, also without settings.
std::wstring ReadSetting(_CXMLSettings* settings, std::wstring_view section, std::wstring_view key,
                         std::wstring_view fallback);

/// Where one of the services is, as the settings say it.
std::wstring HostOf(_CXMLSettings* settings, std::string_view service);

/// A section in which the store finds nothing comes with an empty key.
std::vector<Setting> AllSettings(_CXMLSettings* settings);

/// Why a download brought nothing, and what to do about it, behind the source's name: what was
/// asked where the service has nothing, else the session's error with what it means here. Asks the
/// host whether it is there.
std::string WhyNothing(const Session& session, const std::vector<std::string>& assignments);

}  // namespace vtdl::host
