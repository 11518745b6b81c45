#include "support/VersionCheck.h"

#include <atomic>
#include <vector>

#include "automation/Variant.h"
#include "support/CodePage.h"
#include "support/Hosts.h"
#include "support/Version.h"
#include "transport/WinInet.h"

namespace vtdl::mGlobals {
namespace {

std::atomic<bool> isNewVersionKnown = false;

}  // namespace

bool IsNewVersionKnown() noexcept { return isNewVersionKnown; }

bool IsNewVersionAvailable(CXMLSettings& settings) {
    const HostAddress host = ParseHost(ServiceHost(settings, L"vestora"));
    WinInet client;
    client.HostName = host.name;
    client.Port = host.port;
    client.Resource = "/files/VTDL.version";
    client.Method = "GET";
    client.TimeoutSek = HttpSetting(settings, L"timeout");
    client.TotalSek = HttpSetting(settings, L"total");
    client.MaxBodyMB = HttpSetting(settings, L"maxbody");
    client.Strict = AreRepliesStrict(settings);
    client.Execute();
    const bool isReply = client.SuccessDone && !(client.Strict && client.Status() >= 400);
    const bool isNewer = isReply && IsNewerVersion(client.Response(), libraryVersion);
    if (isNewer) isNewVersionKnown = true;
    return isNewer;
}

bool IsNewerVersion(const std::string& reply, const std::array<int, 3>& own) {
    std::vector<std::string> parts(1);
    for (const char c : reply) {
        if (c == '.')
            parts.emplace_back();
        else
            parts.back() += c;
    }
    if (parts.size() != own.size()) return false;
    bool isNewer = false;  // every part is converted, so that one that is no number is an error
    for (std::size_t i = 0; i < own.size(); ++i) {
        const automation::Variant part{std::wstring_view(ToWide(parts[i]))};
        if (automation::ToLong(part.get()) > own[i]) isNewer = true;
    }
    return isNewer;
}

}  // namespace vtdl::mGlobals
