#pragma once
// What to say about a download that brought nothing, and where to look: the library's settings
// file, and whether the hosts that it names take connections.

#include <vtdl.h>

#include <string>
#include <vector>

#include "Host.h"
#include "Services.h"

namespace vtdl::host {

std::wstring SettingsFile();

/// Nothing when there is no file; throws Failure when it cannot be read.
ComPtr<_CXMLSettings> LoadSettings();

/// The value of a key, or the fallback, also without settings.
std::wstring ReadSetting(_CXMLSettings* settings, std::wstring_view section, std::wstring_view key,
                         std::wstring_view fallback);

/// "host" or "host:port" of one of the services.
std::wstring HostOf(_CXMLSettings* settings, std::string_view service);

/// A section in which the store finds nothing comes with an empty key.
std::vector<Setting> AllSettings(_CXMLSettings* settings);

/// Asks all of them at once, each "host" or "host:port", and waits three seconds at most; a host
/// that has not answered by then does not.
std::vector<bool> Answering(const std::vector<std::wstring>& hosts);

/// Nothing went wrong, but nothing came either.
bool IsNothing(const Session& session, const Fault& fault);

/// The session's error with what it means here: whose host cannot be reached, what a DDE error's
/// name says, that a source has no format. Asks the host whether it is there.
std::string Explained(const Session& session, const Fault& fault);

/// The range that was asked, whether it was chosen, and the log if something is in it.
std::string NoRows(const Session& session, const std::vector<std::string>& assignments);

}  // namespace vtdl::host
