#include "replies/CboeTable.h"

#include "Replies.h"

namespace vtdl::replies {
namespace {

// One side of the table, read the plain way: symbols, and rows of numbers.
struct Side {
    std::vector<std::string> symbols;
    std::vector<Row> rows;

    bool operator==(const Side&) const = default;
};

double ThirdFriday(int year, unsigned month) {
    for (unsigned day = 15;; ++day) {
        const double date = Serial(year, month, day);
        if (static_cast<int>(date) % 7 == 6) return date;  // 30 December 1899 was a Saturday
    }
}

std::vector<std::string> Lines(const std::string& reply) {
    std::vector<std::string> lines = Split(reply.substr(0, reply.rfind("\r\n")), '\n');
    for (std::string& line : lines)
        if (line.ends_with('\r')) line.pop_back();
    return lines;
}

Side PlainSide(const std::string& reply, std::size_t firstField) {
    const std::vector<std::string> lines = Lines(reply);
    Side side;
    for (std::size_t i = 3; i < lines.size(); ++i) {
        const std::vector<std::string> fields = Split(lines[i], ',');
        const std::string& option = fields[firstField];
        const std::size_t open = option.find('(');
        side.symbols.push_back(option.substr(open + 1, option.find(')') - open - 1));
        const auto month =
            std::find(std::begin(monthNames), std::end(monthNames), option.substr(3, 3));
        Row row{ThirdFriday(2000 + std::stoi(option),
                            static_cast<unsigned>(month - std::begin(monthNames)) + 1),
                std::strtod(option.c_str() + 7, nullptr)};
        for (std::size_t k = 1; k < 7; ++k)
            row.push_back(std::strtod(fields[firstField + k].c_str(), nullptr));
        side.rows.push_back(row);
    }
    return side;
}

Side SideOf(const Columns& columns) {
    Side side{{}, RowsOf(columns)};
    for (const std::string_view symbol : columns.Texts(0)) side.symbols.emplace_back(symbol);
    return side;
}

const std::string header = "XYZ (XYZ INC),12.5,-0.25,\r\nNov 04 2016 @ 14:35 ET,\r\nCalls,\r\n";
const std::string option = "10 Nov 125.00 (XYZ KA-E),1,+2,3,4,5,6,";
const std::string put = "10 Nov 125.00 (XYZ WA-E),7,-8,9,10,11,12,";

TEST(CboeTable, RecordedReplies) {
    for (const auto& [name, rows] : {std::pair{"old_aapl_20161104_every10th.dat", 1035U},
                                     {"snippet_spx_index_20171228.dat", 5U},
                                     {"snippet_ibm_20131229.dat", 6U}}) {
        SCOPED_TRACE(name);
        const std::string reply = RecordedReply("cboe/" + std::string(name));
        const Block block(reply);
        ThrowingReader reader;
        const CboeTable table = ParseCboeTable(block, reader);
        EXPECT_EQ(table.calls.Rows(), Lines(reply).size() - 3);
        EXPECT_EQ(SideOf(table.calls), PlainSide(reply, 0));
        EXPECT_EQ(SideOf(table.puts), PlainSide(reply, 7));
        EXPECT_EQ(table.calls.Rows(), rows);
    }
}

TEST(CboeTable, Quote) {
    ThrowingReader reader;
    const std::string reply = RecordedReply("cboe/snippet_ibm_20131229.dat");
    const CboeQuote quote = ParseCboeTable(reply, reader).quote;
    EXPECT_EQ(quote.first[0], "IBM (INTL BUSINESS MACHINES)");
    EXPECT_EQ(ParseCboeDate(quote.second[0]), Serial(2013, 12, 29));
}

TEST(CboeTable, ShapesOfAReply) {
    ThrowingReader reader;
    EXPECT_EQ(ParseCboeTable("", reader).calls.Rows(), 0U);
    EXPECT_EQ(ParseCboeTable("a\r\nb", reader).calls.Rows(), 0U);
    EXPECT_EQ(ParseCboeTable(header, reader).calls.Rows(), 0U);

    // A short line ends the reading; the rows from there on stay empty.
    const std::string good = option + put + "\r\n";
    const std::string reply =
        header + good + option + "10 Nov 125.00 (XYZ WA-E),7,-8,9,10,11\r\n" + good;
    const CboeTable table = ParseCboeTable(reply, reader);
    ASSERT_EQ(table.puts.Rows(), 3U);
    EXPECT_EQ(RowsOf(table.calls)[0], (Row{ThirdFriday(2010, 11), 125, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(RowsOf(table.puts)[0], (Row{ThirdFriday(2010, 11), 125, 7, -8, 9, 10, 11, 12}));
    EXPECT_EQ(RowsOf(table.calls)[1], Row(8)) << "numbers of a short line count for nothing";
    EXPECT_EQ(RowsOf(table.puts)[1], Row(8));
    EXPECT_EQ(RowsOf(table.puts)[2], Row(8));
    EXPECT_EQ(table.puts.Texts(0)[2], "");

    // Fourteen fields without the last comma are enough; a side may be missing.
    const CboeTable oneSided =
        ParseCboeTable(header + ",,,,,,," + put.substr(0, put.size() - 1) + "\r\n", reader);
    EXPECT_EQ(RowsOf(oneSided.calls)[0], Row(8));
    EXPECT_EQ(RowsOf(oneSided.puts)[0][7], 12);
}

// Lines and fields that end inside what is read as one piece elsewhere.
TEST(CboeTable, DescriptionsThatBreakOff) {
    const std::string good = option + put + "\r\n";
    ThrowingReader reader;
    for (const char* start : {"17\r\nn 85", "17 J\r\n 85", "17 Jan\r\n5"}) {
        const std::string reply = header + good + start + ".00 (X),1,2,3,4,5,6," + put + "\r\n";
        const CboeTable table = ParseCboeTable(reply, reader);
        ASSERT_EQ(table.calls.Rows(), 3U);
        EXPECT_EQ(RowsOf(table.calls)[1], Row(8)) << start;
        EXPECT_EQ(RowsOf(table.calls)[2], Row(8)) << start;
    }
    // What is read in one piece elsewhere does not take these for the usual shape.
    const std::string glued = header + "10 Nov 125.00X(SYM),1,2,3,4,5,6," + put + "\r\n";
    RecordingReader odd(99);
    EXPECT_EQ(RowsOf(ParseCboeTable(glued, odd).calls)[0][1], 99);
    const std::string comma = header + good + "17,an 85.00 (X),1,2,3,4,5,6," + put + "\r\n";
    EXPECT_EQ(ParseCboeTable(comma, odd).calls.Texts(0)[1], "");
}

TEST(CboeTable, OddFields) {
    RecordingReader reader(99);
    const std::string reply =
        header + "10 Nov x (,n/a,,1e3, ,-,5," + "xx Nov 1.5 ABC),1,2,3,4,5,6,\r\n";
    const CboeTable table = ParseCboeTable(reply, reader);
    EXPECT_EQ(RowsOf(table.calls)[0], (Row{ThirdFriday(2010, 11), 99, 99, 0, 1000, 0, 99, 5}));
    EXPECT_EQ(RowsOf(table.puts)[0], (Row{99, 1.5, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(table.puts.Texts(0)[0], "");
    EXPECT_EQ(reader.fields, (std::vector<OddText>{{4, 2, "x", false},
                                                   {4, 3, "n/a", false},
                                                   {4, 7, "-", false},
                                                   {4, 1, "xx Nov", false}}));
}

TEST(CboeTable, Texts) {
    for (const auto& [text, year, month] : {std::tuple{"10 Nov", 2010, 11U},
                                            {"99 Jan", 1999, 1U},
                                            {"31 Jan", 2031, 1U},
                                            {"32 Jan", 1932, 1U},
                                            {"10 nov", 2010, 12U},  // unknown months are December
                                            {"10", 2010, 12U}})
        EXPECT_EQ(ParseCboeExpiry(text), Serial(year, month, 1)) << text;
    EXPECT_EQ(ParseCboeExpiry("Nov 10"), std::nullopt);
    EXPECT_EQ(CboeSymbol("125.00 (XYZ KA-E) (B)"), "XYZ KA-E");
    for (const char* text : {"", "125.00", ")(", "(", ")"}) EXPECT_EQ(CboeSymbol(text), "") << text;
    EXPECT_EQ(ParseCboeDate("Nov  4 2016"), Serial(2016, 11, 4));
    for (const std::string& text :
         Split("|Nov 15 26|nov 15 2026|Feb 30 2026|Nov xx 2026|Nov 15 2x26", '|'))
        EXPECT_EQ(ParseCboeDate(text), std::nullopt) << text;
}

}  // namespace
}  // namespace vtdl::replies
