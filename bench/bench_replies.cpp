// How fast the reply parsers are, next to plain readers of the same bytes:
//     bench_replies FOLDER         FOLDER holds the recorded replies
//     bench_replies --peer FILE RUNS
// The answers are compared first; a difference ends the program with 1. The second form is one of
// bench/peers: it prints lines of a name, the median seconds, and the sum of the table's numbers.

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Timing.h"
#include "replies/CboeTable.h"
#include "replies/HistoryTables.h"
#include "text/Ascii.h"
#include "text/CalendarDate.h"

namespace {

using namespace vtdl;

class ThrowingReader final : public replies::OddFieldReader {
public:
    double Read(const replies::OddField&) override { throw std::runtime_error("odd field"); }
};

using Reader = void (*)(const std::string& reply, replies::Columns& columns);

/// A table of rows: its columns, and how it is parsed, walked and read plainly.
struct Table {
    const char* name;
    std::span<const replies::ColumnSpec> columns;
    Reader parse, walk, readPlainly;
};

double IsoDate(const char* text) {
    char* part = nullptr;
    text::CalendarDate date{};
    date.year = static_cast<int>(std::strtol(text, &part, 10));
    date.month = static_cast<int>(std::strtol(part + 1, &part, 10));
    date.day = static_cast<int>(std::strtol(part + 1, &part, 10));
    return text::ToAutomationDate(date).value();
}

double NamedMonthDate(const char* text) {
    constexpr char names[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    char* part = nullptr;
    text::CalendarDate date{};
    date.day = static_cast<int>(std::strtol(text, &part, 10));
    for (date.month = 1; std::strncmp(names + 3 * (date.month - 1), part + 1, 3) != 0;)
        ++date.month;
    date.year = static_cast<int>(std::strtol(part + 5, nullptr, 10));
    date.year += date.year < 50 ? 2000 : 1900;
    return text::ToAutomationDate(date).value();
}

std::size_t RowsOf(const std::string& reply) { return text::CountOf(reply, '\n') - 1; }

struct ServiceDates {
    static bool IsSeparator(char c) { return c == ',' || c == '\t'; }
    static replies::DateRead ReadDate(const char* first, const char* last) {
        return replies::ReadServiceDate(first, last);
    }
};

// The least that reads the rows: one pass, the dates as the parser has them, each number by the C++
// library, no field looked at otherwise.
void Walk(const std::string& reply, replies::Columns& columns) {
    columns.AddRows(RowsOf(reply));
    const char* p = reply.data() + reply.find('\n') + 1;
    const char* const end = reply.data() + reply.size();
    const std::size_t width = columns.Specs().size();
    replies::DateReader<ServiceDates> dates;
    for (std::size_t row = 0; row < columns.Rows(); ++row) {
        const replies::DateRead date = dates.Read(p, end);
        columns[0][row] = date.value;
        p = date.end;
        for (std::size_t column = 1; column < width; ++column)
            p = std::from_chars(p + 1, end, columns[column][row]).ptr;
        p = std::find(p, end, '\n') + 1;
    }
}

// Splits lines and fields and leaves dates and numbers to the C library.
template <double (*readDate)(const char* text), char separator = ','>
void ReadPlainly(const std::string& reply, replies::Columns& columns) {
    columns.AddRows(RowsOf(reply));
    const std::string_view text = reply;
    std::size_t lineStart = text.find('\n') + 1;
    for (std::size_t row = 0; row < columns.Rows(); ++row) {
        const std::size_t lineEnd = text.find('\n', lineStart);
        const std::string_view line = text.substr(lineStart, lineEnd - lineStart);
        std::size_t fieldStart = 0;
        for (std::size_t column = 0; column < columns.Specs().size(); ++column) {
            const std::size_t fieldEnd = std::min(line.find(separator, fieldStart), line.size());
            const char* field = line.data() + fieldStart;
            columns[column][row] = column == 0 ? readDate(field) : std::strtod(field, nullptr);
            fieldStart = fieldEnd + 1;
        }
        lineStart = lineEnd + 1;
    }
}

bool IsSame(const replies::Columns& a, const replies::Columns& b) {
    for (std::size_t column = 0; column < a.Specs().size(); ++column)
        if (a[column] != b[column]) return false;
    return a.Rows() > 0;
}

const Table prices{"prices", replies::yahooPriceColumns,
                   [](const std::string& reply, replies::Columns& columns) {
                       ThrowingReader odd;
                       replies::ParseYahooPage(reply, "Date,Open", false, columns, odd);
                   },
                   Walk, ReadPlainly<IsoDate>};
const Table finance{"finance service", replies::googleColumns,
                    [](const std::string& reply, replies::Columns& columns) {
                        ThrowingReader odd;
                        replies::ParseGoogleTable(reply, columns, odd);
                    },
                    Walk, ReadPlainly<NamedMonthDate>};
const Table futures{"futures", replies::pifinColumns,
                    [](const std::string& reply, replies::Columns& columns) {
                        ThrowingReader odd;
                        replies::ParsePifinTable(reply, columns, odd);
                    },
                    Walk, ReadPlainly<IsoDate, '\t'>};

std::string File(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string FileIn(const std::string& folder, const char* name) {
    return File(folder + "/" + name);
}

// The header, and the rows so many times.
std::string Repeated(const std::string& reply, int times, int headerLines = 1) {
    std::size_t rows = 0;
    for (int i = 0; i < headerLines; ++i) rows = reply.find('\n', rows) + 1;
    std::string text = reply;
    for (int i = 1; i < times; ++i) text.append(reply, rows);
    return text;
}

// The futures service's table with the rows of the recorded one that are whole.
std::string FuturesReply(const std::string& folder) {
    const std::string recorded = FileIn(folder, "futures/stooq_cl_f_every20th.csv");
    std::string reply = "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt\n";
    std::size_t start = recorded.find('\n') + 1;
    while (start < recorded.size()) {
        const std::size_t end = std::min(recorded.find('\n', start), recorded.size() - 1);
        std::string line = recorded.substr(start, end + 1 - start);
        if (std::count(line.begin(), line.end(), ',') == 6) {
            std::replace(line.begin(), line.end(), ',', '\t');
            reply += line;
        }
        start = end + 1;
    }
    return reply;
}

double MegabytesASecond(const std::string& reply, double seconds) {
    return static_cast<double>(reply.size()) / seconds / 1e6;
}

double sum = 0;  // keeps the work from being optimised away

void Compare(const Table& table, const std::string& reply) {
    replies::Columns parsed(table.columns), walked(table.columns), plain(table.columns);
    table.parse(reply, parsed);
    table.walk(reply, walked);
    table.readPlainly(reply, plain);
    if (!IsSame(parsed, plain) || !IsSame(parsed, walked))
        throw std::runtime_error(std::string("the readers differ on ") + table.name);
    const auto read = [&](Reader reader) {
        return [&reply, &table, reader] {
            replies::Columns columns(table.columns);
            reader(reply, columns);
            sum += columns[1].back();
        };
    };
    const auto [parser, walk] =
        bench::MedianSecondsInTurns(201, read(table.parse), read(table.walk));
    const double strtod = bench::MedianSeconds(11, read(table.readPlainly));
    std::printf(
        "%s: %zu rows in %.3f ms, %.0f MB/s; from_chars walk %.3f ms, ratio %.2f; C library %.2f "
        "ms, ratio %.1f\n",
        table.name, parsed.Rows(), parser * 1e3, MegabytesASecond(reply, parser), walk * 1e3,
        walk / parser, strtod * 1e3, strtod / parser);
}

void CompareLengths(const std::string& reply) {
    const std::string longReply = Repeated(reply, 10);
    const auto seconds = [](const std::string& text, int runs) {
        return bench::MedianSeconds(runs, [&] {
            replies::Columns columns(prices.columns);
            prices.parse(text, columns);
            sum += columns[1].back();
        });
    };
    const auto reuseSeconds = [&](const std::string& text, int runs) {
        replies::Columns columns(prices.columns);
        return bench::MedianSeconds(runs, [&] {
            columns.clear();
            prices.parse(text, columns);
            sum += columns[1].back();
        });
    };
    std::printf(
        "ten times the rows take %.2f times as long; with memory that is already there, "
        "%.2f\n",
        seconds(longReply, 51) / seconds(reply, 201),
        reuseSeconds(longReply, 51) / reuseSeconds(reply, 201));
}

void TimeChain(const std::string& reply) {
    std::size_t rows = 0;
    const double seconds = bench::MedianSeconds(101, [&] {
        ThrowingReader reader;
        const replies::CboeTable table = replies::ParseCboeTable(reply, reader);
        rows = table.calls.Rows();
        sum += table.puts[2].back();
    });
    std::printf("option chain of %zu lines: %.0f MB/s\n", rows, MegabytesASecond(reply, seconds));
}

int BePeer(const char* path, int runs) {
    const std::string reply = File(path);
    for (const auto& [name, reader] :
         {std::pair{sizeof(void*) == 4 ? "ours, 32-bit, Wine" : "ours", prices.parse},
          {sizeof(void*) == 4 ? "from_chars walk, 32-bit, Wine" : "from_chars walk",
           prices.walk}}) {
        replies::Columns columns(prices.columns);
        const double seconds = bench::MedianSeconds(runs, [&] {
            columns = replies::Columns(prices.columns);
            reader(reply, columns);
        });
        double total = 0;
        for (std::size_t column = 1; column < prices.columns.size(); ++column)
            for (const double value : columns[column]) total += value;
        std::printf("%s\t%.9f\t%.17g\n", name, seconds, total);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc == 4 && std::string_view(argv[1]) == "--peer")
        return BePeer(argv[2], std::atoi(argv[3]));
    if (argc != 2) {
        std::fprintf(stderr, "usage: see the head of bench_replies.cpp\n");
        return 2;
    }
    const std::string folder = argv[1];
    const std::string table = FileIn(folder, "yahoo-table/iso_aapl_1984-2008_6081rows.csv");
    Compare(prices, table);
    Compare(
        {"prices of six decimals", prices.columns, prices.parse, prices.walk, prices.readPlainly},
        Repeated(FileIn(folder, "yahoo-table/req_GOOG_5Y_W.csv"), 29));
    Compare(finance, Repeated(FileIn(folder, "google-hist/goog_2015_BOM.csv"), 20));
    Compare(futures, Repeated(FuturesReply(folder), 20));
    CompareLengths(table);
    TimeChain(Repeated(FileIn(folder, "cboe/old_aapl_20161104_every10th.dat"), 10, 3));
    return sum == 0 ? 1 : 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "bench_replies: %s\n", error.what());
    return 1;
}
