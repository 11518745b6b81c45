// The finance service's and the futures service's tables.

#include "Replies.h"
#include "replies/GoogleTable.h"
#include "replies/PifinTable.h"

namespace vtdl::replies {
namespace {

using Parser = void (*)(std::string_view, Columns&, OddFieldReader&);

struct Parsed {
    std::vector<Row> rows;
    std::vector<OddText> oddTexts;
};

Parsed Parse(Parser parser, std::span<const ColumnSpec> specs, const std::string& reply) {
    Columns columns(specs);
    RecordingReader reader(99);
    parser(Block(reply), columns, reader);
    return {RowsOf(columns), reader.fields};
}

Parsed ParseGoogle(const std::string& reply) {
    return Parse(ParseGoogleTable, googleColumns, reply);
}

Parsed ParsePifin(const std::string& reply) { return Parse(ParsePifinTable, pifinColumns, reply); }

// Fields that are no numbers read as 99, as the tests' reader has it.
std::vector<Row> PlainRows(const std::string& reply, char separator, std::size_t width) {
    std::vector<std::string> lines = Split(reply, '\n');
    std::vector<Row> rows;
    for (auto line = lines.begin() + 1; line != lines.end(); ++line) {
        while (line->ends_with('\r')) line->pop_back();
        std::vector<std::string> fields = Split(*line, separator);
        fields.resize(width, "missing");
        Row row{PlainDate(fields[0])};
        for (std::size_t i = 1; i < width; ++i) {
            char* end = nullptr;
            const double value = std::strtod(fields[i].c_str(), &end);
            row.push_back(*end || fields[i].empty() ? 99 : value);
        }
        rows.push_back(row);
    }
    return rows;
}

// The recorded futures prices as the service sends them.
std::string RecordedFutures() {
    std::string reply = RecordedReply("futures/stooq_cl_f_every20th.csv");
    std::replace(reply.begin(), reply.end(), ',', '\t');
    return "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt" + reply.substr(reply.find("\r\n"));
}

TEST(GoogleTable, RecordedReplies) {
    const std::string withMark = RecordedReply("google-hist/goog_2015_BOM.csv");
    EXPECT_TRUE(IsGoogleTable(withMark));
    EXPECT_EQ(ParseGoogle(withMark).rows.size(), 251U);
    EXPECT_EQ(ParseGoogle(withMark).rows, PlainRows(withMark, ',', 6));
    EXPECT_TRUE(ParseGoogle(withMark).oddTexts.empty());

    const std::string withDash = RecordedReply("google-hist/orcl_2010_dash_open.csv");
    EXPECT_TRUE(IsGoogleTable(withDash));
    EXPECT_EQ(ParseGoogle(withDash).rows, PlainRows(withDash, ',', 6));
    EXPECT_EQ(ParseGoogle(withDash).oddTexts, (std::vector<OddText>{{2, 1, "-", false}}));
}

TEST(GoogleTable, OnlyTablesAreTables) {
    EXPECT_TRUE(
        IsGoogleTable("\xEF\xBB\xBF"
                      "date,OPEN,High\n"));
    EXPECT_TRUE(IsGoogleTable("Date,Open,"));
    EXPECT_FALSE(IsGoogleTable(std::string(21, ' ') + "Date,Open,High\n"));  // beyond 30 characters
    for (const char* reply : {"", "Date,Open", "<html>not found</html>"})
        EXPECT_FALSE(IsGoogleTable(reply)) << reply;
    EXPECT_TRUE(ParseGoogle("Date,Open,High,Low,Close,Volume\n").rows.empty());
    EXPECT_TRUE(ParseGoogle("Date,Open,").rows.empty());
}

TEST(PifinTable, RecordedPrices) {
    const std::string reply = RecordedFutures();
    EXPECT_TRUE(IsPifinTable(reply));
    const Parsed parsed = ParsePifin(reply);
    EXPECT_EQ(parsed.rows.size(), 415U);
    EXPECT_EQ(parsed.rows, PlainRows(reply, '\t', 7));
    // The old rows end before the volume; that is for the caller to judge.
    EXPECT_EQ(parsed.oddTexts.size(), 171U * 2 + 1);
    EXPECT_TRUE(parsed.oddTexts.front().isMissing);
}

// The final line end is one or two characters; no digit may be cut with it.
TEST(PifinTable, FinalLineEnds) {
    const std::string reply = "Date\tOpen\n2004-01-09\t1\t2\t3\t4\t5\t678";
    const std::vector<Row> expected{{Serial(2004, 1, 9), 1, 2, 3, 4, 5, 678}};
    for (const char* end : {"", "\n", "\r\n", "\n\n"})
        EXPECT_EQ(ParsePifin(reply + end).rows, expected) << end;
}

TEST(PifinTable, DatesByPosition) {
    const auto dateOf = [](const std::string& text) {
        return ParsePifin("Date\tOpen\n" + text + "\t1\t2\t3\t4\t5\t6\n").rows[0][0];
    };
    EXPECT_EQ(dateOf("2004-01-09"), Serial(2004, 1, 9));
    EXPECT_EQ(dateOf("2004/01/09"), Serial(2004, 1, 9));
    EXPECT_EQ(dateOf("2004-01-09 00:00"), Serial(2004, 1, 9));
    EXPECT_EQ(dateOf("2004-10-9"), Serial(2004, 10, 9));
    for (const char* text :
         {"", "2004", "2004-1-9", "2004-1-19", "2004-02-30", "09.01.2004", "2004-01-"})
        EXPECT_EQ(dateOf(text), 99) << text;
}

}  // namespace
}  // namespace vtdl::replies
