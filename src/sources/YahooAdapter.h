#pragma once
// What the two adapters of the chart service do alike.

#include "objectmodel/CData.h"
#include "session/SessionErrors.h"
#include "sources/YahooChart.h"
#include "support/CodePage.h"
#include "support/Today.h"

namespace vtdl {

/// Base of the price and the dividend adapter: choice of the server, fetching.
template <class D, class Coclass, class Default>
class YahooAdapter : public WebAdapter<D, Coclass, Default> {
public:
    /// Chooses among the service's numbered chart servers by what they answer to a probe. Costs up to
    /// twelve fetches; a download does it once, when it finds no host chosen.
    STDMETHODIMP SelectYahooInternalServer() noexcept override {
        return this->template framed<"SelectYahooInternalServer">([&](MethodFrame& frame) {
            m_isSelectingServer = true;
            const Selecting selecting{m_isSelectingServer};
            const std::wstring publicHost = serviceHost(*this->m_settings, L"yahoo.chart");
            m_chartHost = publicHost;
            const std::string probe =
                yahoo::tablePath("DIA", today() - 7, today(), "&g=d&ignore=.csv");

            std::vector<long> scores(14);
            std::optional<yahoo::ServerFamily> family;
            std::string reply;
            frame.step([&] { reply = DownloadURL(publicHost, probe); });
            scores[0] = yahoo::replyValidityIndex(reply);
            frame.step([&] { family = yahoo::serverFamily(reply); });
            if (!family) return;

            for (long k = 3; k <= 13; ++k) {
                m_chartHost = family->server(k);
                frame.step([&] { reply = DownloadURL(m_chartHost, probe); });
                scores[static_cast<std::size_t>(k)] = yahoo::replyValidityIndex(reply);
            }
            const std::size_t best = yahoo::bestServer(scores);
            m_chartHost = scores[best] >= scores[0] ? family->server(static_cast<long>(best)) : publicHost;
        });
    }

protected:
    /// A session's request, read from its parameters.
    struct Request {
        std::string ticker;
        double start;
        double end;

        explicit Request(_CParameters* parameters)
            : ticker(toBytes(automation::toText(parameterValue(parameters, L"TICKER").get()).view())),
              start(automation::toDate(parameterValue(parameters, L"STARTDATE").get())),
              end(automation::toDate(parameterValue(parameters, L"ENDDATE").get())) {}
    };

    /// Fetches one reply and reports its outcome to the session, also for each probe of a server.
    std::string DownloadURL(const std::wstring& host, const std::string& path) {
        std::string reply;
        automation::check(this->template framed<"DownloadURL">([&](MethodFrame& frame) {
            bool isFetched = false;
            frame.step([&] {
                const HostAddress address = yahoo::addressOf(*this->m_settings, host);
                isFetched = this->fetch(address, path, reply);
            });
            frame.step([&] { this->m_session.done(isFetched ? 0 : downloadFailure); });
        }));
        return reply;
    }

    void handOver(MethodFrame& frame, _CSession* session, automation::ComPtr<CDataFields> fields) {
        frame.step([&] {
            const auto data = automation::make<CData>();
            setBlock(*data.get(), L"HISTORICAL", fields.get(), false);
            automation::check(session->putref_Data(data.get()));
        });
        frame.step([&] { this->m_session.dataReady(); });
    }

    const std::wstring& statusText() const override {
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
