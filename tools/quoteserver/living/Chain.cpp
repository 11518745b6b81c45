#include "living/Chain.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>
#include <tuple>

#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

int Digits(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < 0) {
        throw Nonsense("\"" + PrintableText(text) + "\" in an option's symbol is no number");
    }
    return value;
}

// New York's clock: an hour ahead from the second Sunday of March to the first of November, at two.
sys_seconds EasternTime(sys_seconds time) {
    const year_month_day day{floor<days>(time)};
    const sys_seconds begin = sys_days{day.year() / March / Sunday[2]} + 7h;
    const sys_seconds end = sys_days{day.year() / November / Sunday[1]} + 6h;
    return time - (time >= begin && time < end ? 4h : 5h);
}

constexpr const char* monthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The service wrote two decimals, more where there are more, and 0.0 for nothing.
std::string Price(double value, bool isSigned = false) {
    if (std::isnan(value) || value == 0) {
        return "0.0";
    }
    std::string text = DecimalText(Shortest(value, 1e-7));
    const std::size_t point = text.find('.');
    text.append(point == std::string::npos ? ".00" : text.size() - point == 2 ? "0" : "");
    return isSigned && value > 0 ? "+" + text : text;
}

std::string Count(double value) { return std::isnan(value) ? "0" : DecimalText(std::round(value)); }

void AppendSide(std::string& out, const Option& option) {
    const year_month_day day{option.expiry};
    const unsigned month = static_cast<unsigned>(day.month());
    char head[96];
    std::snprintf(head, sizeof head, "%02d %s %.2f (", static_cast<int>(day.year()) % 100,
                  monthNames[month - 1], option.strike);
    out += head;
    out += option.root;
    std::snprintf(head, sizeof head, "%02d%02u%c", static_cast<int>(day.year()) % 100,
                  static_cast<unsigned>(day.day()),
                  static_cast<char>((option.isCall ? 'A' : 'M') + month - 1));
    out.append(head).append(DecimalText(option.strike)).append("),");
    for (const std::string& value :
         {Price(option.last), Price(option.change, true), Price(option.bid), Price(option.ask),
          Count(option.volume), Count(option.interest)}) {
        out.append(value) += ',';
    }
}

// A line a strike: calls to the left, puts to the right.
struct Side : Option {
    bool isThere = false;
};
using Lines = std::map<std::tuple<Date, std::string, double>, std::pair<Side, Side>>;

Lines LinesOf(const Chain& chain) {
    Lines lines;
    for (const Option& option : chain.options) {
        auto [line, isNew] = lines.try_emplace({option.expiry, option.root, option.strike});
        auto& [call, put] = line->second;
        if (isNew) {
            for (Side* side : {&call, &put}) {
                side->root = option.root;
                side->expiry = option.expiry;
                side->strike = option.strike;
                side->isCall = side == &call;
            }
        }
        (option.isCall ? call : put) = {option, true};
    }
    return lines;
}

}  // namespace

Option ParseOptionSymbol(std::string_view symbol) {
    constexpr std::size_t tail = 15;
    if (symbol.size() <= tail || symbol.size() > tail + 6) {
        throw Nonsense("\"" + PrintableText(symbol) + "\" is no option's symbol");
    }
    const std::string_view root = symbol.substr(0, symbol.size() - tail);
    const std::string_view rest = symbol.substr(root.size());
    Option option;
    option.root = root.substr(0, root.find(' '));
    const std::optional<Date> expiry = ExistingDate(
        2000 + Digits(rest.substr(0, 2)), Digits(rest.substr(2, 2)), Digits(rest.substr(4, 2)));
    if (!expiry || (rest[6] != 'C' && rest[6] != 'P') || !IsTicker(option.root)) {
        throw Nonsense("\"" + PrintableText(symbol) + "\" is no option's symbol");
    }
    option.expiry = *expiry;
    option.isCall = rest[6] == 'C';
    option.strike = Digits(rest.substr(7)) / 1000.0;
    return option;
}

std::string WriteOwnChain(const Chain& chain) {
    const auto number = [](double value) {
        return std::isnan(value) ? "" : DecimalText(Shortest(value, 1e-7));
    };
    std::string calls, puts, day;
    for (const auto& [key, sides] : LinesOf(chain)) {
        for (const auto& [out, option] :
             {std::pair{&calls, &sides.first}, {&puts, &sides.second}}) {
            if (!option->isThere) {
                out->append(",,,,,,,,,\n");
                continue;
            }
            const year_month_day expiry{option->expiry};
            char symbol[64];
            std::snprintf(symbol, sizeof symbol, "%02d%02u%02u%c%08d,%d-%02u-%02u,",
                          static_cast<int>(expiry.year()) % 100,
                          static_cast<unsigned>(expiry.month()),
                          static_cast<unsigned>(expiry.day()), option->isCall ? 'C' : 'P',
                          static_cast<int>(std::lround(option->strike * 1000)),
                          static_cast<int>(expiry.year()), static_cast<unsigned>(expiry.month()),
                          static_cast<unsigned>(expiry.day()));
            out->append(option->root).append(symbol).append(number(option->strike));
            for (const double value :
                 {option->last, option->change, option->bid, option->ask, option->volume,
                  option->interest, option->volatility > 0 ? option->volatility : unknown}) {
                out->append(1, ',').append(number(value));
            }
            out->append(1, '\n');
        }
    }
    AppendDate(day, floor<days>(EasternTime(chain.time)), DateForm::Iso);
    constexpr std::string_view header =
        "\nTICKER,EXPIRATION,STRIKE,LAST,NET,BID,ASK,VOLUME,OPENINT,IMPLIED VOLATILITY\n";
    return std::string("#TICKER\nTICKER,PRICE,NET,DATE,BID,ASK,VOLUME\n")
        .append(chain.ticker + "," + number(chain.last) + "," + number(chain.change) + "," + day +
                "," + number(chain.bid) + "," + number(chain.ask) + "," + number(chain.volume))
        .append("\n#CALLS")
        .append(header)
        .append(calls)
        .append("#PUTS")
        .append(header)
        .append(puts);
}

std::string WriteChain(const Chain& all, std::size_t& dropped) {
    const sys_days tooLate = year(2032) / January / 1;
    Chain chain = all;
    dropped += std::erase_if(chain.options,
                             [&](const Option& option) { return option.expiry >= tooLate; });
    const Lines lines = LinesOf(chain);
    if (lines.empty()) {
        return {};
    }
    const sys_seconds time = EasternTime(chain.time);
    const Date date = floor<days>(time);
    const year_month_day day{date};
    const hh_mm_ss clock{time - date};
    char when[64];
    std::snprintf(when, sizeof when, "%s %02u %d @ %02d:%02d ET",
                  monthNames[static_cast<unsigned>(day.month()) - 1],
                  static_cast<unsigned>(day.day()), static_cast<int>(day.year()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()));
    std::string text = chain.ticker + " (" + chain.ticker + ")," + Price(chain.last) + "," +
                       Price(chain.change, true) + ",\r\n" + when + ",Bid," + Price(chain.bid) +
                       ",Ask," + Price(chain.ask) + ",Size,0x0,Vol," + Count(chain.volume) +
                       ",\r\nCalls,Last Sale,Net,Bid,Ask,Vol,Open Int,Puts,Last Sale,Net,Bid,Ask,"
                       "Vol,Open Int,\r\n";
    for (const auto& [key, sides] : lines) {
        AppendSide(text, sides.first);
        AppendSide(text, sides.second);
        text += "\r\n";
    }
    return text;
}

}  // namespace quoteserver::living
