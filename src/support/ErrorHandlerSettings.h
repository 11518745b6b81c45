#pragma once

#include "support/CXMLSettings.h"

namespace vtdl {

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
