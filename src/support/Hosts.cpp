#include "support/Hosts.h"

#include "support/Environment.h"
#include "support/SharedSettings.h"

namespace vtdl {
namespace {

constexpr int webPort = 80;

int PortIn(std::wstring_view text) {
    int port = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9' || port > 6553) return webPort;
        port = port * 10 + (c - L'0');
    }
    return port >= 1 && port <= 65535 ? port : webPort;
}

}  // namespace

std::wstring ServiceHost(CXMLSettings& settings, const wchar_t* service) {
    return ReadSetting(settings, L"HOSTS", service, L"127.0.0.1:8733");
}

HostAddress ParseHost(std::wstring_view host) {
    const std::size_t colon = host.rfind(L':');
    const std::wstring_view name = host.substr(0, colon);
    HostAddress address{{}, static_cast<short>(webPort)};
    for (const wchar_t c : name) address.name += c < 128 ? static_cast<char>(c) : '?';
    if (colon != std::wstring_view::npos)
        address.port = static_cast<short>(PortIn(host.substr(colon + 1)));
    return address;
}

long HttpSetting(CXMLSettings& settings, const wchar_t* key) {
    const std::wstring_view name = key;
    std::wstring text;
    if (name == L"timeout" || name == L"total") text = EnvironmentText(L"VTDL_TIMEOUT");
    if (text.empty()) text = ReadSetting(settings, L"HTTP", key, L"");
    long number = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9' || number > 100000) return 0;
        number = number * 10 + (c - L'0');
    }
    return number;
}

bool AreRepliesStrict(CXMLSettings& settings) {
    const std::wstring value = EnvironmentText(L"VTDL_STRICT");
    if (value == L"0" || value == L"1") return value == L"1";
    return HttpSetting(settings, L"strict") == 1;
}

}  // namespace vtdl
