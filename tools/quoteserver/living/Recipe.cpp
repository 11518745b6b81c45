#include "living/Recipe.h"

#include <algorithm>
#include <regex>

#include "Http.h"
#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

std::vector<std::string> Alternatives(const std::string& texts) {
    std::vector<std::string> parts;
    for (std::string_view rest = texts; !rest.empty();) {
        const std::string_view part = TakeField(rest, '|');
        if (!part.empty()) {
            parts.push_back(Lower(part));
        }
    }
    return parts;
}

std::string PointerOf(Section& section, const std::string& key, std::string otherwise = {}) {
    std::string text = section.Text(key, std::move(otherwise));
    try {
        Pointer(text);
    } catch (const Json::exception&) {
        section.Complain(key, "\"" + text + "\" is no JSON pointer");
        text.clear();
    }
    return text;
}

Place PlaceOf(Section& section, const std::string& key, bool isCsv) {
    const Json* value = section.Find(key);
    if (value && isCsv && value->is_number_unsigned() && value->get<std::size_t>() > 0) {
        return {{}, value->get<std::size_t>()};
    }
    return {isCsv ? section.Text(key) : PointerOf(section, key)};
}

Recipe::Events EventsOf(Section& section, const std::string& key) {
    Recipe::Events events;
    const Json* value = section.Find(key);
    if (!value) {
        return events;
    }
    // The mistakes' list is that of the section.
    Section part = section.Below(key, *value);
    events.each = PointerOf(part, "each");
    events.date = PointerOf(part, "date", "date");
    events.amount = PointerOf(part, "amount");
    if (const std::vector<std::string> ratio = part.Texts("ratio"); ratio.size() > 2) {
        part.Complain("ratio", "two places are expected: of the shares after, and before");
    } else if (!ratio.empty()) {
        events.ratio = {ratio.front(), ratio.size() == 2 ? ratio.back() : ""};
    }
    return events;
}

void ReadColumns(Recipe& recipe, Section& section) {
    const Json* columns = section.Find("columns");
    if (!columns) {
        if (recipe.quote.empty()) {
            section.Complain("columns", "is missing");
        }
        return;
    }
    const bool isCsv = recipe.format == Recipe::Format::CsvText;
    Section names = section.Below("columns", *columns);
    for (const auto& [name, place] : {std::pair{"Open", &recipe.open},
                                      {"High", &recipe.high},
                                      {"Low", &recipe.low},
                                      {"Close", &recipe.close},
                                      {"Adj Close", &recipe.adjusted},
                                      {"Volume", &recipe.volume},
                                      {"Option", &recipe.option},
                                      {"Bid", &recipe.bid},
                                      {"Ask", &recipe.ask},
                                      {"Last", &recipe.last},
                                      {"Change", &recipe.change},
                                      {"Open Interest", &recipe.interest},
                                      {"Implied Volatility", &recipe.volatility}}) {
        *place = PlaceOf(names, name, isCsv);
    }
    if (!recipe.close.IsGiven() && !recipe.option.IsGiven()) {
        names.Complain("Close", "is missing");
    }
}

}  // namespace

Recipe ReadRecipeOfTables(Section& section) {
    Recipe recipe;
    recipe.terms = section.Text("terms");
    recipe.termsSay = section.Text("termsSay");
    const std::size_t epoch = section.OneOf("epoch", {"s", "ms"}, 2);
    const std::size_t form = section.OneOf("dates", {"yyyy-mm-dd", "yyyymmdd", "mm/dd/yyyy"}, 0);
    recipe.dates = epoch == 0   ? Recipe::Dates::Seconds
                   : epoch == 1 ? Recipe::Dates::Milliseconds
                                : static_cast<Recipe::Dates>(form);
    recipe.isSplitAdjusted = section.OneOf("prices", {"raw", "split-adjusted"}, 0) == 1;
    recipe.isVolumeSplitAdjusted = section.OneOf("volume", {"raw", "split-adjusted"}, 0) == 1;
    recipe.isFloat32 = section.Truth("float32", false);
    recipe.scale = section.Number("scale", 1);
    for (const auto& [key, patterns] :
         {std::pair{"symbols", &recipe.symbols}, {"futures", &recipe.futures}}) {
        *patterns = section.TextsByName(key);
        for (const auto& [pattern, unused] : *patterns) {
            try {
                std::regex{pattern};
            } catch (const std::regex_error&) {
                section.Complain(std::string(key) + "/" + pattern, "is no pattern");
            }
        }
    }
    return recipe;
}

Recipe ReadRecipe(Section& section) {
    Recipe recipe = ReadRecipeOfTables(section);
    recipe.url = section.Text("url");
    recipe.format = section.OneOf("format", {"json", "csv"}, 0) == 0 ? Recipe::Format::JsonText
                                                                     : Recipe::Format::CsvText;
    const bool isCsv = recipe.format == Recipe::Format::CsvText;
    const std::string separator = section.Text("separator", ",");
    if (separator.size() != 1) {
        section.Complain("separator", "one character is expected");
    } else {
        recipe.separator = separator[0];
    }
    recipe.type = Lower(section.Text("type"));
    recipe.root = PointerOf(section, "root");
    recipe.each = PointerOf(section, "each");
    recipe.error = PointerOf(section, "error");
    if (const Json* unknownIs = section.Find("unknown")) {
        Section part = section.Below("unknown", *unknownIs);
        recipe.unknownTexts = Alternatives(part.Text("text"));
        recipe.unknownStatuses = part.Statuses("status", {});
        recipe.isNoRowsUnknown = part.Truth("noRows", false);
    }
    recipe.limitedTexts = Alternatives(section.Text("limitedText"));
    recipe.limitedStatuses = section.Statuses("limited", recipe.limitedStatuses);
    recipe.date = PlaceOf(section, "date", isCsv);
    recipe.offset = PointerOf(section, "offset");
    if (const Json* share = section.Find("underlying")) {
        Section part = section.Below("underlying", *share);
        for (const auto& [name, pointer] : {std::pair{"Last", &recipe.shareLast},
                                            {"Change", &recipe.shareChange},
                                            {"Bid", &recipe.shareBid},
                                            {"Ask", &recipe.shareAsk},
                                            {"Volume", &recipe.shareVolume},
                                            {"Time", &recipe.time}}) {
            *pointer = PointerOf(part, name);
        }
    }
    recipe.quote = section.TextsByName("quote");
    ReadColumns(recipe, section);
    const bool isHistory = !recipe.option.IsGiven() && recipe.quote.empty();
    if (!recipe.date.IsGiven() && (isHistory || recipe.close.IsGiven())) {
        section.Complain("date", "is missing");
    }
    recipe.dividends = EventsOf(section, "dividends");
    recipe.splits = EventsOf(section, "splits");
    return recipe;
}

std::string SymbolOf(const Recipe& recipe, const Ask& ask) {
    for (const Recipe::Patterns* patterns : {&recipe.futures, &recipe.symbols}) {
        if (patterns == &recipe.futures && ask.kind != Kind::Futures) {
            continue;
        }
        for (const auto& [pattern, replacement] : *patterns) {
            const std::regex expression(pattern);
            if (std::regex_search(ask.ticker, expression)) {
                return std::regex_replace(ask.ticker, expression, replacement,
                                          std::regex_constants::format_first_only);
            }
        }
    }
    return ask.ticker;
}

}  // namespace quoteserver::living
