// The values of a living service's reply, and the tables that are made of them at once.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "living/Recipe.h"

namespace quoteserver::living {

// Reads single values as the recipe says. Everything throws Nonsense for what is none.
struct ReplyValues {
    const Recipe& recipe;
    std::chrono::seconds offset{0};  // of the place's clock, ahead of UTC

    double Number(std::string_view text) const;
    double Number(const Json* value) const;  // unknown for null, and without a value
    Date Day(const Json& value) const;
    Date Day(std::string_view text) const;
    Date Day(double epoch) const;
    std::chrono::sys_seconds Time(const Json* value, bool isUtc) const;  // or the market's clock
    std::vector<const Json*> Rows(const Json& list) const;
};

// A header and a line, as quotes.csv has them. Commas would shift the columns of clients.
std::string ReadQuote(const ReplyValues& values, const Ask& ask, const Json& root);

// The option tables; none without options.
void ReadChain(const ReplyValues& values, const Ask& ask, const Json& document, const Json& list,
               Reading& reading);

}  // namespace quoteserver::living
