#include "living/Keeper.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <iostream>

#include "Services.h"
#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

namespace net = boost::asio;
using namespace std::chrono;

// The clock on the server's wall, as if it were UTC.
sys_seconds LocalTime(Clock::time_point now) {
    const std::time_t time = Clock::to_time_t(now);
    std::tm parts{};
#ifdef _WIN32
    localtime_s(&parts, &time);
#else
    localtime_r(&time, &parts);
#endif
    return sys_days{year(parts.tm_year + 1900) / (parts.tm_mon + 1) / parts.tm_mday} +
           hours(parts.tm_hour) + minutes(parts.tm_min) + seconds(parts.tm_sec);
}

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

Keeper::Keeper(net::io_context& context, const FeedsFile& file, std::unique_ptr<WebClient> client)
    : m_context(context), m_file(file), m_client(std::move(client)), m_store(file.store) {
    m_coolDowns = m_store.CoolDowns();
    for (const FeedSpec& spec : file.feeds) {
        m_feeds.push_back(std::make_unique<Feed>(spec, file, *m_client));
        if (const auto until = m_coolDowns.find(spec.name); until != m_coolDowns.end()) {
            m_feeds.back()->Restore(until->second);
        }
    }
}

net::awaitable<Readiness> Keeper::Ready(std::vector<Ask> asks, bool isLocal,
                                        std::optional<Date> from) {
    const Clock::time_point end = Clock::now() + m_file.patience;
    std::vector<std::shared_ptr<Flight>> flights;  // all start at once
    for (Ask& ask : asks) {
        // Without sources of quotes, daily prices stand for them, with their date.
        if (ask.kind == Kind::Quotes && m_file.LineUpOf(Kind::Quotes).empty()) {
            ask.kind = Kind::History;
        }
        flights.push_back(Launch(ask, isLocal));
        if (IsOfDays(ask.kind)) {
            m_asked[{ask, isLocal}] = Clock::now();
        }
    }
    Readiness all;
    for (std::size_t i = 0; i < asks.size(); ++i) {
        const Readiness one = co_await Ready(asks[i], isLocal, end, flights[i]);
        if (from && IsOfDays(asks[i].kind)) {
            NoteAsked(asks[i], *from);
        }
        all.isFailed |= one.isFailed;
        all.isStale |= one.isStale;
        all.source = one.source;
        all.fetched = one.fetched;
        all.fresh = std::min(all.fresh, one.fresh);
        all.usable = std::min(all.usable, one.usable);
    }
    co_return all;
}

net::awaitable<Readiness> Keeper::Ready(Ask ask, bool isLocal, Clock::time_point end,
                                        std::shared_ptr<Flight> flight) {
    if (m_file.LineUpOf(ask.kind).empty()) {
        co_return Readiness{};
    }
    if (flight && !flight->outcome) {
        net::steady_timer timer(m_context, end - Clock::now());
        flight->waiting.push_back(&timer);
        boost::system::error_code error;
        co_await timer.async_wait(net::redirect_error(net::use_awaitable, error));
        flight->waiting.remove(&timer);
    }
    const std::optional<Copy> copy = m_store.Find(ask);
    if (copy && MayGive(copy->feed, isLocal)) {
        const Clock::time_point now = Clock::now();
        const bool isFresh = IsFresh(ask, *copy, now);
        const Ages& ages = m_file.AgesOf(ask.kind);
        const seconds age = floor<seconds>(now - copy->fetched);
        const bool isUsable = isFresh || age < ages.stale;
        co_return Readiness{!isUsable,
                            !isFresh,
                            copy->feed,
                            copy->fetched,
                            isFresh ? ages.fresh - age : seconds(0),
                            ages.stale - age};
    }
    // That nobody knows a ticker, or has anything of it, is an answer too; not so that there is a
    // copy which this asker must not have.
    const State state = flight && flight->outcome ? flight->outcome->state : State::Down;
    const bool isNothing = state == State::Unknown || state == State::NoRows;
    co_return Readiness{!isNothing || copy.has_value()};
}

// The flight that the copy is waited for with; none when the copy is new enough, or nobody has it.
std::shared_ptr<Keeper::Flight> Keeper::Launch(const Ask& ask, bool isLocal) {
    constexpr auto retry = 10min;  // for what nobody had
    if (m_file.LineUpOf(ask.kind).empty()) {
        return nullptr;
    }
    const Clock::time_point now = Clock::now();
    const std::optional<Copy> copy = m_store.Find(ask);
    if (copy && MayGive(copy->feed, isLocal) && IsFresh(ask, *copy, now)) {
        return nullptr;
    }
    constexpr std::size_t most = 10000;  // of what nobody had
    if (m_flights.size() > most) {
        std::erase_if(m_flights, [](const auto& entry) { return entry.second->outcome; });
    }
    const auto current = m_flights.find({ask, isLocal});
    if (current != m_flights.end() &&
        !(current->second->outcome && now - current->second->landed >= retry)) {
        return current->second;
    }
    auto flight = std::make_shared<Flight>();
    m_flights[{ask, isLocal}] = flight;
    AskNext(ask, isLocal, 0, {});  // it may land at once
    return flight;
}

net::awaitable<void> Keeper::Renew() {
    net::steady_timer timer(m_context);
    for (;;) {
        timer.expires_after(1min);
        co_await timer.async_wait(net::use_awaitable);
        co_await RenewOnce();
    }
}

net::awaitable<void> Keeper::RenewOnce() {
    const Clock::time_point start = Clock::now();
    std::erase_if(m_asked, [&](const auto& asked) { return start - asked.second > 14 * 24h; });
    for (std::size_t left = m_asked.size(); left > 0; --left) {
        // Behind the last one, for the first may be what a source always fails at.
        auto asked = m_renewed ? m_asked.upper_bound(*m_renewed) : m_asked.begin();
        asked = asked == m_asked.end() ? m_asked.begin() : asked;
        m_renewed = asked->first;
        const auto [ask, isLocal] = asked->first;
        const auto flight = m_store.Find(ask) ? Launch(ask, isLocal) : nullptr;
        if (!flight) {
            continue;  // it is new enough
        }
        co_await Ready(ask, isLocal, Clock::now() + m_file.patience, flight);
        const State state = flight->outcome ? flight->outcome->state : State::Down;
        if (state == State::Limited || state == State::Refused || state == State::Down) {
            co_return;
        }
    }
}

// The line-up, one after the other: rows, or none of them, end it; every failure goes on.
void Keeper::AskNext(const Ask& ask, bool isLocal, std::size_t place,
                     std::vector<Outcome> failures) {
    const std::vector<std::size_t>& lineUp = m_file.LineUpOf(ask.kind);
    while (place < lineUp.size() && !isLocal && !m_feeds[lineUp[place]]->Spec().isShared) {
        ++place;
    }
    if (place >= lineUp.size()) {
        const auto worst = std::ranges::find_if(
            failures, [](const Outcome& failure) { return failure.state != State::Unknown; });
        Land(ask, isLocal,
             worst != failures.end() ? *worst
             : failures.empty()      ? Outcome{State::Refused, "no source may be shared"}
                                     : failures.front());
        return;
    }
    Feed& feed = *m_feeds[lineUp[place]];
    const auto turn = std::make_shared<Turn>(net::steady_timer(m_context));
    turn->end = [this, ask, isLocal, place, failures = std::move(failures)](Outcome outcome) {
        Take(ask, isLocal, place, failures, std::move(outcome));
    };
    net::post(feed.Worker(), [this, &feed, ask, turn, today = TodayAt(Clock::now())] {
        net::post(m_context, [turn, outcome = feed.Fetch(ask, today)]() mutable {
            turn->watch.cancel();
            if (const auto end = std::exchange(turn->end, nullptr)) {
                end(std::move(outcome));
            }
        });
    });
    Watch(feed, turn);
}

// Not every call of a driver comes back: the line-up does not wait for it.
void Keeper::Watch(const Feed& feed, std::shared_ptr<Turn> turn) {
    turn->watch.expires_after(feed.IsStuck() ? 0s : 1s);
    turn->watch.async_wait([this, &feed, turn](const boost::system::error_code& error) {
        if (error || !turn->end) {
            return;
        }
        if (!feed.IsStuck()) {
            Watch(feed, turn);
            return;
        }
        Outcome outcome{State::Down, "it has not come back from an earlier request"};
        outcome.feed = feed.Spec().name;
        std::exchange(turn->end, nullptr)(std::move(outcome));
    });
}

void Keeper::Take(const Ask& ask, bool isLocal, std::size_t place, std::vector<Outcome> failures,
                  Outcome outcome) {
    if (outcome.state == State::Rows) {
        if (std::string doubt = Doubt(ask, outcome); !doubt.empty()) {
            outcome.state = State::Nonsense;
            outcome.why = std::move(doubt);
        }
    }
    if (outcome.state == State::Rows || outcome.state == State::NoRows) {
        Land(ask, isLocal, outcome);
        return;
    }
    Log(outcome.feed + ": " + ask.ticker + " (" + NameOf(ask.kind) + "): " + NameOf(outcome.state) +
        ": " + outcome.why);
    if (!outcome.reply.empty()) {
        constexpr std::size_t most = 10;
        m_replies.push_front(TimeText(Clock::now()) + " " + outcome.feed + " " + ask.ticker + " (" +
                             NameOf(ask.kind) + "): " + outcome.reply);
        m_replies.resize(std::min(m_replies.size(), most));
    }
    failures.push_back(std::move(outcome));
    AskNext(ask, isLocal, place + 1, std::move(failures));
}

void Keeper::Land(const Ask& ask, bool isLocal, const Outcome& outcome) {
    const std::shared_ptr<Flight> flight = m_flights.at({ask, isLocal});
    flight->outcome = outcome;
    flight->landed = Clock::now();
    try {
        if (outcome.state == State::Rows) {
            if (const std::string kept = m_store.Save(ask, outcome, Clock::now()); !kept.empty()) {
                Log(kept);
            }
        }
        SaveCoolDowns();
    } catch (const std::exception& e) {
        Log(e.what());
    }
    for (net::steady_timer* timer : flight->waiting) {
        timer->cancel();
    }
    if (outcome.state != State::Unknown && outcome.state != State::NoRows) {
        m_flights.erase({ask, isLocal});
    }
}

void Keeper::NoteAsked(const Ask& ask, Date from) {
    const std::optional<Copy> copy = m_store.Find(ask);
    std::string day;
    AppendDate(day, from, DateForm::Iso);
    if (!copy || day >= copy->first || (!copy->asked.empty() && day >= copy->asked)) {
        return;
    }
    try {
        m_store.NoteAsked(ask, day);
    } catch (const std::exception& e) {
        Log(e.what());
    }
}

void Keeper::SaveCoolDowns() {
    std::map<std::string, Clock::time_point> coolDowns;
    for (const std::unique_ptr<Feed>& feed : m_feeds) {
        if (feed->CoolUntil() > Clock::now()) {
            coolDowns[feed->Spec().name] = feed->CoolUntil();
        }
    }
    if (coolDowns != m_coolDowns) {
        m_store.SaveCoolDowns(coolDowns);
        m_coolDowns = std::move(coolDowns);
    }
}

// Against the copy that is there, while it is better than nothing: days lost, or closes changed by
// what no split explains, mean that the source speaks of something else now. After that, and after
// splits that are new, it counts as corrected.
std::string Keeper::Doubt(const Ask& ask, const Outcome& outcome) {
    const std::optional<Copy> copy = m_store.Find(ask);
    if (ask.kind != Kind::History || !copy || m_store.IsEdited(ask) ||
        Clock::now() - copy->fetched >= m_file.AgesOf(ask.kind).stale) {
        return {};
    }
    const DataFolder folder({}, m_file.store);
    std::optional<DataFile> file = folder.Prices(ask.ticker);
    const std::optional<DataFile> splits = folder.Splits(ask.ticker);
    const bool hasNewSplits = splits && splits->text != outcome.files.at(".splits.csv");
    if (!file || hasNewSplits) {
        return {};
    }
    std::vector<Row> before;
    try {
        before = ReadRows(*file, priceLayout);
    } catch (const std::exception&) {
        return {};  // a damaged copy says nothing
    }
    const std::vector<Row> after = ParseRows(outcome.files.at(".csv"), priceLayout);
    const auto close = [](const Row& row) {
        std::string_view values = row.values;
        for (int i = 0; i < 3; ++i) {
            TakeField(values, ',');
        }
        return std::strtod(std::string(TakeField(values, ',')).c_str(), nullptr);
    };
    std::size_t lost = 0, changed = 0;
    auto next = after.begin();
    for (const Row& row : before) {
        next = std::find_if(next, after.end(),
                            [&](const Row& other) { return other.date <= row.date; });
        if (next == after.end() || next->date != row.date) {
            ++lost;
        } else if (std::abs(close(*next) - close(row)) > std::abs(close(row)) * 0.01) {
            ++changed;
        }
    }
    const auto isMany = [&](std::size_t count) { return count * 100 > before.size(); };
    const std::string cure = "; without the copy " + file->name + " they are taken as they come";
    return isMany(lost)      ? std::to_string(lost) + " days of the copy are missing" + cure
           : isMany(changed) ? std::to_string(changed) + " closes differ from the copy's" + cure
                             : std::string();
}

bool Keeper::MayGive(const std::string& name, bool isLocal) const {
    return isLocal || std::ranges::any_of(m_feeds, [&](const std::unique_ptr<Feed>& feed) {
               return feed->Spec().name == name && feed->Spec().isShared;
           });
}

// A history is as new as the last day whose numbers were final when it was fetched.
bool Keeper::IsFresh(const Ask& ask, const Copy& copy, Clock::time_point now) const {
    if (now - copy.fetched >= m_file.AgesOf(ask.kind).fresh || copy.fetched > now + 1min) {
        return false;
    }
    const auto days = [&](Clock::time_point time) {
        const sys_seconds local =
            copy.offset ? floor<seconds>(time) + *copy.offset : LocalTime(time);
        return floor<std::chrono::days>(local - m_file.newDay);
    };
    return !IsOfDays(ask.kind) || days(now) == days(copy.fetched);
}

Today Keeper::TodayAt(Clock::time_point now) const {
    return living::TodayAt(LocalTime(now), m_file.newDay);
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
    Json feeds = Json::object(), copies = Json::array();
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
    return Json{{"feeds", feeds}, {"copies", copies}, {"failures", m_log}, {"replies", m_replies}}
        .dump(1);
}

}  // namespace quoteserver::living
