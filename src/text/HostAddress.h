#pragma once
// Where a service is, as the settings say it.

#include <string>
#include <string_view>

namespace vtdl::text {

struct HostAddress {
    std::string name;
    short port;
    bool isSecure;
};

/// Takes a host text apart; without a port, or with a senseless one, it is the scheme's.
HostAddress ParseHost(std::wstring_view host);

}  // namespace vtdl::text
