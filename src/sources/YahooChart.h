#pragma once
// The chart service: the paths of its tables, and the choice among its servers.

#include <string>
#include <vector>

#include "replies/HistoryTables.h"
#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"

namespace vtdl {

/// What the price and the dividend adapter each have one of, for their lives.
class YahooChart {
public:
    /// The routine is the scoring of a reply, as the call stack names it.
    YahooChart(Download& download, CXMLSettings& settings, std::wstring_view scoreRoutine)
        : m_download(download), m_settings(settings), m_scoreRoutine(scoreRoutine) {}

    /// The path and query of a table: a ticker's rows between two automation dates. The ticker is
    /// inserted as it stands.
    static std::string TablePath(std::string_view ticker, double start, double end,
                                 std::string_view tail);

    bool HasServer() const noexcept { return !m_server.empty(); }

    /// Chooses among the service's numbered servers by what they answer to a probe. Costs up to
    /// twelve fetches; a download does it once, when it finds no server chosen.
    void SelectServer(MethodFrame& frame);

    /// A table of the chosen server; the session hears of every fetch, also of a probe.
    std::string FetchTable(const std::string& path) { return FetchTable(m_server, path); }

private:
    std::string FetchTable(const std::wstring& server, const std::string& path);
    HostAddress AddressOf(const std::wstring& server);
    long ScoreOf(const std::string& reply) const noexcept;

    Download& m_download;
    CXMLSettings& m_settings;
    std::wstring_view m_scoreRoutine;
    std::wstring m_server;  ///< empty until one is chosen
};

}  // namespace vtdl
