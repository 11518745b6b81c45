#pragma once
// The one settings store that the managers and data sources of an apartment share.

#include <memory>
#include <string>

#include "support/CXMLSettings.h"

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

}  // namespace vtdl
