// The library's settings file, read as any host can.
#pragma once

#include <vtdl.h>

#include <string>
#include <vector>

#include "Com.h"
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

}  // namespace vtdl::host
