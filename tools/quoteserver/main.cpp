// quoteserver: a stand-in for the classic quote services, which are gone from the public web.
#include <utility>  // which Boost's coroutines need before them

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "Background.h"
#include "Server.h"
#include "Services.h"
#include "Settings.h"
#include "living/Keeper.h"
#include "living/StatusPage.h"

namespace {

using namespace quoteserver;
namespace net = boost::asio;

Fault FaultOf(const std::string& name) {
    const auto* found = std::ranges::find(namedFaults, name, &NamedFault::name);
    return found == std::end(namedFaults) ? Fault::None : found->fault;
}

// Real data services listen to the world; this one has no business there.
net::ip::tcp::endpoint Loopback(const Settings& settings) {
    boost::system::error_code error;
    const net::ip::address address = net::ip::make_address(settings.host, error);
    if (error || !address.is_loopback()) {
        throw std::runtime_error(settings.host + " is not a loopback address");
    }
    return {address, settings.port};
}

// Replies that need not be made again while the ticker's files stay as they are: in the morning
// many desktops ask for the same.
class ReplyCache {
public:
    template <typename Answer>
    Reply Find(const std::string& question, const std::string& stamp, const Answer& answer) {
        const auto found = m_replies.find(question);
        if (found != m_replies.end() && !stamp.empty() && found->second.first == stamp) {
            return found->second.second;
        }
        Reply reply = answer();
        if (!stamp.empty()) {
            if ((m_bytes += reply.body.size()) > mostBytes) {
                m_replies.clear();
                m_bytes = reply.body.size();
            }
            m_replies[question] = {stamp, reply};
        }
        return reply;
    }

private:
    static constexpr std::size_t mostBytes = 64 * 1024 * 1024;

    std::unordered_map<std::string, std::pair<std::string, Reply>> m_replies;
    std::size_t m_bytes = 0;
};

Routes MakeRoutes(const Settings& settings, const DataFolder& folder) {
    const TableOptions tables{settings.rowsPerPage,
                              settings.dates == "iso" ? DateForm::Iso : DateForm::DayMonYy,
                              settings.comment ? settings.commentServer : ""};
    Routes routes;
    const auto cache = std::make_shared<ReplyCache>();
    const bool hasTime = !tables.commentServer.empty();  // at the end of each reply
    routes.Add("GET", "/table.csv", [=](const Request& request) {
        const Query& query = request.target.query;
        const std::string stamp = hasTime ? "" : folder.StampOf(query.value("s"));
        return cache->Find(request.target.text, stamp,
                           [&] { return AnswerTable(folder, tables, query); });
    });
    for (const char* name : tableNames) {
        routes.Add("GET", std::string(tablesPath) + name, [=](const Request& request) {
            const bool isOfDays = request.target.path.ends_with("history.csv");
            const std::string stamp =
                isOfDays ? folder.StampOf(request.target.query.value("ticker")) : "";
            return Unchanged(cache->Find(request.target.text, stamp,
                                         [&] { return AnswerTables(folder, request.target); }),
                             request.known);
        });
    }
    for (const auto& [path, answer] : {std::pair{"/d/quotes.csv", &AnswerQuotes},
                                       {"/finance/historical", &AnswerHistory},
                                       {"/cgi-bin/pifin/q.php", &AnswerFutures}}) {
        routes.Add("GET", path, [folder, answer = answer](const Request& request) {
            return answer(folder, request.target.query);
        });
    }
    for (const std::string_view source : OwnSources()) {
        routes.Add("GET", "/own/" + std::string(source), [=](const Request& request) {
            return AnswerOwn(source, folder, request.target.query);
        });
    }
    routes.Add("POST", "/DelayedQuote/QuoteTableDownload.aspx",
               [=](const Request& request) { return AnswerOptions(folder, Query(request.body)); });
    routes.Add("GET", "/cgi-bin/vestora.exe",
               [folder, account = settings.account](const Request& request) {
                   return AnswerAccount(folder, account, request);
               });
    routes.Add("GET", "/files/VTDL.version", [version = settings.publishedVersion](const Request&) {
        return Reply{200, "text/plain", version};
    });
    return routes;
}

// The file of feeds without a mistake; what else it has is told, and ends the program. Recordings
// answer at any pace, and into a store of their own: they are not of today.
living::FeedsFile Feeds(const Settings& settings, const std::string& file) {
    living::Mistakes mistakes;
    living::FeedsFile feeds = living::ReadFeedsFile(file, mistakes);
    if (!settings.replay.empty()) {
        feeds.store += "-replay";
        for (living::FeedSpec& feed : feeds.feeds) {
            feed.pace = {1000000, std::chrono::seconds(1)};
            feed.command.clear();  // of which there are no recordings
            feed.odbc.clear();
        }
        for (living::Ages& ages : feeds.ages) {
            for (std::chrono::seconds* age : {&ages.fresh, &ages.stale}) {
                *age = std::chrono::duration_cast<std::chrono::seconds>(
                    *age / std::max(settings.replaySpeed, 1.0));
            }
        }
    }
    for (const std::string& mistake : mistakes) {
        std::cout << mistake << '\n';
    }
    if (!mistakes.empty()) {
        throw std::runtime_error(std::to_string(mistakes.size()) + " mistakes in " + file);
    }
    return feeds;
}

std::unique_ptr<living::WebClient> MakeClient(const Settings& settings,
                                              const living::FeedsFile& feeds) {
    if (!settings.replay.empty()) {
        return living::ReplayClient(settings.replay, settings.replaySpeed);
    }
    auto client = living::SystemWebClient("vtdl-quoteserver/" VTDL_VERSION);
    return settings.record.empty() ? std::move(client)
                                   : living::RecordingClient(std::move(client), settings.record,
                                                             feeds.secrets, settings.recordLimit);
}

// Who is asked for what, so that a user can be told without asking them:
// "history from tiingo, chart; options from cboe".
std::string LineUps(const living::FeedsFile& feeds) {
    std::string text;
    for (const living::Kind kind : living::allKinds) {
        std::string names;
        for (const std::size_t feed : feeds.LineUpOf(kind)) {
            names.append(names.empty() ? "" : ", ").append(feeds.feeds[feed].name);
        }
        if (!names.empty()) {
            text.append(text.empty() ? "" : "; ").append(living::NameOf(kind));
            text.append(" from ").append(names);
        }
    }
    return text;
}

// What a proxy may do with a reply. The end of a trading day is to show soon, and so are changes of
// the user's own files; one request is to renew what many ask for.
std::string Caching(std::string_view path, const living::Readiness& ready) {
    using namespace std::chrono;
    if (path == "/" || path == "/status" || path == "/cgi-bin/vestora.exe") {
        return "no-store";
    }
    const bool isOwn = ready.source.empty(), isTable = path.starts_with(tablesPath);
    const bool isQuote = path.find("quote") != path.npos || path.ends_with("SNAPSHOT");
    const seconds fresh = isOwn ? 1min : std::clamp<seconds>(ready.fresh, 1s, 10min);
    const seconds usable = !isOwn    ? std::max<seconds>(ready.usable, 0s)
                           : isQuote ? 15min
                                     : seconds(7 * 24h);
    // Whoever asks for tables would store an old copy as a new one.
    return "max-age=" + std::to_string(fresh.count()) +
           (isTable
                ? ""
                : ", stale-while-revalidate=30, stale-if-error=" + std::to_string(usable.count()));
}

net::awaitable<Preparation> PrepareFromFiles(const Request& request) {
    Preparation preparation;
    preparation.caching = Caching(request.target.path, {});
    co_return preparation;
}

// The living sources of a run, if there are any.
struct Living {
    living::FeedsFile feeds;
    bool hasComment, saysFailure;
    std::optional<DataFolder> own;
    living::Keeper keeper;

    Living(const Settings& settings, net::io_context& context)
        : feeds(Feeds(settings, settings.feeds)),
          hasComment(settings.comment),
          saysFailure(settings.failure == "503"),
          keeper(context, feeds, MakeClient(settings, feeds)) {
        if (!feeds.data.empty()) {
            own.emplace(feeds.data);
        }
    }

    net::awaitable<Preparation> Prepare(const Request& request) {
        const bool isLocal = request.forwardedFor.empty() || IsLoopbackName(request.forwardedFor);
        const std::vector<living::Ask> asks = living::AsksOf(request, own ? &*own : nullptr);
        const living::Readiness ready =
            co_await keeper.Ready(asks, isLocal, FirstDayAsked(request.target));
        // Whoever asks for tables may know better than an old copy, and would take it for new.
        const bool isTable = request.target.path.starts_with(tablesPath);
        Preparation preparation{ready.isFailed || (isTable && ready.isStale),
                                isTable || saysFailure};
        preparation.caching = Caching(request.target.path, ready);
        if (!ready.source.empty()) {
            // The one form whose clients drop a line like this; they drop one.
            if (request.target.path == "/table.csv" && !hasComment) {
                preparation.end = living::SourceLine(ready);
            }
            preparation.headers = {{"X-Quote-Source", ready.source},
                                   {"X-Quote-State", ready.isStale ? "stale" : "fresh"}};
        }
        co_return preparation;
    }
};

// The file's bytes, or silence.
std::optional<BrokenReply> RawReply(const std::string& folder, const std::string& path) {
    const auto file = std::filesystem::path(folder) / std::filesystem::path(path).filename();
    if (!std::filesystem::is_regular_file(file)) {
        return std::nullopt;
    }
    std::string bytes(static_cast<std::size_t>(std::filesystem::file_size(file)), 0);
    std::ifstream(file, std::ios::binary)
        .read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const Ending ending = bytes.empty() ? Ending::Hang : Ending::Close;
    return BrokenReply{{{std::move(bytes)}}, ending};
}

void Run(Settings settings) {
    net::io_context context(1);
    std::optional<Living> living;
    if (!settings.feeds.empty()) {
        living.emplace(settings, context);
        settings.data = settings.feeds;
    }
    const DataFolder folder =
        living ? DataFolder(living->feeds.data, living->feeds.store) : DataFolder(settings.data);
    Routes routes = MakeRoutes(settings, folder);
    ServerOptions options{"quoteserver/" VTDL_VERSION, settings.verbose, FaultOf(settings.fault),
                          settings.faultAfter, settings.faultCount};
    options.prepare = PrepareFromFiles;
    if (living) {
        net::co_spawn(context, living->keeper.Renew(), net::detached);
        options.prepare = [&](const Request& request) { return living->Prepare(request); };
        routes.Add("GET", "/status", [&](const Request& request) {
            return Reply{200,
                         "application/json",
                         living->keeper.Status(request.target.query.value("copies") != "0"),
                         {{"X-Quote-Sources", LineUps(living->feeds)}}};
        });
        routes.Add("GET", "/", [&](const Request& request) {
            return living::StatusPage(living->keeper.Status(), folder,
                                      request.target.query.value("ticker"));
        });
    }
    if (!settings.raw.empty()) {
        options.script = [&](const std::string& path) { return RawReply(settings.raw, path); };
    }
    const net::ip::tcp::endpoint where = Loopback(settings);
    Server server(context, where, routes, options);

    net::signal_set signals(context, SIGINT, SIGTERM);
    signals.async_wait([&](const auto&, int) { context.stop(); });
    // The accept loop only ends by an exception, which then ends the program.
    net::co_spawn(context, server.Run(), [](const std::exception_ptr& failure) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    });
    std::cout << "quoteserver: serving " << settings.data << " on " << server.Endpoint()
              << std::endl;
    context.run();
    if (living) {
        // A source may keep its thread waiting for long yet; what is written is written whole.
        std::_Exit(0);
    }
}

void Tell(const living::Ask& ask, const living::Outcome& outcome) {
    std::cout << outcome.feed << " was asked for " << outcome.symbol << " ("
              << living::NameOf(ask.kind) << "): " << living::NameOf(outcome.state)
              << (outcome.why.empty() ? "" : ": ") << outcome.why << '\n';
    for (const auto& [suffix, text] : outcome.files) {
        constexpr std::size_t shown = 400;
        std::cout << "\n*" << suffix << ", " << std::ranges::count(text, '\n') << " lines:\n"
                  << text.substr(0, text.find('\n', std::min(shown, text.size()))) << '\n';
    }
    if (!outcome.first.empty()) {
        std::cout << "It begins with " << outcome.first
                  << "; days before that, if there were any, may be another share's.\n";
    }
    if (outcome.dropped > 0) {
        std::cout << outcome.dropped << " rows were left out.\n";
    }
    for (const std::string& note : outcome.notes) {
        std::cout << "  " << note << '\n';
    }
}

int TryFeed(const Settings& settings, const living::FeedsFile& feeds) {
    const std::size_t colon = settings.tryOut.find(':');
    if (colon == std::string::npos) {
        throw std::runtime_error("--try takes FEED:TICKER");
    }
    net::io_context context(1);
    living::Keeper keeper(context, feeds, MakeClient(settings, feeds));
    bool areRows = true;
    for (const auto& [ask, outcome] :
         keeper.Try(settings.tryOut.substr(0, colon), settings.tryOut.substr(colon + 1))) {
        Tell(ask, outcome);
        areRows &= outcome.state == living::State::Rows;
    }
    return areRows ? 0 : 1;
}

int CheckFeeds(const Settings& settings) {
    const living::FeedsFile feeds = Feeds(settings, settings.check);
    std::cout << "quoteserver: " << settings.check << ": no mistake\n";
    return settings.tryOut.empty() ? 0 : TryFeed(settings, feeds);
}

int Check(const std::string& folder) {
    const std::size_t faults = CheckFolder(folder, std::cout);
    std::cout << "quoteserver: " << folder << ": "
              << (faults == 0 ? "no damaged line" : std::to_string(faults) + " faults") << '\n';
    return faults == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    if (const std::optional<int> status = ReadSettings(argc, argv, settings)) {
        return *status;
    }
    try {
#ifdef _WIN32
        if (settings.isStop) {
            return EndOthers() ? 0 : 1;
        }
#endif
        if (!settings.log.empty()) {
            WriteMessagesTo(settings.log);
        }
        if (!settings.import.files.empty()) {
            const std::size_t refused = ImportFiles(settings.import, std::cout);
            std::cout << "quoteserver: " << settings.data << ": "
                      << (refused == 0 ? "everything was taken"
                                       : std::to_string(refused) + " lines were not taken")
                      << '\n';
            return refused == 0 ? 0 : 1;
        }
        if (!settings.check.empty()) {
            return std::filesystem::is_directory(settings.check) ? Check(settings.check)
                                                                 : CheckFeeds(settings);
        }
        Run(settings);
        return 0;
    } catch (const boost::system::system_error& e) {
        // Said here because not every Windows has a text for its socket errors.
        const bool inUse = e.code() == net::error::address_in_use;
        std::cerr << "quoteserver: cannot listen on " << settings.host << " port " << settings.port
                  << ": " << (inUse ? "the port is in use" : e.code().message()) << '\n';
    } catch (const std::exception& e) {
        std::cerr << "quoteserver: " << e.what() << '\n';
    }
    return 1;
}
