#include "living/Keeper.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <ctime>
#include <iostream>

#include "living/Doubt.h"

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

}  // namespace

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
        all.why = one.why.empty() ? all.why : one.why;
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
    const std::string why = !flight           ? ""
                            : flight->outcome ? flight->outcome->feed + ": " + flight->outcome->why
                                              : "no source has answered yet";
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
                            ages.stale - age,
                            isFresh ? "" : why};
    }
    // That nobody knows a ticker, or has anything of it, is an answer too; not so that there is a
    // copy which this asker must not have.
    const State state = flight && flight->outcome ? flight->outcome->state : State::Down;
    const bool isNothing = state == State::Unknown || state == State::NoRows;
    Readiness none{!isNothing || copy.has_value()};
    none.why = none.isFailed ? why : "";
    co_return none;
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
void Keeper::Watch(const Feed& feed, const std::shared_ptr<Turn>& turn) {
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
    SaveCoolDowns();  // the others of the line-up may take their time, and the program may end
    if (outcome.state == State::Rows) {
        if (std::string doubt = DoubtOf(ask, outcome); !doubt.empty()) {
            outcome.state = State::Nonsense;
            outcome.why = std::move(doubt);
        }
    }
    if (outcome.state == State::Rows || outcome.state == State::NoRows) {
        Land(ask, isLocal, outcome);
        return;
    }
    LogFailure(ask, outcome);
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
    if (coolDowns == m_coolDowns) {
        return;
    }
    try {
        m_store.SaveCoolDowns(coolDowns);
        m_coolDowns = std::move(coolDowns);
    } catch (const std::exception& e) {
        Log(e.what());
    }
}

// Against the copy that is there, while it is better than nothing. After that, and after splits
// that are new, a history counts as corrected.
std::string Keeper::DoubtOf(const Ask& ask, const Outcome& outcome) {
    const std::optional<Copy> copy = m_store.Find(ask);
    if (ask.kind != Kind::History || !copy || m_store.IsEdited(ask) ||
        Clock::now() - copy->fetched >= m_file.AgesOf(ask.kind).stale) {
        return {};
    }
    const auto feed = std::ranges::find(m_file.feeds, outcome.feed, &FeedSpec::name);
    return Doubt(DataFolder({}, m_file.store), ask.ticker, outcome, feed->IsOwn());
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

}  // namespace quoteserver::living
