// What the keeper tells a person: who failed, what is there, and what comes of a try.
#include <algorithm>
#include <cstdio>
#include <iostream>

#include "living/Keeper.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

std::string TimeText(Clock::time_point time, const char* between = " ", const char* end = " UTC") {
    const sys_seconds whole = floor<seconds>(time);
    const hh_mm_ss clock{whole - floor<days>(whole)};
    std::string text;
    AppendDate(text, floor<days>(whole), DateForm::Iso);
    char minutes[32];
    std::snprintf(minutes, sizeof minutes, "%02d:%02d", static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()));
    return text + between + minutes + end;
}

}  // namespace

std::string SourceLine(const Readiness& readiness) {
    return "<!-- source: " + readiness.source + " " + TimeText(readiness.fetched, "T", "Z") +
           " -->\n";
}

void Keeper::Log(const std::string& line) {
    constexpr std::size_t longest = 50;
    const std::string text = TimeText(Clock::now()) + " " + MessageText(line);
    std::cerr << "quoteserver: " << text << '\n';
    m_log.push_front(text);
    if (m_log.size() > longest) {
        m_log.pop_back();
    }
}

void Keeper::LogFailure(const Ask& ask, const Outcome& outcome) {
    Log(outcome.feed + ": " + ask.ticker + " (" + NameOf(ask.kind) + "): " + NameOf(outcome.state) +
        ": " + outcome.why);
    if (!outcome.reply.empty()) {
        constexpr std::size_t most = 10;
        m_replies.push_front(TimeText(Clock::now()) + " " + outcome.feed + " " + ask.ticker + " (" +
                             NameOf(ask.kind) + "): " + outcome.reply);
        m_replies.resize(std::min(m_replies.size(), most));
    }
}

std::vector<std::pair<Ask, Outcome>> Keeper::Try(const std::string& name,
                                                 const std::string& ticker) {
    const auto found = std::ranges::find_if(
        m_feeds, [&](const std::unique_ptr<Feed>& feed) { return feed->Spec().name == name; });
    if (found == m_feeds.end()) {
        throw std::runtime_error("there is no feed " + name);
    }
    const FeedSpec& spec = (*found)->Spec();
    const auto place = static_cast<std::size_t>(found - m_feeds.begin());
    std::vector<Ask> asks;
    for (const Kind kind : allKinds) {
        if (std::ranges::count(m_file.LineUpOf(kind), place) == 0) {
            continue;
        }
        if (kind != Kind::Lists) {
            asks.push_back({kind, Upper(ticker)});
        } else if (!spec.statements.exchanges.empty()) {
            asks.push_back({kind, "EXCHANGES"});
        }
        if (kind == Kind::Lists && !spec.statements.contracts.empty()) {
            asks.push_back({kind, "CONTRACTS"});
        }
    }
    if (asks.empty()) {  // what it could be in a line-up for
        const auto* kind = std::ranges::find_if(allKinds, [&](Kind k) { return spec.Serves(k); });
        asks.push_back({*kind, Upper(ticker)});
    }
    if (spec.odbc.empty()) {
        asks.erase(asks.begin() + 1, asks.end());  // a service has a pace
    }
    std::vector<std::pair<Ask, Outcome>> outcomes;
    for (const Ask& ask : asks) {
        outcomes.emplace_back(ask, (*found)->Fetch(ask, TodayAt(Clock::now())));
    }
    return outcomes;
}

std::string Keeper::Status(bool areCopiesListed) const {
    Json feeds = Json::object(), lineUps = Json::object(), copies = Json::array();
    const Clock::time_point now = Clock::now();
    for (const std::unique_ptr<Feed>& feed : m_feeds) {
        const Feed::Condition condition = feed->Tell();
        const Recipe& recipe = feed->Spec().recipe;
        const Rate pace = feed->Spec().pace;
        feeds[feed->Spec().name] = {
            {"state", condition.requests == 0 ? "not asked yet"
                      : feed->IsStuck()       ? NameOf(State::Down)
                                              : NameOf(condition.state)},
            {"why", condition.why},
            {"requests", condition.requests},
            {"pace",
             std::to_string(pace.times) + " per " + std::to_string(pace.span.count()) + " s"},
            {"next", condition.next > now + 1min ? TimeText(condition.next) : ""},
            {"shared", feed->Spec().isShared},
            {"terms", recipe.terms},
            {"termsSay", recipe.termsSay}};
    }
    std::map<Ask, Copy> all = m_store.All();
    if (!areCopiesListed) {
        copies = all.size();
        all.clear();
    }
    for (const auto& [ask, copy] : all) {
        copies.push_back({{"ticker", ask.ticker},
                          {"kind", NameOf(ask.kind)},
                          {"feed", copy.feed},
                          {"symbol", copy.symbol},
                          {"fetched", TimeText(copy.fetched)},
                          {"fresh", IsFresh(ask, copy, now)},
                          {"dropped", copy.dropped},
                          {"first", copy.first},
                          {"asked", copy.asked}});
    }
    for (const Kind kind : allKinds) {
        for (const std::size_t feed : m_file.LineUpOf(kind)) {
            lineUps[NameOf(kind)].push_back(m_file.feeds[feed].name);
        }
    }
    return JsonText(Json{{"feeds", feeds},
                       {"lineUps", lineUps},
                       {"copies", copies},
                       {"failures", m_log},
                       {"replies", m_replies}});
}

}  // namespace quoteserver::living
