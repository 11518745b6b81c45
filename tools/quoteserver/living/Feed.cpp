#include "living/Feed.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <thread>

#include "Http.h"
#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

// Longer than this nobody waits in a queue: the next in the line-up is asked.
constexpr seconds longestWait(10);
// Whatever a service says, it is asked again some day.
constexpr hours longestPause(7 * 24);

std::string Encoded(const std::string& text) {
    std::string encoded;
    for (const char c : text) {
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                             (c >= 'a' && c <= 'z') || c == '-' || c == '.' || c == '_';
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(c));
        encoded += isPlain ? std::string(1, c) : escape;
    }
    return encoded;
}

void Replace(std::string& text, std::string_view mark, const std::string& value) {
    for (std::size_t at = text.find(mark); at != std::string::npos;
         at = text.find(mark, at + value.size())) {
        text.replace(at, mark.size(), value);
    }
}

bool Has(const std::vector<unsigned>& statuses, unsigned status) {
    return std::ranges::find(statuses, status) != statuses.end();
}

std::string BeginningOf(const WebAnswer& answer) {
    return "status " + std::to_string(answer.status) + ", " + MessageText(answer.contentType) +
           ": " + MessageText(answer.body);
}

// What a service says beside a status, without the marks of a page.
std::string WordsOf(const std::string& body) {
    std::string words;
    bool isMark = false;
    const std::size_t page = body.find("<body");
    for (const char c : std::string_view(body).substr(page == body.npos ? 0 : page, 4096)) {
        const bool isBlank = c == '<' || c == '>' || c == ' ' || c == '\n' || c == '\r';
        isMark = c == '<' || (isMark && c != '>');
        if (isBlank && !words.empty() && words.back() != ' ') {
            words += ' ';
        } else if (!isBlank && !isMark) {
            words += c;
        }
    }
    return words.empty() ? "" : ": " + words;
}

// Many tables come as plain text or as bytes; none as a page, a picture or a film.
bool IsTypeOfData(const Recipe& recipe, const std::string& contentType) {
    const std::string type = Lower(contentType);
    const auto begins = [&](std::string_view other) { return type.starts_with(other); };
    return recipe.type.empty()
               ? std::ranges::none_of(std::array{"text/html", "application/xhtml",
                                                 "application/pdf", "image/", "audio/", "video/"},
                                      begins)
               : begins(recipe.type);
}

}  // namespace

Clock::time_point Pace::Next(Clock::time_point now) const {
    Clock::time_point next = std::max(now, m_coolUntil);
    const auto wait = [&](const Rate& rate) {
        if (m_times.size() >= rate.times) {
            next = std::max(next, m_times[m_times.size() - rate.times] + rate.span);
        }
    };
    wait(m_pace);
    if (m_budget) {
        wait(*m_budget);
    }
    return next;
}

void Pace::Count(Clock::time_point now) {
    m_times.push_back(now);
    const std::size_t most = std::max(m_pace.times, m_budget ? m_budget->times : 0U);
    if (m_times.size() > most) {
        m_times.pop_front();
    }
}

void Pace::CoolDown(Clock::time_point now, Clock::time_point until) {
    m_pause = std::clamp(m_pause * 2, seconds(60), seconds(3600));
    m_coolUntil = until > now ? std::min(until, now + longestPause) : now + m_pause;
}

std::string FillIn(const std::string& url, const std::string& symbol, Kind kind,
                   Clock::time_point now) {
    std::string text = url, today;
    AppendDate(today, floor<days>(now), DateForm::Iso);
    Replace(text, "{symbol}", Encoded(symbol));
    Replace(text, "{table}", kind == Kind::Quotes ? "quote" : NameOf(kind));
    Replace(text, "{firstEpoch}", "-2208988800");  // of 1900
    Replace(text, "{nowEpoch}", std::to_string(Clock::to_time_t(now)));
    Replace(text, "{first}", "1900-01-01");
    Replace(text, "{today}", today);
    return text;
}

// Seconds, or "Wed, 21 Oct 2015 07:28:00 GMT".
std::optional<Clock::time_point> RetryTime(std::string_view header, Clock::time_point now) {
    unsigned wait = 0;
    const auto [end, error] = std::from_chars(header.data(), header.data() + header.size(), wait);
    if (error == std::errc{} && end == header.data() + header.size()) {
        return now + std::min<seconds>(seconds(wait), longestPause);
    }
    int day = 0, year = 0, hour = 0, minute = 0, second = 0;
    char month[4] = {};
    const std::string text(header);
    if (std::sscanf(text.c_str(), "%*3s, %d %3s %d %d:%d:%d GMT", &day, month, &year, &hour,
                    &minute, &second) != 6) {
        return std::nullopt;
    }
    char english[32];
    std::snprintf(english, sizeof english, "%s %d, %04d", month, day, year);
    const std::optional<Date> date = ParseEnglishDate(english);
    return date ? std::optional<Clock::time_point>(*date + hours(hour) + minutes(minute) +
                                                   seconds(second))
                : std::nullopt;
}

// The user's own word counts most: for this feed, then for all, then the recipe's patterns.
std::string Feed::SymbolFor(const Ask& ask, std::vector<std::string>& notes) const {
    for (const std::string& name : {m_spec.name, std::string("*")}) {
        const auto found = m_file.symbols.find({ask.ticker, name});
        if (found != m_file.symbols.end()) {
            notes.push_back(ask.ticker + " is " + found->second + " by the file of symbols");
            return found->second;
        }
    }
    const std::string symbol = SymbolOf(m_spec.recipe, ask);
    if (symbol != ask.ticker) {
        notes.push_back(ask.ticker + " is " + symbol + " by the recipe's patterns");
    }
    return symbol;
}

Outcome Feed::Fetch(const Ask& ask, const Today& today) {
    std::vector<std::string> notes;
    const std::string symbol = SymbolFor(ask, notes);
    Outcome outcome;
    Clock::time_point now = Clock::now(), next;
    {
        const std::scoped_lock lock(m_lock);
        next = m_pace.Next(now);
    }
    if (next > now + longestWait) {
        outcome = {State::Limited, "its pace allows the next request later"};
        outcome.until = next;
    } else {
        std::this_thread::sleep_until(next);
        now = Clock::now();
        {
            const std::scoped_lock lock(m_lock);
            m_pace.Count(now);
            ++m_condition.requests;
            m_started = now;
        }
        outcome = Request(ask, today, symbol);
        const std::scoped_lock lock(m_lock);
        m_started.reset();
        if (outcome.state == State::Limited) {
            m_pace.CoolDown(Clock::now(), outcome.until);
            outcome.until = m_pace.CoolUntil();
        } else {
            m_pace.Recover();
        }
        outcome.why = Masked(std::move(outcome.why), m_file.secrets);  // services repeat them
        m_condition.state = outcome.state;
        m_condition.why = outcome.why;
    }
    outcome.feed = m_spec.name;
    outcome.symbol = symbol;
    outcome.notes.insert(outcome.notes.begin(), notes.begin(), notes.end());
    return outcome;
}

WebRequest Feed::RequestOf(const std::string& what, const std::string& symbol) const {
    return {.name = m_spec.name + "." + what + "." + symbol, .timeout = m_spec.timeout};
}

Table Feed::Run(const std::string& name, const std::string& statement, const std::string& symbol,
                Date today) {
    const auto run = [&] { return m_database.Run(statement, symbol, today); };
    return m_client.HasRecordings()
               ? TableOf(m_client.Bring(RequestOf(name, symbol), [&] { return AnswerOf(run); }))
               : run();
}

Outcome Feed::Request(const Ask& ask, const Today& today, const std::string& symbol) {
    try {
        if (!m_spec.odbc.empty()) {
            Recipe recipe = m_spec.recipe;
            const RunStatement run = [&](const std::string& name, const std::string& statement) {
                return Run(name, statement, symbol, today.date);
            };
            Reading reading = ReadDatabase(run, m_spec.statements, ask, recipe);
            return FilesOf(std::move(reading), recipe, ask, today);
        }
        if (m_spec.command.empty()) {
            WebRequest request = RequestOf(NameOf(ask.kind), symbol);
            request.url = FillIn(m_spec.recipe.url, symbol, ask.kind, Clock::now());
            request.headers = m_spec.headers;
            WebAnswer answer = m_client.Fetch(request);
            Outcome outcome = Judge(answer, ask, today);
            if (outcome.state != State::Rows && outcome.state != State::NoRows &&
                answer.status != 0) {
                // Judged again without secrets, which a reason may have the beginning of.
                answer.body = Masked(std::move(answer.body), m_file.secrets);
                outcome = Judge(answer, ask, today);
                outcome.reply = BeginningOf(answer);
            }
            return outcome;
        }
        if (symbol.starts_with('-')) {
            return {State::Unknown, "a program would take it for an option"};
        }
        std::vector<std::string> arguments = m_spec.command;
        for (std::string& argument : arguments) {
            Replace(argument, "{symbol}", symbol);
        }
        const auto run = [&] { return RunCommand(arguments, m_spec.timeout, m_file.folder); };
        return Judge(m_client.Bring(RequestOf(NameOf(ask.kind), symbol), run), ask, today);
    } catch (const DatabaseError& error) {
        return {error.What(), MessageText(Masked(error.what(), m_file.secrets))};
    } catch (const Nonsense& nonsense) {
        return {State::Nonsense, MessageText(nonsense.what())};
    } catch (const std::exception& e) {
        return {State::Down, MessageText(e.what())};
    }
}

// A status says who is meant before the body is looked at; only what the recipe knows as the word
// for an unknown symbol counts as that.
Outcome Feed::Judge(const WebAnswer& answer, const Ask& ask, const Today& today) const {
    const Recipe& recipe = m_spec.recipe;
    if (answer.status == 0) {
        return {State::Down, MessageText(answer.fault)};
    }
    const std::string status =
        answer.status == 200
            ? ""
            : MessageText("status " + std::to_string(answer.status) + WordsOf(answer.body));
    if (Has(recipe.limitedStatuses, answer.status)) {
        Outcome outcome{State::Limited, status};
        outcome.until = RetryTime(answer.retryAfter, Clock::now()).value_or(Clock::time_point{});
        return outcome;
    }
    if (Has(recipe.unknownStatuses, answer.status)) {
        return {State::Unknown, status};
    }
    Reading reading = ReadReply(recipe, ask, answer.body);
    if (answer.status != 200) {
        const bool isKnown = reading.state == State::Unknown || reading.state == State::Limited;
        return {isKnown                ? reading.state
                : answer.status >= 500 ? State::Down
                                       : State::Refused,
                status};
    }
    const bool isTable = reading.state == State::Rows || reading.state == State::NoRows;
    if (isTable && !IsTypeOfData(recipe, answer.contentType)) {
        return {State::Nonsense, "it says that it is " + MessageText(answer.contentType)};
    }
    return FilesOf(std::move(reading), recipe, ask, today);
}

Outcome Feed::FilesOf(Reading reading, const Recipe& recipe, const Ask& ask,
                      const Today& today) const {
    Outcome outcome{reading.state, MessageText(reading.why)};
    outcome.dropped = reading.dropped;
    outcome.offset = reading.offset;
    if (reading.state != State::Rows) {
        return outcome;
    }
    if (!IsOfDays(ask.kind)) {
        outcome.files[ask.kind == Kind::Quotes  ? ".quote.csv"
                      : ask.kind == Kind::Lists ? ".list.csv"
                                                : ".options.csv"] = std::move(reading.table);
        if (ask.kind == Kind::Options) {
            outcome.files[".chain.csv"] = std::move(reading.ownChain);
        }
        if (outcome.dropped > 0) {
            outcome.notes.emplace_back(
                "options from 2032 on, which the classic form would date 1932");
        }
        return outcome;
    }
    try {
        const PriceForm form{recipe.isSplitAdjusted, recipe.isVolumeSplitAdjusted,
                             recipe.open.IsGiven() && recipe.high.IsGiven() && recipe.low.IsGiven(),
                             recipe.adjusted.IsGiven(), ask.kind == Kind::Futures};
        const Clock::time_point now = Clock::now();
        HistoryFiles files = MakeFiles(
            std::move(reading.history), form,
            reading.offset
                ? TodayAt(floor<std::chrono::seconds>(now) + *reading.offset, m_file.newDay)
                : today);
        outcome.files = std::move(files.texts);
        outcome.dropped += files.dropped;
        outcome.first = files.first;
        outcome.notes = std::move(files.notes);
        if (outcome.files.empty()) {
            outcome.state = State::NoRows;
        }
    } catch (const Nonsense& nonsense) {
        outcome = {State::Nonsense, nonsense.what()};
    }
    return outcome;
}

Feed::Condition Feed::Tell() const {
    const std::scoped_lock lock(m_lock);
    Condition condition = m_condition;
    condition.next = m_pace.Next(Clock::now());
    return condition;
}

bool Feed::IsStuck() const {
    const std::scoped_lock lock(m_lock);
    return m_started && Clock::now() - *m_started > 3 * m_spec.timeout;
}

Clock::time_point Feed::CoolUntil() const {
    const std::scoped_lock lock(m_lock);
    return m_pace.CoolUntil();
}

void Feed::Restore(Clock::time_point until) {
    const std::scoped_lock lock(m_lock);
    m_pace.Restore(until);
}

}  // namespace quoteserver::living
