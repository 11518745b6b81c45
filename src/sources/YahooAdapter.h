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
            std::string reply;
            frame.Step([&] { reply = FetchTable(publicHost, probe); });
            scores[0] = ScoreOf(reply);
            const auto family = replies::FindServerFamily(reply);
            if (!family) return;

            for (std::size_t k = 3; k < scores.size(); ++k) {
                frame.Step([&] { reply = FetchTable(yahoo::ServerOf(*family, k), probe); });
                scores[k] = ScoreOf(reply);
            }
            const std::size_t best = yahoo::BestServer(scores);
            if (scores[best] >= scores[0]) m_chartHost = yahoo::ServerOf(*family, best);
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

    bool IsTrial() const override { return m_isSelectingServer; }

    /// Rows are missing when a page behind the first one is no table; only strict downloads mind.
    void RefuseLaterPage() {
        if (!AreRepliesStrict(*this->m_settings)) return;
        this->m_verdict.fault = "a later page is no table";
        this->m_session.Done(downloadFailure);
    }

    std::wstring m_chartHost;  ///< empty until a server is chosen; kept for the adapter's life

private:
    struct Selecting {
        bool& flag;
        ~Selecting() { flag = false; }
    };

    static long ScoreOf(const std::string& reply) noexcept {
        long score = -1;
        YahooAdapter::template Framed<"YahooReplyValidityIndex">(
            [&] { score = replies::YahooReplyValidityIndex(reply); });
        return score;
    }

    bool m_isSelectingServer = false;
};

}  // namespace vtdl
