#pragma once
// What the two adapters of the chart service do alike.

#include "replies/YahooTable.h"
#include "sources/FieldReader.h"
#include "sources/HistoryRequest.h"
#include "sources/SessionParameters.h"
#include "sources/WebAdapter.h"
#include "sources/YahooChart.h"

namespace vtdl {

/// Base of the price and the dividend adapter: choice of the server, fetching.
template <class D, class Coclass, class Default>
class YahooAdapter : public WebAdapter<D, Coclass, Default> {
public:
    /// Chooses among the service's numbered chart servers by what they answer to a probe. Costs up
    /// to twelve fetches; a download does it once, when it finds no host chosen.
    STDMETHODIMP SelectYahooInternalServer() noexcept override {
        return this->template Framed<"SelectYahooInternalServer">([&](MethodFrame& frame) {
            m_isSelectingServer = true;
            const Selecting selecting{m_isSelectingServer};
            const std::wstring publicHost = ServiceHost(*this->m_settings, L"yahoo.chart");
            m_chartHost = publicHost;
            const std::string probe =
                yahoo::TablePath("DIA", Today() - 7, Today(), "&g=d&ignore=.csv");

            std::vector<long> scores(14);
            std::optional<yahoo::ServerFamily> family;
            std::string reply;
            frame.Step([&] { reply = FetchTable(publicHost, probe); });
            scores[0] = yahoo::ReplyValidityIndex(reply);
            frame.Step([&] { family = yahoo::FindServerFamily(reply); });
            if (!family) return;

            for (long k = 3; k <= 13; ++k) {
                m_chartHost = family->Server(k);
                frame.Step([&] { reply = FetchTable(m_chartHost, probe); });
                scores[static_cast<std::size_t>(k)] = yahoo::ReplyValidityIndex(reply);
            }
            const std::size_t best = yahoo::BestServer(scores);
            m_chartHost =
                scores[best] >= scores[0] ? family->Server(static_cast<long>(best)) : publicHost;
        });
    }

protected:
    /// Chooses a host on the adapter's first download, and reads the session's request.
    template <class Request>
    std::optional<Request> Prepare(MethodFrame& frame, _CSession* session) {
        if (m_chartHost.empty())
            frame.Step([&] { automation::Check(SelectYahooInternalServer()); });
        return this->template ReadRequest<Request>(frame, session);
    }

    /// Fetches one table; the session hears of every fetch, also of the probe of a server.
    std::string FetchTable(const std::wstring& host, const std::string& path) {
        return this->DownloadURL(this->NewClient(yahoo::AddressOf(*this->m_settings, host), path));
    }

    const std::wstring& StatusText() const override {
        return m_isSelectingServer ? m_chartHost : this->m_statusText;
    }

    std::wstring m_chartHost;  ///< empty until a server is chosen; kept for the adapter's life

private:
    struct Selecting {
        bool& flag;
        ~Selecting() { flag = false; }
    };

    bool m_isSelectingServer = false;
};

}  // namespace vtdl
