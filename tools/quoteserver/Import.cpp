#include "Import.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <ostream>

#include "DataFolder.h"
#include "ImportValues.h"
#include "WholeFile.h"

namespace quoteserver {
namespace {

// Says which lines are not taken: of those of a file that are alike but for their values ten, and
// how many more there are.
class Refusals {
public:
    explicit Refusals(std::ostream& out) : m_out(out) {}

    void Tell(const std::string& file, std::size_t line, const std::string& why) {
        constexpr std::size_t most = 10;
        ++m_count;
        Like& like = m_alike[{file, WithoutValues(why)}];
        if (++like.count <= most) {
            m_out << file << ':' << line << ": " << why << '\n';
        } else if (like.count == most + 1) {
            like.first = std::to_string(line) + ": " + why;
        }
        like.more = like.count - std::min(like.count, most);
    }
    // What Tell has kept back.
    void TellMore() {
        for (const auto& [key, like] : m_alike) {
            if (like.more > 0) {
                m_out << key.first << ": " << like.more << " more such lines, from " << like.first
                      << '\n';
            }
        }
        m_alike.clear();
    }
    std::size_t Count() const { return m_count; }

private:
    struct Like {
        std::size_t count = 0, more = 0;
        std::string first = {};
    };

    static std::string WithoutValues(const std::string& why) {
        std::string text;
        bool isValue = false;
        for (const char c : why) {
            isValue = isValue != (c == '"');
            text.append(isValue || (c >= '0' && c <= '9') ? 0 : 1, c);
        }
        return text;
    }

    std::ostream& m_out;
    std::map<std::pair<std::string, std::string>, Like> m_alike;
    std::size_t m_count = 0;
};

struct Merged {
    std::size_t added = 0, same = 0, replaced = 0;
};

void MergeInto(const DataFolder& folder, const Import& import, const std::string& of,
               const Exports::Days& days, Refusals& refusals, std::ostream& out) {
    Merged merged;
    std::map<Date, std::string, std::greater<>> all;
    std::optional<DataFile> file = folder.Prices(of);
    std::string why;
    const std::string name = file ? file->name : of + ".csv";
    if (file) {
        std::string_view text = WithoutByteOrderMark(file->text);
        if (TakeLine(text) != priceLayout.header) {
            why = name + " has other columns, or in another order";
        }
        try {
            for (const Row& row : why.empty() ? ReadRows(*file, priceLayout) : std::vector<Row>()) {
                all[row.date] = row.values;
            }
        } catch (const std::exception& e) {
            why = e.what();
        }
    }
    for (const auto& [date, day] : days) {
        std::string refusal = why;
        const auto known = all.find(date);
        const bool isKnown = known != all.end();
        if (refusal.empty() && isKnown && !HasSameNumbers(known->second, day.values) &&
            !import.replacesRows) {
            refusal = name + " has other values of its day; --replace-rows would take these";
        }
        if (!refusal.empty()) {
            refusals.Tell(day.file, day.line, refusal);
        } else if (isKnown && HasSameNumbers(known->second, day.values)) {
            ++merged.same;
        } else {
            ++(isKnown ? merged.replaced : merged.added);
            all[date] = day.values;
        }
    }
    if (merged.added + merged.replaced > 0) {
        std::string text(priceLayout.header);
        text += '\n';
        for (const auto& [date, values] : all) {
            AppendDate(text, date, DateForm::Iso);
            text.append(1, ',').append(values).append(1, '\n');
        }
        WriteWhole(import.folder / name, text);
    }
    refusals.TellMore();
    out << name << ": " << merged.added << " new, " << merged.replaced << " replaced, "
        << merged.same << " already there\n";
}

}  // namespace

std::size_t ImportFiles(const Import& import, std::ostream& out) {
    const DataFolder folder(import.folder);
    Exports exports(import.dates, import.decimal);
    Refusals refusals(out);
    std::size_t unread = 0;
    for (const std::string& path : import.files) {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            out << path << ": cannot be read\n";
            ++unread;
            continue;
        }
        const std::string name = std::filesystem::path(path).filename().string();
        exports.Read(in, name, [&](std::size_t line, const std::string& why) {
            refusals.Tell(name, line, why);
        });
        refusals.TellMore();
    }
    for (const auto& [of, days] : exports.Tickers()) {
        MergeInto(folder, import, of, days, refusals, out);
    }
    return refusals.Count() + unread;
}

}  // namespace quoteserver
