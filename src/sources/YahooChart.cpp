#include "sources/YahooChart.h"

#include <random>

#include "replies/YahooProbe.h"
#include "text/CalendarDate.h"

namespace vtdl {
namespace {

constexpr wchar_t chartService[] = L"yahoo.chart";

// The service counts months from 0.
void AppendDate(std::string& path, const char* keys, double automationDate) {
    const text::CalendarDate date = text::ToCalendarDate(automationDate);
    const int parts[] = {date.month - 1, date.day, date.year};
    for (int i = 0; i < 3; ++i)
        path.append("&").append(1, keys[i]).append("=").append(std::to_string(parts[i]));
}

// The host text of a numbered server of the family.
std::wstring ServerOf(const replies::ServerFamily& family, std::size_t number) {
    const std::string host = family.letters + std::to_string(number) + "." + family.domain;
    return std::wstring(host.begin(), host.end());
}

// The best of the scored servers 3 to 13, ties broken uniformly at random.
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

}  // namespace

std::string YahooChart::TablePath(std::string_view ticker, double start, double end,
                                  std::string_view tail) {
    std::string path = "/table.csv?&s=";
    path += ticker;
    AppendDate(path, "abc", start);
    AppendDate(path, "def", end);
    return path.append(tail);
}

void YahooChart::SelectServer(MethodFrame& frame) {
    struct Trial {
        Download& download;
        ~Trial() { download.SetTrial(nullptr); }
    } const trial{m_download};
    m_download.SetTrial(&m_server);
    const std::wstring publicHost = ServiceHost(m_settings, chartService);
    m_server = publicHost;
    const std::string probe = TablePath("DIA", Today() - 7, Today(), "&g=d&ignore=.csv");

    std::vector<long> scores(14);
    std::string reply;
    frame.Step([&] { reply = FetchTable(publicHost, probe); });
    scores[0] = ScoreOf(reply);
    const auto family = replies::FindServerFamily(reply);
    if (!family) return;

    for (std::size_t k = 3; k < scores.size(); ++k) {
        frame.Step([&] { reply = FetchTable(ServerOf(*family, k), probe); });
        scores[k] = ScoreOf(reply);
    }
    const std::size_t best = BestServer(scores);
    if (scores[best] >= scores[0]) m_server = ServerOf(*family, best);
}

std::string YahooChart::FetchTable(const std::wstring& server, const std::string& path) {
    return m_download.DownloadURL(m_download.NewClient(AddressOf(server), path));
}

// A numbered server is looked up under its full name among the configured hosts; without an entry
// it has the chart host's port, and is asked as securely.
HostAddress YahooChart::AddressOf(const std::wstring& server) {
    const std::wstring chartHost = ServiceHost(m_settings, chartService);
    if (server == chartHost) return ParseHost(server);
    const std::wstring configured = ReadSetting(m_settings, L"HOSTS", server.c_str(), L"");
    if (!configured.empty()) return ParseHost(configured);
    HostAddress address = ParseHost(chartHost);
    address.name = ParseHost(server).name;
    return address;
}

long YahooChart::ScoreOf(const std::string& reply) const noexcept {
    long score = -1;
    Framed(m_scoreRoutine, [&] { score = replies::YahooReplyValidityIndex(reply); });
    return score;
}

}  // namespace vtdl
