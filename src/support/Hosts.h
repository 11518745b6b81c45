#pragma once
// Where the quote services are.

#include <string>
#include <string_view>

#include "support/CXMLSettings.h"

namespace vtdl {

struct HostAddress {
    std::string name;
    short port;
};

/// The host of a service ("yahoo.chart"), as text "host" or "host:port": its entry in the settings
/// section "HOSTS", or the bundled quote server's address, since the classic services are gone.
std::wstring ServiceHost(CXMLSettings& settings, const wchar_t* service);

/// Takes a host text apart; without a port, or with a senseless one, it is the web's.
HostAddress ParseHost(std::wstring_view host);

/// A number of the settings' section "HTTP"; 0, which stands for the client's own, without one.
/// Above "timeout" and "total" stands the environment variable VTDL_TIMEOUT.
long HttpSetting(CXMLSettings& settings, const wchar_t* key);

/// Whether a reply counts only when it is whole and what was asked for: the environment variable
/// "VTDL_STRICT" (1 or 0), else the key "strict" of the section "HTTP".
bool AreRepliesStrict(CXMLSettings& settings);

}  // namespace vtdl
