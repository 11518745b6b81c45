#pragma once

#include "support/CXMLSettings.h"

namespace vtdl {

/// Configures the error handler from the settings section "ERRORHANDLER": "actions", "errorlog",
/// "callstack", "tracing", "tracingflags", "tracinglog", "supportmail". A missing key leaves its
/// value; one that the handler refuses throws after those before it are set.
void ApplyErrorHandlerSettings(CXMLSettings& settings);

}  // namespace vtdl
