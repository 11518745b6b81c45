#include <utility>  // which Boost's coroutines need before them

#include "LivingRun.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "Services.h"

namespace quoteserver {
namespace {

namespace net = boost::asio;

// The file of feeds without a mistake; what else it has is told, and ends the program. Recordings
// answer at any pace, and into a store of their own: they are not of today.
living::FeedsFile Feeds(const Settings& settings, const std::string& file) {
    living::Mistakes mistakes;
    living::FeedsFile feeds = living::ReadFeedsFile(file, mistakes);
    if (!settings.replay.empty()) {
        feeds.store += "-replay";
        for (living::FeedSpec& feed : feeds.feeds) {
            feed.pace = {1000000, std::chrono::seconds(1)};
        }
        for (living::Ages& ages : feeds.ages) {  // a second: an answer is used, once it is there
            for (std::chrono::seconds* age : {&ages.fresh, &ages.stale}) {
                *age = std::max(std::chrono::seconds(1),
                                std::chrono::duration_cast<std::chrono::seconds>(
                                    *age / std::max(settings.replaySpeed, 1.0)));
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

}  // namespace

net::awaitable<Preparation> PrepareFromFiles(const Request& request) {
    Preparation preparation;
    preparation.caching = Caching(request.target.path, {});
    co_return preparation;
}

LivingRun::LivingRun(const Settings& settings, net::io_context& context)
    : feeds(Feeds(settings, settings.feeds)),
      hasComment(settings.comment),
      saysFailure(settings.failure == "503"),
      hasCopies(std::filesystem::exists(feeds.store) && !std::filesystem::is_empty(feeds.store)),
      keeper(context, feeds, MakeClient(settings, feeds)) {
    if (!feeds.data.empty()) {
        own.emplace(feeds.data);
    }
}

net::awaitable<Preparation> LivingRun::Prepare(const Request& request) {
    const bool isLocal = request.forwardedFor.empty() || IsLoopbackName(request.forwardedFor);
    const std::vector<living::Ask> asks = living::AsksOf(request, own ? &*own : nullptr);
    const living::Readiness ready =
        co_await keeper.Ready(asks, isLocal, FirstDayAsked(request.target));
    // Whoever asks for tables may know better than an old copy, and would take it for new.
    const bool isTable = request.target.path.starts_with(tablesPath);
    Preparation preparation{ready.isFailed || (isTable && ready.isStale), isTable || saysFailure,
                            ready.why};
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

std::string LivingRun::LineUps() const {
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

void LivingRun::TellReplay(const std::string& folder, std::ostream& out) const {
    const std::map<std::string, std::size_t> counts = living::CountRecordings(folder);
    std::string with, without;
    for (const living::FeedSpec& feed : feeds.feeds) {
        const auto count = counts.find(feed.name);
        std::string& names = count == counts.end() ? without : with;
        names.append(names.empty() ? " " : ", ").append(feed.name);
        names += count == counts.end() ? "" : " (" + std::to_string(count->second) + ")";
    }
    out << "quoteserver: there are recordings of" << (with.empty() ? " no feed" : with);
    if (!without.empty() && !with.empty()) {
        out << ", none of" << without;
    }
    out << '\n';
    if (hasCopies) {
        out << "quoteserver: copies of an earlier replay go first; delete " << feeds.store.string()
            << " to begin anew\n";
    }
    out << std::flush;
}

int CheckFeeds(const Settings& settings) {
    const living::FeedsFile feeds = Feeds(settings, settings.check);
    std::cout << "quoteserver: " << settings.check << ": no mistake\n";
    return settings.tryOut.empty() ? 0 : TryFeed(settings, feeds);
}

}  // namespace quoteserver
