// From what a source says to the files of a data folder: prices as traded, whatever a source did to
// them, and nothing that was no day of trade.
#pragma once

#include <map>
#include <string>

#include "living/Ask.h"

namespace quoteserver::living {

// What a source did to its numbers.
struct PriceForm {
    bool isSplitAdjusted = false;  // prices, and the amounts of dividends
    bool isVolumeSplitAdjusted = false;
    bool hasOpenHighLow = true;  // without them, closes stand for them
    bool hasAdjusted = true;     // without them, they are worked out
    bool isFuture = false;       // open interest stands in their place
};

// The market's day where its clock is known, else the server's.
struct Today {
    Date date;
    bool isOver = false;  // the day's numbers are final
};
inline Today TodayAt(std::chrono::sys_seconds local, std::chrono::minutes newDay) {
    const Date date = std::chrono::floor<std::chrono::days>(local);
    return {date, local - date >= newDay};
}

struct HistoryFiles {
    std::map<std::string, std::string> texts;  // by the end of the file's name: ".csv", …
    std::size_t dropped = 0;                   // rows that were no day of trade
    std::string first;                         // day, yyyy-mm-dd
    std::vector<std::string> notes;            // which rows, and which are kept though odd
};

// No texts when no row is left. Throws Nonsense for a day that comes twice or lies in the future.
HistoryFiles MakeFiles(History history, const PriceForm& form, const Today& today);

}  // namespace quoteserver::living
