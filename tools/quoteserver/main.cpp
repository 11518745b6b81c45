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
#include "LivingRun.h"
#include "Server.h"
#include "Services.h"
#include "Settings.h"
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
    std::optional<LivingRun> living;
    std::string idleData;
    if (!settings.feeds.empty()) {
        living.emplace(settings, context);
        idleData = settings.isDataIdle ? settings.data : "";
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
                         {{"X-Quote-Sources", living->LineUps()}}};
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
    if (!idleData.empty()) {
        std::cout << "quoteserver: " << idleData
                  << " is not served; own files are those of \"data\" in " << settings.feeds
                  << std::endl;
    }
    if (living && !settings.replay.empty()) {
        living->TellReplay(settings.replay, std::cout);
    }
    context.run();
    if (living) {
        // A source may keep its thread waiting for long yet; what is written is written whole.
        std::_Exit(0);
    }
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
