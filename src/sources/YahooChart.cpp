#include "sources/YahooChart.h"

#include <random>

#include "settings/SharedSettings.h"
#include "text/CalendarDate.h"

namespace vtdl::yahoo {
namespace {

constexpr wchar_t chartService[] = L"yahoo.chart";

// The service counts months from 0.
void AppendDate(std::string& path, const char* keys, double automationDate) {
    const text::CalendarDate date = text::ToCalendarDate(automationDate);
    const int parts[] = {date.month - 1, date.day, date.year};
    for (int i = 0; i < 3; ++i)
        path.append("&").append(1, keys[i]).append("=").append(std::to_string(parts[i]));
}

}  // namespace

std::string TablePath(std::string_view ticker, double start, double end, std::string_view tail) {
    std::string path = "/table.csv?&s=";
    path += ticker;
    AppendDate(path, "abc", start);
    AppendDate(path, "def", end);
    return path.append(tail);
}

std::wstring ServerOf(const replies::ServerFamily& family, std::size_t number) {
    const std::string host = family.letters + std::to_string(number) + "." + family.domain;
    return std::wstring(host.begin(), host.end());
}

std::size_t BestServer(const std::vector<long>& scores) {
    std::mt19937 generator(GetTickCount());
    std::uniform_real_distribution<double> draw(0, 1);
    std::size_t best = 3;
    for (std::size_t j = 4; j < scores.size(); ++j) {
        if (scores[j] > scores[best]) {
            best = j;
        } else if (scores[j] == scores[best] && draw(generator) * static_cast<double>(j - 2) < 1) {
            best = j;
        }
    }
    return best;
}

HostAddress AddressOf(CXMLSettings& settings, const std::wstring& host) {
    const std::wstring chartHost = ServiceHost(settings, chartService);
    if (host == chartHost) return ParseHost(host);
    const std::wstring configured = ReadSetting(settings, L"HOSTS", host.c_str(), L"");
    HostAddress address = ParseHost(configured.empty() ? host : configured);
    if (configured.empty()) address.port = ParseHost(chartHost).port;
    return address;
}

}  // namespace vtdl::yahoo
