#include "living/Ask.h"

#include <algorithm>

#include "QuoteTable.h"
#include "Services.h"

namespace quoteserver::living {

std::vector<Ask> AsksOf(const Request& request, const DataFolder* own) {
    const Query& query = request.target.query;
    const std::string& path = request.target.path;
    std::vector<Ask> asks;
    const auto add = [&](Kind kind, std::string_view ticker, std::string_view suffix) {
        if (IsTicker(ticker) && !(own && own->Has(ticker, suffix))) {
            asks.push_back({kind, Upper(ticker)});
        }
    };
    const std::string_view table = path.starts_with(tablesPath)
                                       ? std::string_view(path).substr(tablesPath.size())
                                       : std::string_view();
    if (table == "history.csv" || table == "dividends.csv" || table == "splits.csv") {
        add(Kind::History, query.value("ticker"),
            table == "dividends.csv" ? ".dividends.csv" : ".csv");
    } else if (table == "futures.csv") {
        add(Kind::Futures, query.value("ticker"), ".futures.csv");
    } else if (path == "/table.csv") {
        add(Kind::History, query.value("s"), query.value("g") == "v" ? ".dividends.csv" : ".csv");
    } else if (path == "/finance/historical") {
        const std::string_view ticker = query.value("q");
        add(Kind::History, ticker.substr(ticker.find(':') + 1), ".csv");
    } else if (path == "/own/YAHOOOPTIONS") {
        add(Kind::Options, query.value("ticker"), chainSuffix);
    } else if (path == "/own/INOSNAPSHOT") {
        add(Kind::Futures, query.value("ticker"), ".futures.csv");
    } else if (path == "/own/INOEXCHANGES") {
        add(Kind::Lists, "EXCHANGES", listSuffix);
    } else if (path == "/own/INOFUTURESLIST") {
        add(Kind::Lists, "CONTRACTS", listSuffix);
    } else if (path == "/d/quotes.csv" || path == "/cgi-bin/vestora.exe" ||
               path == "/own/YAHOOSNAPSHOT" || table == "quote.csv") {
        std::string tickers(query.value(path == "/d/quotes.csv"         ? "s"
                                        : path.starts_with("/cgi-bin/") ? "TICKER"
                                                                        : "ticker"));
        std::ranges::replace(tickers, ' ', ',');
        std::optional<QuoteTable> quotes;
        if (own) {
            quotes.emplace(*own);
        }
        for (std::string_view rest = tickers; !rest.empty();) {
            const std::string ticker(TakeField(rest, ','));
            if (IsTicker(ticker) && !(quotes && quotes->Of(ticker).IsKnown())) {
                asks.push_back({Kind::Quotes, Upper(ticker)});
            }
        }
    } else if (path == "/cgi-bin/pifin/q.php") {
        add(Kind::Futures, query.value("tid"), ".futures.csv");
    } else if (path == "/DelayedQuote/QuoteTableDownload.aspx") {
        add(Kind::Options, Query(request.body).valueOfKeyEnding("txtTicker"), ".options.csv");
    }
    return asks;
}

}  // namespace quoteserver::living
