// How fast a price table is parsed, next to a plain reader of the same bytes:
//     bench_replies FILE
// FILE is a recorded table with year-month-day dates. The answers are compared first; a difference
// ends the program with 1.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Timing.h"
#include "replies/YahooTable.h"
#include "text/CalendarDate.h"

namespace {

using namespace vtdl;

constexpr std::string_view header = "Date,Open";

class ThrowingReader final : public replies::OddFieldReader {
public:
    double Read(const replies::OddField&) override { throw std::runtime_error("odd field"); }
};

void ParseInto(const std::string& page, replies::Columns& columns) {
    ThrowingReader reader;
    replies::ParseYahooPage(page, header, false, columns, reader);
}

replies::Columns Parse(const std::string& page) {
    replies::Columns columns(replies::yahooPriceColumns);
    ParseInto(page, columns);
    return columns;
}

// Splits lines and fields and leaves the numbers to the C library.
replies::Columns ReadPlainly(const std::string& page) {
    replies::Columns columns(replies::yahooPriceColumns);
    columns.AddRows(static_cast<std::size_t>(std::count(page.begin(), page.end(), '\n')) - 1);
    const std::string_view text = page;
    std::size_t lineStart = text.find('\n') + 1;
    for (std::size_t row = 0; row < columns.Rows(); ++row) {
        const std::size_t lineEnd = text.find('\n', lineStart);
        const std::string_view line = text.substr(lineStart, lineEnd - lineStart);
        std::size_t fieldStart = 0;
        for (std::size_t column = 0; column < columns.Specs().size(); ++column) {
            const std::size_t fieldEnd = std::min(line.find(',', fieldStart), line.size());
            const char* field = line.data() + fieldStart;
            if (column == 0) {
                char* part = nullptr;
                text::CalendarDate date{};
                date.year = static_cast<int>(std::strtol(field, &part, 10));
                date.month = static_cast<int>(std::strtol(part + 1, &part, 10));
                date.day = static_cast<int>(std::strtol(part + 1, &part, 10));
                columns[column][row] = text::ToAutomationDate(date).value();
            } else {
                columns[column][row] = std::strtod(field, nullptr);
            }
            fieldStart = fieldEnd + 1;
        }
        lineStart = lineEnd + 1;
    }
    return columns;
}

bool IsSame(const replies::Columns& a, const replies::Columns& b) {
    for (std::size_t column = 0; column < a.Specs().size(); ++column)
        if (a[column] != b[column]) return false;
    return true;
}

int Run(const char* path) {
    std::ifstream file(path, std::ios::binary);
    const std::string page(std::istreambuf_iterator<char>(file), {});
    const std::size_t rowsStart = page.find('\n') + 1;
    std::string longPage = page;
    for (int i = 1; i < 10; ++i) longPage.append(page, rowsStart);

    const std::size_t rows = Parse(page).Rows();
    const bool isRight = rows > 0 && IsSame(Parse(page), ReadPlainly(page)) &&
                         IsSame(Parse(longPage), ReadPlainly(longPage)) &&
                         Parse(longPage).Rows() == 10 * rows;
    if (!isRight) {
        std::fprintf(stderr, "bench_replies: no table in %s, or the readers differ\n", path);
        return 1;
    }

    double sum = 0;  // keeps the work from being optimised away
    const auto rate = [&](double seconds) {
        return static_cast<double>(page.size()) / seconds / 1e6;
    };
    const auto parserSeconds = [&](const std::string& text, int runs) {
        return bench::MedianSeconds(runs, [&] { sum += Parse(text)[6].back(); });
    };
    const auto reuseSeconds = [&](const std::string& text, int runs) {
        replies::Columns columns(replies::yahooPriceColumns);
        return bench::MedianSeconds(runs, [&] {
            for (std::size_t i = 0; i < columns.Specs().size(); ++i) columns[i].clear();
            ParseInto(text, columns);
            sum += columns[6].back();
        });
    };
    const double parser = parserSeconds(page, 201);
    const double plain = bench::MedianSeconds(201, [&] { sum += ReadPlainly(page)[6].back(); });
    std::printf(
        "%zu rows take %.2f times as long as %zu; with memory that is already there, %.2f\n",
        10 * rows, parserSeconds(longPage, 51) / parser, rows,
        reuseSeconds(longPage, 51) / reuseSeconds(page, 201));
    std::printf("parser %.0f MB/s, plain reader %.0f MB/s, ratio %.2f\n", rate(parser), rate(plain),
                plain / parser);
    return sum == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_replies FILE\n");
        return 2;
    }
    return Run(argv[1]);
}
