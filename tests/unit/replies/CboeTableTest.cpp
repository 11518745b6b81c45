#include "replies/CboeTable.h"

#include <cmath>

#include "Replies.h"

namespace vtdl::replies {
namespace {

const std::string header = "XYZ (XYZ INC),12.5,-0.25,\r\nNov 04 2016 @ 14:35 ET,\r\nCalls,\r\n";
const std::string option = "10 Nov 125.00 (XYZ KA-E),1,+2,3,4,5,6,";
const std::string put = "10 Nov 125.00 (XYZ WA-E),7,-8,9,10,11,12,";
const double november = Serial(2010, 11, 19);  // its third Friday

// The sum of each column, and the letters of all symbols.
Row Sums(const Columns& columns) {
    Row sums(9);
    for (std::size_t row = 0; row < columns.Rows(); ++row) {
        sums[0] += static_cast<double>(columns.Texts(0)[row].size());
        for (std::size_t column = 1; column < 9; ++column) sums[column] += columns[column][row];
    }
    for (double& sum : sums) sum = std::round(sum * 100) / 100;
    return sums;
}

// The sums are another program's.
TEST(CboeTable, RecordedReplies) {
    const std::tuple<const char*, std::size_t, Row, Row> cases[] = {
        {"old_aapl_20161104_every10th.dat",
         1035,
         {13602, 44310638, 116132.5, 8336.21, -78.02, 15044.57, 15652.41, 155221, 5441855},
         {13602, 44310638, 116132.5, 6771.9, 81.79, 18408.02, 19198.77, 107352, 3789777}},
        {"snippet_spx_index_20171228.dat",
         5,
         {55, 217275, 1250, 8581.4, 0, 11943.4, 12004.7, 0, 5279},
         {55, 217275, 1250, 0.55, 0, 0.05, 0.4, 0, 15335}}};
    for (const auto& [name, rows, calls, puts] : cases) {
        const std::string reply = RecordedReply(std::string("cboe/") + name);
        RecordingReader reader;
        const CboeTable table = ParseCboeTable(reply, reader);
        EXPECT_EQ(table.calls.Rows(), rows);
        EXPECT_EQ(Sums(table.calls), calls) << name;
        EXPECT_EQ(Sums(table.puts), puts) << name;
        EXPECT_TRUE(reader.fields.empty());
    }
}

TEST(CboeTable, ShapesOfAReply) {
    RecordingReader reader;
    const std::string recorded = RecordedReply("cboe/snippet_ibm_20131229.dat");
    const CboeQuote quote = ParseCboeTable(recorded, reader).quote;
    EXPECT_EQ(quote.first[0], "IBM (INTL BUSINESS MACHINES)");
    EXPECT_EQ(ParseCboeDate(quote.second[0]), Serial(2013, 12, 29));
    for (const std::string& nothing : {std::string(), std::string("a\r\nb"), header})
        EXPECT_EQ(ParseCboeTable(nothing, reader).calls.Rows(), 0U);

    // A short line ends the reading; the rows from there on stay empty.
    const std::string good = option + put + "\r\n";
    const std::string reply =
        header + good + option + "10 Nov 125.00 (XYZ WA-E),7,-8,9,10,11\r\n" + good;
    const CboeTable table = ParseCboeTable(reply, reader);
    ASSERT_EQ(table.puts.Rows(), 3U);
    EXPECT_EQ(RowsOf(table.calls)[0], (Row{november, 125, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(RowsOf(table.puts)[0], (Row{november, 125, 7, -8, 9, 10, 11, 12}));
    EXPECT_EQ(RowsOf(table.calls)[1], Row(8)) << "numbers of a short line count for nothing";
    EXPECT_EQ(RowsOf(table.puts)[2], Row(8));
    EXPECT_EQ(table.puts.Texts(0)[2], "");

    // Fourteen fields without the last comma are enough; a side may be missing.
    const CboeTable oneSided =
        ParseCboeTable(header + ",,,,,,," + put.substr(0, put.size() - 1) + "\r\n", reader);
    EXPECT_EQ(RowsOf(oneSided.calls)[0], Row(8));
    EXPECT_EQ(RowsOf(oneSided.puts)[0][7], 12);
    EXPECT_TRUE(reader.fields.empty());
}

// Lines and fields that end inside what is read as one piece elsewhere.
TEST(CboeTable, DescriptionsThatBreakOff) {
    const std::string good = option + put + "\r\n";
    RecordingReader reader;
    for (const char* start : {"17\r\nn 85", "17 J\r\n 85", "17 Jan\r\n5"}) {
        const std::string reply = header + good + start + ".00 (X),1,2,3,4,5,6," + put + "\r\n";
        const CboeTable table = ParseCboeTable(reply, reader);
        ASSERT_EQ(table.calls.Rows(), 3U);
        for (const int row : {1, 2}) EXPECT_EQ(RowsOf(table.calls)[row], Row(8)) << start;
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
    EXPECT_EQ(RowsOf(table.calls)[0], (Row{november, 99, 99, 0, 1000, 0, 99, 5}));
    EXPECT_EQ(RowsOf(table.puts)[0], (Row{99, 1.5, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(table.puts.Texts(0)[0], "");
    EXPECT_EQ(reader.fields, (std::vector<OddText>{{4, 2, "x", false},
                                                   {4, 3, "n/a", false},
                                                   {4, 7, "-", false},
                                                   {4, 1, "xx Nov", false}}));
}

TEST(CboeTable, Texts) {
    for (const auto& [text, date] : {std::pair{"10 Nov", Serial(2010, 11, 1)},
                                     {"31 Jan", Serial(2031, 1, 1)},
                                     {"32 Jan", Serial(1932, 1, 1)},
                                     {"10", Serial(2010, 12, 1)}})  // unknown months are December
        EXPECT_EQ(ParseCboeExpiry(text), date) << text;
    EXPECT_EQ(ParseCboeExpiry("Nov 10"), std::nullopt);
    for (const auto& [text, symbol] :
         {std::pair{"125.00 (XYZ KA-E) (B)", "XYZ KA-E"}, {"125.00", ""}, {")(", ""}, {"(", ""}})
        EXPECT_EQ(CboeSymbol(text), symbol);
    EXPECT_EQ(ParseCboeDate("Nov  4 2016"), Serial(2016, 11, 4));
    for (const char* text : {"", "Nov 15 26", "nov 15 2026", "Feb 30 2026", "Nov 15 2x26"})
        EXPECT_EQ(ParseCboeDate(text), std::nullopt) << text;
}

}  // namespace
}  // namespace vtdl::replies
