#include "sources/YahooChart.h"

#include <random>

#include "support/CodePage.h"
#include "support/RegExp.h"
#include "support/SharedSettings.h"
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

long ReplyValidityIndex(const std::string& reply) {
    constexpr wchar_t row[] =
        L"^\\d+-\\w+-\\d+,[\\d\\.]+,[\\d\\.]+,[\\d\\.]+,[\\d\\.]+,[\\d]+,[\\d\\.]+$";
    long score = -1;
    try {
        std::wstring start = ToWide(reply.substr(0, 9));
        CharLowerBuffW(start.data(), static_cast<DWORD>(start.size()));
        if (start != L"date,open") return score;
        score = 0;
        score = static_cast<long>(MatchLines(row, ToWide(reply), true).size());
    } catch (const std::exception&) {
        return score;  // faults are ignored, on purpose
    }
    return score;
}

std::optional<ServerFamily> FindServerFamily(const std::string& reply) {
    constexpr wchar_t comment[] = L"^<\\!--\\s+([a-z]+)(\\d+)\\.([\\w\\d\\.]+)\\s+.+-->$";
    const std::vector<RegExpMatch> matches = MatchLines(comment, ToWide(reply), false);
    if (matches.empty() || matches[0].groups.size() < 3) return std::nullopt;
    return ServerFamily{matches[0].groups[0], matches[0].groups[2]};
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
