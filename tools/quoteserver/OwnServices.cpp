// The sources that no service's form is known of, in a form of our own.
#include <algorithm>
#include <cstdio>

#include "QuoteTable.h"
#include "Services.h"
#include "replies/OwnTables.h"

namespace quoteserver {
namespace {

namespace replies = vtdl::replies;

class OddFields final : public replies::OddFieldReader {
public:
    OddFields(const Complaints& complain, std::size_t linesBefore)
        : m_complain(complain), m_linesBefore(linesBefore) {}

    double Read(const replies::OddField& field) override {
        std::string what(1, '"');
        what.append(field.text).append("\" is no number or date");
        m_complain(DataError(field.row - m_linesBefore, what));
        return 0;
    }

private:
    const Complaints& m_complain;
    std::size_t m_linesBefore;
};

// The blocks between the first line of a reply and the last. Complains about what no client could
// read; so many lines of the blocks are in front of a file's text.
std::string Whole(const replies::OwnForm& form, std::string_view blocks, const Complaints& complain,
                  std::size_t linesBefore) {
    std::string reply = replies::OwnFirstLine(form.source);
    reply.append(1, '\n').append(blocks);
    if (!reply.ends_with('\n')) {
        reply += '\n';
    }
    const auto lines = static_cast<std::size_t>(std::ranges::count(reply, '\n'));
    reply.append(replies::OwnLastLine(lines)).append(1, '\n');
    const replies::OwnReply tables(reply, form);
    if (!tables.Fault().empty()) {
        complain(DataError(tables.FaultLine() - linesBefore, tables.Fault()));
        return reply;
    }
    OddFields oddFields(complain, linesBefore);
    for (std::size_t i = 0; i < form.blocks.size(); ++i) {
        tables.Read(i, oddFields);
    }
    return reply;
}

std::string Named(const replies::OwnBlock& block) {
    return std::string("#").append(block.name.begin(), block.name.end()).append("\n");
}

// A value as a field holds it; "N/A" is nothing.
std::string Field(std::string_view value) {
    std::string text(value == "N/A" ? "" : value);
    std::ranges::replace(text, '"', '\'');
    const bool isPlain = text.find(',') == std::string::npos && !text.starts_with('#');
    return isPlain ? text : std::string(1, '"').append(text).append(1, '"');
}

// One block of one row, whose values stand in the order of its columns.
std::string QuoteBlock(const replies::OwnForm& form, const std::vector<std::string>& values) {
    const replies::OwnBlock& block = form.blocks[0];
    std::string header, row;
    for (std::size_t i = 0; i < block.columns.size(); ++i) {
        const std::wstring_view name = block.columns[i].name;
        header.append(i == 0 ? "" : ",").append(name.begin(), name.end());
        row.append(i == 0 ? "" : ",").append(Field(values[i]));
    }
    return Named(block).append(header).append(1, '\n').append(row).append(1, '\n');
}

// "9/8/2016" is 2016-09-08.
std::string DayOf(std::string_view text) {
    int month = 0, day = 0, year = 0;
    char iso[40] = "";
    if (std::sscanf(std::string(text).c_str(), "%d/%d/%d", &month, &day, &year) == 3) {
        std::snprintf(iso, sizeof iso, "%04d-%02d-%02d", year, month, day);
    }
    return iso;
}

// Nothing for an unknown ticker.
std::string QuoteOf(const replies::OwnForm& form, const DataFolder& folder,
                    const std::string& ticker) {
    static constexpr std::string_view letters[] = {"s", "l1", "d1", "t1", "c1", "p2", "o",
                                                   "h", "g",  "v",  "b3", "b2", "r",  "t8",
                                                   "w", "j1", "m",  "e",  "p",  "n",  "x"};
    const Quote quote = QuoteTable(folder).Of(ticker);
    std::vector<std::string> values;
    for (const std::string_view letter : letters) {
        std::string_view value = quote.value(letter);
        if (value == "N/A" && (letter == "b3" || letter == "b2")) {
            value = quote.value(letter == "b3" ? "b" : "a");
        }
        values.push_back(letter == "d1"   ? DayOf(value)
                         : letter == "t1" ? ClockOf(value).substr(0, 5)
                                          : std::string(value.substr(
                                                0, letter == "p2" ? value.find('%') : value.npos)));
    }
    return quote.IsKnown() ? QuoteBlock(form, values) : std::string();
}

struct List {
    std::string_view name;
    const replies::OwnForm& form;
};
constexpr List lists[] = {{"exchanges", replies::inoExchangesForm},
                          {"contracts", replies::inoFuturesListForm}};

// Its rows as they stand, under the name of its block; of an exchange, those that are its.
std::string ListOf(const replies::OwnForm& form, const DataFile& file, std::string_view exchange) {
    std::string_view text = WithoutByteOrderMark(file.text);
    std::string blocks = Named(form.blocks[0]);
    if (exchange.empty()) {
        return blocks.append(text);
    }
    const std::string_view header = TakeLine(text);
    const auto names = SplitCells(header);
    const auto place = static_cast<std::size_t>(
        std::ranges::find_if(names, [](const auto& name) { return SameTicker(name, "EXCHANGE"); }) -
        names.begin());
    blocks.append(header) += '\n';
    bool isThere = false;
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        const auto cells = SplitCells(line);
        if (place < cells.size() && SameTicker(cells[place], exchange)) {
            blocks.append(line) += '\n';
            isThere = true;
        }
    }
    return isThere ? blocks : std::string();
}

std::string NameOf(const DataFolder& folder, const std::string& ticker) {
    const std::optional<DataFile> file = folder.Find("contracts", listSuffix);
    std::string_view text = file ? WithoutByteOrderMark(file->text) : std::string_view();
    const auto names = SplitCells(TakeLine(text));
    const auto place = [&](std::string_view column) {
        return static_cast<std::size_t>(
            std::ranges::find_if(names,
                                 [&](const auto& name) { return SameTicker(name, column); }) -
            names.begin());
    };
    const std::size_t code = place("TICKER"), name = place("NAME");
    while (!text.empty()) {
        const auto cells = SplitCells(TakeLine(text));
        if (std::max(code, name) < cells.size() && SameTicker(cells[code], ticker)) {
            return cells[name];
        }
    }
    return {};
}

// The last day of a history, and its change to the day before.
std::string FutureOf(const replies::OwnForm& form, const DataFolder& folder,
                     const std::string& ticker) {
    std::optional<DataFile> file = folder.Futures(ticker);
    const std::vector<Row> rows = file ? ReadRows(*file, futuresLayout) : std::vector<Row>();
    if (rows.empty()) {
        return {};
    }
    std::vector<std::string> day = SplitCells(rows[0].values);
    day.resize(6);  // the open interest may be missing
    std::string before, change, date;
    if (rows.size() > 1) {
        before = SplitCells(rows[1].values)[3];
        change = ChangeText(day[3], before);
    }
    AppendDate(date, rows[0].date, DateForm::Iso);
    return QuoteBlock(form, {ticker, NameOf(folder, ticker), day[3], change, date, day[0], day[1],
                             day[2], day[4], day[5], before});
}

}  // namespace

std::vector<std::string_view> OwnSources() {
    return {"YAHOOSNAPSHOT", "YAHOOOPTIONS", "INOSNAPSHOT",
            "INOOPTIONS",    "INOEXCHANGES", "INOFUTURESLIST"};
}

Reply AnswerOwn(std::string_view source, const DataFolder& folder, const Query& query) {
    const std::string ticker(query.value("ticker"));
    const bool isFuture = source == "INOOPTIONS";
    const replies::OwnForm* form = nullptr;
    std::string blocks, name = "data";
    std::size_t linesBefore = 0;
    if (source == "YAHOOSNAPSHOT" || source == "INOSNAPSHOT") {
        const bool isShare = source == "YAHOOSNAPSHOT";
        form = isShare ? &replies::yahooSnapShotForm : &replies::inoSnapShotForm;
        if (IsTicker(ticker)) {
            blocks = (isShare ? QuoteOf : FutureOf)(*form, folder, ticker);
            name = ticker;
        }
    } else if (source == "YAHOOOPTIONS" || isFuture) {
        form = isFuture ? &replies::inoOptionsForm : &replies::yahooOptionsForm;
        if (const auto file = folder.Find(ticker, isFuture ? futuresChainSuffix : chainSuffix)) {
            blocks = WithoutByteOrderMark(file->text);
            name = file->name;
        }
    } else {
        const List& list = lists[source == "INOEXCHANGES" ? 0 : 1];
        form = &list.form;
        if (const auto file = folder.Find(list.name, listSuffix)) {
            blocks = ListOf(*form, *file, source == "INOEXCHANGES" ? "" : ticker);
            name = file->name;
            linesBefore = 1;
        }
    }
    if (blocks.empty()) {
        return ErrorPage(404, "There is nothing of it.");
    }
    try {
        return {200, "text/csv", Whole(*form, blocks, Throw, linesBefore)};
    } catch (const DataError& e) {
        throw std::runtime_error(name + " " + e.what());
    }
}

void CheckOwnFile(std::string_view name, std::string_view suffix, std::string_view text,
                  const Complaints& complain) {
    text = WithoutByteOrderMark(text);
    if (suffix != listSuffix) {
        Whole(suffix == chainSuffix ? replies::yahooOptionsForm : replies::inoOptionsForm, text,
              complain, 0);
        return;
    }
    const auto* list =
        std::ranges::find_if(lists, [&](const List& one) { return SameTicker(one.name, name); });
    if (list == std::end(lists)) {
        return complain(DataError(1, "nobody asks for a list of this name"));
    }
    Whole(list->form, Named(list->form.blocks[0]).append(text), complain, 1);
}

}  // namespace quoteserver
