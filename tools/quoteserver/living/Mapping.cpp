#include "living/Mapping.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

// A price that was divided by a split and rounded to 32 bits is right to one part in 8 million.
constexpr double splitPrecision = 1.0 / (1 << 23);

std::string DateText(Date date) {
    std::string text;
    AppendDate(text, date, DateForm::Iso);
    return text;
}

// Why a row is no day of trade; nothing when it is one.
const char* FaultOf(const Bar& bar, const PriceForm& form, const Today& today) {
    const double prices[] = {bar.open, bar.high, bar.low, bar.close};
    const bool needsAdjusted = form.hasAdjusted && !form.isFuture;
    return bar.day == today.date && !today.isOver ? "the day is not over"
           : std::ranges::any_of(prices, [](double price) { return std::isnan(price); })
               ? "a price is missing"
           : std::ranges::all_of(prices, [](double price) { return price == 0; })
               ? "nothing but zeros"
           : needsAdjusted && std::isnan(bar.adjusted) ? "the adjusted close is missing"
                                                       : nullptr;
}

// The first few, for a person.
class Notes {
public:
    explicit Notes(std::vector<std::string>& lines) : m_lines(lines) {}

    void Add(Date day, const char* what) {
        constexpr int most = 5;
        if (++m_count <= most) {
            m_lines.push_back(DateText(day) + ": " + what);
        }
    }

private:
    std::vector<std::string>& m_lines;
    int m_count = 0;
};

template <typename Event>
void SortNewestFirst(std::vector<Event>& events) {
    // As most sources send them; of a day that comes twice, the first stays the first.
    if (std::ranges::is_sorted(events, std::ranges::less_equal{}, &Event::day)) {
        std::ranges::reverse(events);
    }
    std::ranges::stable_sort(events, std::ranges::greater{}, &Event::day);
}

// A day may have two dividends, a usual and a special one; files have a row a day.
template <typename Event, typename Join>
void JoinDays(std::vector<Event>& events, const Join& join) {
    std::size_t count = 0;
    for (const Event& event : events) {
        if (count > 0 && events[count - 1].day == event.day) {
            join(events[count - 1], event);
        } else {
            events[count++] = event;
        }
    }
    events.resize(count);
}

void CheckDays(const std::vector<Bar>& bars, Date today) {
    // A zone may be a day ahead of the server's.
    if (!bars.empty() && bars.front().day > today + std::chrono::days(1)) {
        throw Nonsense("a row of " + DateText(bars.front().day) + ", which is yet to come");
    }
    const auto twice = std::ranges::adjacent_find(bars, {}, &Bar::day);
    if (twice != bars.end()) {
        throw Nonsense(DateText(twice->day) + " comes twice");
    }
}

// From the newest row to the oldest, how many of today's shares each of that day's has become.
class LaterSplits {
public:
    explicit LaterSplits(const std::vector<Split>& newestFirst) : m_splits(newestFirst) {}

    double On(Date day) {
        for (; m_next < m_splits.size() && m_splits[m_next].day > day; ++m_next) {
            m_shares *= m_splits[m_next].shares;
        }
        return m_shares;
    }

private:
    const std::vector<Split>& m_splits;
    std::size_t m_next = 0;
    double m_shares = 1;
};

// As the classic service did: a dividend takes its part of the last close before it off all
// earlier ones. The prices are those as traded.
void WorkOutAdjusted(std::vector<Bar>& bars, const History& history, bool isSplitAdjusted) {
    LaterSplits barSplits(history.splits), dividendSplits(history.splits);
    double part = 1;
    std::size_t next = 0;
    for (Bar& bar : bars) {
        for (; next < history.dividends.size() && history.dividends[next].day > bar.day; ++next) {
            const Dividend& dividend = history.dividends[next];
            const double shares = isSplitAdjusted ? 1 : dividendSplits.On(dividend.day);
            part *= 1 - dividend.amount / shares / (bar.close / barSplits.On(bar.day));
        }
        bar.adjusted = Shortest(bar.close / barSplits.On(bar.day) * part, 1e-9);
    }
}

// The rows of a file, of which every reader of a data folder takes each.
class FileText {
public:
    FileText(HistoryFiles& files, const char* suffix, const Layout& layout)
        : m_text(files.texts[suffix]) {
        m_text.assign(layout.header).append(1, '\n');
    }

    void Begin(Date day) {
        const std::chrono::year_month_day parts(day);
        if (parts.year() < std::chrono::year(1) || parts.year() > std::chrono::year(9999)) {
            throw Nonsense("a row of the year " + std::to_string(static_cast<int>(parts.year())));
        }
        m_row = m_text.size();
        AppendDate(m_text, day, DateForm::Iso);
    }
    void Add(double value) {
        const std::string text = DecimalText(value);
        if (!std::isfinite(value) || text.size() > longestDecimal) {
            throw Nonsense(m_text.substr(m_row) + ": a number that no file may hold: " + text);
        }
        m_text.append(1, ',').append(text);
    }
    void AddVolume(double volume) {
        if (std::isnan(volume) || volume < 0.5) {
            m_text += ",000";
        } else {
            Add(std::round(volume));
        }
    }
    void End() { m_text += '\n'; }

private:
    std::string& m_text;
    std::size_t m_row = 0;
};

}  // namespace

HistoryFiles MakeFiles(History history, const PriceForm& form, const Today& today) {
    std::vector<Bar>& bars = history.bars;
    SortNewestFirst(bars);
    SortNewestFirst(history.dividends);
    SortNewestFirst(history.splits);
    JoinDays(history.dividends, [](Dividend& all, const Dividend& one) {
        all.amount = Shortest(all.amount + one.amount, 1e-12);
    });
    JoinDays(history.splits, [](Split& all, const Split& one) { all.shares *= one.shares; });
    HistoryFiles files;
    Notes faults(files.notes), oddities(files.notes);
    files.dropped = std::erase_if(bars, [&](Bar& bar) {
        if (!form.hasOpenHighLow) {
            bar.open = bar.high = bar.low = bar.close;
        }
        const char* fault = FaultOf(bar, form, today);
        if (fault) {
            faults.Add(bar.day, fault);
        } else if (bar.high < bar.low) {
            oddities.Add(bar.day, "a high below the low, which is kept");
        }
        return fault != nullptr;
    });
    CheckDays(bars, today.date);
    if (bars.empty()) {
        return files;
    }
    LaterSplits splits(history.splits);
    for (Bar& bar : bars) {
        const double shares = splits.On(bar.day);
        if (shares == 1) {
            continue;
        }
        for (double Bar::*price : {&Bar::open, &Bar::high, &Bar::low, &Bar::close}) {
            if (form.isSplitAdjusted) {
                bar.*price = Shortest(bar.*price * shares, splitPrecision);
            }
        }
        if (form.isVolumeSplitAdjusted) {
            bar.volume /= shares;
        }
    }
    if (!form.hasAdjusted && !form.isFuture) {
        WorkOutAdjusted(bars, history, form.isSplitAdjusted);
    }

    files.first = DateText(bars.back().day);
    FileText prices(files, form.isFuture ? ".futures.csv" : ".csv",
                    form.isFuture ? futuresLayout : priceLayout);
    for (const Bar& bar : bars) {
        prices.Begin(bar.day);
        for (const double price : {bar.open, bar.high, bar.low, bar.close}) {
            prices.Add(price);
        }
        prices.AddVolume(bar.volume);
        if (!form.isFuture) {
            prices.Add(bar.adjusted);
        } else if (!std::isnan(bar.interest)) {
            prices.Add(std::round(bar.interest));
        }
        prices.End();
    }
    if (form.isFuture) {
        return files;
    }
    const auto add = [&](const char* suffix, const Layout& layout, const auto& events,
                         const auto& valueOf) {
        FileText file(files, suffix, layout);
        for (const auto& event : events) {
            file.Begin(event.day);
            file.Add(valueOf(event));
            file.End();
        }
    };
    add(".dividends.csv", dividendLayout, history.dividends, std::mem_fn(&Dividend::amount));
    add(".splits.csv", splitLayout, history.splits,
        [](const Split& split) { return Shortest(split.shares, 1e-12); });
    return files;
}

}  // namespace quoteserver::living
