// Replies of living services under the shipped recipes, and recipes and feeds files of a user's.
// The first character says what the rest is.
#include <fstream>
#include <iterator>
#include <sstream>

#include "Fuzz.h"
#include "Http.h"
#include "Import.h"
#include "living/FeedsFile.h"
#include "living/Mapping.h"
#include "living/Web.h"

namespace quoteserver::living {
namespace {

// Recipes, and what else there is to read; the first character of an input counts them.
constexpr const char* names[] = {"yahoo-chart", "cboe-options", "tiingo", "tiingo-csv",
                                 "quoteserver", "yahoo-quote",  "recipe", "feeds",
                                 "gzip",        "export",       "data"};
constexpr std::size_t recipeCount = 6;

std::string TextOf(std::string_view name) {
    std::ifstream in(RECIPES "/" + std::string(name) + ".json");
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

const char* ShippedRecipe(std::string_view) { return nullptr; }
std::vector<std::string> ShippedRecipeNames() { return {}; }

namespace {

Recipe RecipeOf(const Json& json) {
    Mistakes mistakes;
    Section section(json, "", mistakes);
    return ReadRecipe(section);
}

// Rows are there, and can be read again, or there is a word for what became of them.
void CheckReply(const Recipe& recipe, Kind kind, const std::string& body) {
    using vtdl::fuzz::Require;
    const Reading reading = ReadReply(recipe, {kind, "X"}, body);
    if (reading.state != State::Rows) {
        Require(reading.state == State::NoRows || !reading.why.empty(), "a failure has a reason");
        return;
    }
    if (kind != Kind::History) {
        Require(reading.table.size() > 2 && reading.table.ends_with('\n'), "a table has lines");
        return;
    }
    Require(!reading.history.bars.empty(), "there are rows");
    try {
        const PriceForm form{recipe.isSplitAdjusted, recipe.isVolumeSplitAdjusted, true,
                             recipe.adjusted.IsGiven()};
        const HistoryFiles files = MakeFiles(
            reading.history, form, {std::chrono::sys_days{std::chrono::days(20000)}, true});
        for (const auto& [suffix, text] : files.texts) {
            ParseRows(text,
                      suffix == ".csv"             ? priceLayout
                      : suffix == ".dividends.csv" ? dividendLayout
                                                   : splitLayout,
                      [&](const DataError& error) {
                          Require(std::string_view(error.what()).find("date") == std::string::npos,
                                  "what is written can be read");
                      });
        }
    } catch (const Nonsense&) {
    }
}

void CheckReply(const Recipe& recipe, const std::string& body) {
    if (recipe.Serves(Kind::Options)) return CheckReply(recipe, Kind::Options, body);
    for (const Kind kind : {Kind::Quotes, Kind::History}) {
        if (recipe.Serves(kind)) CheckReply(recipe, kind, body);
    }
}

// Whatever is taken of an export can be read again.
void CheckExport(const std::string& text) {
    Exports exports(SlashDates::Told, 0);
    std::istringstream in(text);
    exports.Read(in, "x.csv", [](std::size_t line, const std::string& why) {
        vtdl::fuzz::Require(line > 0 && !why.empty(), "a reason, and its line");
    });
    for (const auto& [ticker, days] : exports.Tickers()) {
        std::string table = std::string(priceLayout.header).append("\n");
        for (const auto& [date, day] : days) {
            AppendDate(table, date, DateForm::Iso);
            table.append(",").append(day.values).append("\n");
        }
        vtdl::fuzz::Require(ParseRows(table, priceLayout).size() == days.size(), "rows are rows");
    }
}

// Of the files that users write themselves; and what one asks for over the line.
void CheckData(const std::string& text) {
    for (const Layout* layout : {&priceLayout, &splitLayout}) {
        std::string moved = text;
        std::size_t wrong = 0;
        const auto complain = [&](const DataError& error) { wrong += error.Line() > 0; };
        BringIntoLayout(moved, *layout, complain);
        const std::size_t rows = ParseRows(moved, *layout, complain).size();
        const auto lines = static_cast<std::size_t>(std::ranges::count(moved, '\n'));
        vtdl::fuzz::Require(rows <= lines + 1, "a row has a line");
    }
    ParseTarget(text);
}

}  // namespace
}  // namespace quoteserver::living

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quoteserver::living;
    static const auto recipes = [] {
        std::vector<Recipe> all;
        for (std::size_t i = 0; i < recipeCount; ++i) {
            all.push_back(RecipeOf(Json::parse(TextOf(names[i]), nullptr, true, true)));
        }
        return all;
    }();
    static const char* const wanted = std::getenv("FUZZ_CHECK");
    if (size < 2) return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t what =
        wanted
            ? static_cast<std::size_t>(std::ranges::find(names, std::string_view(wanted)) - names)
            : data[0] - std::size_t{'0'};
    if (what < std::size(recipes)) {
        CheckReply(recipes[what], text);
    } else if (what == std::size(recipes)) {
        const Json json = Json::parse(text, nullptr, false, true);
        if (!json.is_discarded()) CheckReply(RecipeOf(json), R"({"a":[{"b":1}],"c":"2024-01-02"})");
    } else if (what == std::size(recipes) + 2) {
        WebAnswer answer{.status = 200, .body = text};
        Unpack(answer, "gzip");
        vtdl::fuzz::Require(answer.fault.empty() == (answer.status == 200), "whole or not at all");
    } else if (what == std::size(recipes) + 3) {
        CheckExport(text);
    } else if (what == std::size(recipes) + 4) {
        CheckData(text);
    } else {
        Mistakes mistakes;
        try {
            ParseFeedsFile(text, "feeds.json", mistakes);
        } catch (const std::runtime_error&) {
        }
    }
    return 0;
}
