#include "replies/OwnTables.h"

#include <algorithm>
#include <limits>

#include "text/Ascii.h"
#include "text/CalendarDate.h"
#include "text/Decimal.h"

namespace vtdl::replies {
namespace {

std::string_view TakeLine(std::string_view& rest) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

/// The fields of a line, one after the other. One in quotes may have commas, and no quotes.
class Fields {
public:
    explicit Fields(std::string_view line) : m_rest(line) {}

    bool Next(std::string_view& field) {
        if (m_isOver) return false;
        const std::size_t quote = m_rest.starts_with('"') ? 1 : 0;
        const std::size_t end = m_rest.find(quote == 1 ? '"' : ',', quote);
        field = m_rest.substr(quote, end - quote);
        m_rest.remove_prefix(std::min(m_rest.size(), field.size() + 2 * quote));
        m_isBroken |= quote == 1 ? end == m_rest.npos || !(m_rest.empty() || m_rest[0] == ',')
                                 : field.find('"') != field.npos;
        m_isOver = m_rest.empty();
        m_rest.remove_prefix(m_isOver ? 0 : 1);
        return true;
    }

    bool IsBroken() const { return m_isBroken; }

private:
    std::string_view m_rest;
    bool m_isOver = false, m_isBroken = false;
};

/// How many fields a line has; none of a line with odd quotes.
std::size_t CountFields(std::string_view line) {
    Fields fields(line);
    std::size_t count = 0;
    for (std::string_view field; fields.Next(field);) ++count;
    return fields.IsBroken() ? 0 : count;
}

std::string Narrow(std::wstring_view name) { return std::string(name.begin(), name.end()); }

bool IsCalled(std::string_view text, std::wstring_view name) {
    return text::EqualsIgnoringCase(text, Narrow(name));
}

double ReadNumber(const OddField& field, ColumnType type, OddFieldReader& oddFields) {
    if (type == ColumnType::date) {
        const std::optional<double> time = ParseOwnTime(field.text);
        return time ? *time : oddFields.Read(field);
    }
    const char* const end = field.text.data() + field.text.size();
    const text::DecimalRead number = text::ReadDecimal(field.text.data(), end);
    return number.end == end ? number.value : oddFields.Read(field);
}

}  // namespace

std::string OwnFirstLine(std::string_view source) {
    return std::string("#vtdl-own 1 ").append(source);
}

std::string OwnLastLine(std::size_t lines) { return "#end " + std::to_string(lines); }

OwnReply::OwnReply(std::string_view reply, const OwnForm& form)
    : m_form(form), m_fault(Split(reply, form)) {}

std::string OwnReply::Split(std::string_view reply, const OwnForm& form) {
    std::string_view rest = reply;
    if (TakeLine(rest) != OwnFirstLine(form.source)) return "another form";
    if (!reply.ends_with('\n')) return "it breaks off";
    std::string_view line;
    const auto next = [&] {
        ++m_line;
        return line = TakeLine(rest);
    };
    next();
    for (const OwnBlock& block : form.blocks) {
        if (!line.starts_with('#') || !IsCalled(line.substr(1), block.name))
            return "no block " + Narrow(block.name);
        Lines lines{next(), {}, m_line + 1, 0};
        const std::size_t width = CountFields(lines.header);
        bool isNamed = false;
        std::string_view field;
        for (Fields names(lines.header); names.Next(field);)
            isNamed |= IsCalled(field, block.columns[0].name);
        if (width == 0 || !isNamed) return "no column " + Narrow(block.columns[0].name);
        const char* const begin = rest.data();
        const char* end = begin;
        for (next(); !line.starts_with('#'); next()) {
            if (rest.empty()) return "it breaks off";
            if (CountFields(line) != width) return "a row that does not fit its header";
            ++lines.count;
            end = rest.data();
        }
        const bool isPaired = m_blocks.size() > 1;  // calls and puts, row by row
        if ((block.isQuote && lines.count != 1) ||
            (isPaired && lines.count != m_blocks.back().count))
            return std::to_string(lines.count) + " rows of " + Narrow(block.name);
        lines.rows = {begin, static_cast<std::size_t>(end - begin)};
        m_blocks.push_back(lines);
    }
    return line == OwnLastLine(m_line) && rest.empty() ? "" : "it breaks off";
}

Columns OwnReply::Read(std::size_t block, OddFieldReader& oddFields) const {
    constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
    const OwnBlock& form = m_form.blocks[block];
    const Lines& lines = m_blocks[block];
    Columns columns(form.columns);
    columns.AddRows(lines.count);
    const double missing = form.isQuote ? std::numeric_limits<double>::quiet_NaN() : 0;
    if (form.isQuote)
        for (std::size_t i = 0; i < form.columns.size(); ++i)
            if (form.columns[i].type != ColumnType::string) columns[i][0] = missing;
    std::vector<std::size_t> places;  // of each field, its column
    std::string_view field;
    for (Fields names(lines.header); names.Next(field);) {
        const auto found =
            std::find_if(form.columns.begin(), form.columns.end(),
                         [&](const auto& column) { return IsCalled(field, column.name); });
        places.push_back(found == form.columns.end()
                             ? none
                             : static_cast<std::size_t>(found - form.columns.begin()));
    }
    std::string_view rest = lines.rows;
    for (std::size_t row = 0; row < lines.count; ++row) {
        Fields fields(TakeLine(rest));
        for (const std::size_t column : places) {
            fields.Next(field);
            if (column == none) continue;
            const ColumnType type = form.columns[column].type;
            if (type == ColumnType::string)
                columns.Texts(column)[row] = field;
            else
                columns[column][row] =
                    field.empty() ? missing
                                  : ReadNumber({lines.firstLine + row, column, field, false}, type,
                                               oddFields);
        }
    }
    return columns;
}

std::optional<double> ParseOwnTime(std::string_view text) noexcept {
    const char* p = text.data();
    const char* const end = p + text.size();
    int parts[3] = {}, count = 0;
    char separator = 0;
    while (count < 3) {
        const char* const first = p;
        p = text::ReadSmallNumber(p, end, parts[count++]);
        if (p == first) return std::nullopt;
        if (p == end) break;
        if (count == 3 || (*p != '-' && *p != ':') || (separator && *p != separator))
            return std::nullopt;
        separator = *p++;
    }
    if (separator == '-' && count == 3)
        return text::ToAutomationDate({parts[0], parts[1], parts[2]});
    if (separator != ':' || count != 2 || parts[0] > 23 || parts[1] > 59) return std::nullopt;
    return (parts[0] * 60 + parts[1]) / 1440.0;
}

}  // namespace vtdl::replies
