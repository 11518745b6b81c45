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
            frame.Step([&] { reply = DownloadURL(publicHost, probe); });
            scores[0] = yahoo::ReplyValidityIndex(reply);
            frame.Step([&] { family = yahoo::FindServerFamily(reply); });
            if (!family) return;

            for (long k = 3; k <= 13; ++k) {
                m_chartHost = family->Server(k);
                frame.Step([&] { reply = DownloadURL(m_chartHost, probe); });
                scores[static_cast<std::size_t>(k)] = yahoo::ReplyValidityIndex(reply);
            }
            const std::size_t best = yahoo::BestServer(scores);
            m_chartHost =
                scores[best] >= scores[0] ? family->Server(static_cast<long>(best)) : publicHost;
        });
    }

protected:
    /// A session's request, read from its parameters.
    struct Request {
        std::string ticker;
        double start;
        double end;

        explicit Request(_CParameters* parameters)
            : ticker(
                  ToBytes(automation::ToText(ParameterValue(parameters, L"TICKER").get()).view())),
              start(automation::ToDate(ParameterValue(parameters, L"STARTDATE").get())),
              end(automation::ToDate(ParameterValue(parameters, L"ENDDATE").get())) {}
    };

    /// Chooses a host on the adapter's first download, and reads the session's request. Nothing
    /// when reading it failed and was ignored.
    template <class SourceRequest>
    std::optional<SourceRequest> Prepare(MethodFrame& frame, _CSession* session) {
        if (m_chartHost.empty())
            frame.Step([&] { automation::Check(SelectYahooInternalServer()); });
        std::optional<SourceRequest> request;
        frame.Step([&] {
            automation::ComPtr<_CParameters> parameters;
            automation::Check(session->get_Parameters(parameters.put()));
            request.emplace(parameters.get());
        });
        return request;
    }

    /// Fetches one reply and reports its outcome to the session, also for each probe of a server.
    std::string DownloadURL(const std::wstring& host, const std::string& path) {
        std::string reply;
        automation::Check(this->template Framed<"DownloadURL">([&](MethodFrame& frame) {
            bool isFetched = false;
            frame.Step([&] {
                const HostAddress address = yahoo::AddressOf(*this->m_settings, host);
                isFetched = this->Fetch(address, path, reply);
            });
            frame.Step([&] { this->m_session.Done(isFetched ? 0 : downloadFailure); });
        }));
        return reply;
    }

    void HandOver(MethodFrame& frame, _CSession* session, automation::ComPtr<CDataFields> fields) {
        frame.Step([&] {
            const auto data = automation::Make<CData>();
            SetBlock(*data.get(), L"HISTORICAL", fields.get(), false);
            automation::Check(session->putref_Data(data.get()));
        });
        frame.Step([&] { this->m_session.DataReady(); });
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
