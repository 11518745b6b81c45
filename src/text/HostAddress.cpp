#include "text/HostAddress.h"

#include <algorithm>

#include "text/CaseFold.h"

namespace vtdl::text {
namespace {

int PortIn(std::wstring_view text, int usual) {
    int port = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9' || port > 6553) return usual;
        port = port * 10 + (c - L'0');
    }
    return port >= 1 && port <= 65535 ? port : usual;
}

}  // namespace

HostAddress ParseHost(std::wstring_view host) {
    constexpr std::wstring_view secure = L"https://";
    const bool isSecure = FoldCase(host.substr(0, secure.size())) == FoldCase(secure);
    if (isSecure) host.remove_prefix(secure.size());
    host = host.substr(0, host.find(L'/'));  // as an address is copied from a browser
    const std::size_t colon = std::min(host.rfind(L':'), host.size());
    HostAddress address{{}, {}, isSecure};
    for (const wchar_t c : host.substr(0, colon))
        address.name += c < 128 ? static_cast<char>(c) : '?';
    host.remove_prefix(std::min(colon + 1, host.size()));
    address.port = static_cast<short>(PortIn(host, isSecure ? 443 : 80));
    return address;
}

}  // namespace vtdl::text
