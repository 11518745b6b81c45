// The finance service's and the futures service's tables.

#include "Replies.h"
#include "replies/HistoryTables.h"

namespace vtdl::replies {
namespace {

Parsed ParseGoogle(const std::string& reply) {
    return ParsedBy(ParseGoogleTable, googleColumns, reply);
}

Parsed ParsePifin(const std::string& reply) {
    return ParsedBy(ParsePifinTable, pifinColumns, reply);
}

TEST(GoogleTable, RecordedReplies) {
    const std::pair<const char*, std::vector<OddText>> cases[] = {
        {"goog_2015_BOM.csv", {}}, {"orcl_2010_dash_open.csv", {{2, 1, "-", false}}}};
    for (const auto& [name, oddTexts] : cases) {
        const std::string reply = RecordedReply(std::string("google-hist/") + name);
        EXPECT_TRUE(IsGoogleTable(reply));
        EXPECT_EQ(ParseGoogle(reply).rows, PlainRows(reply, ',', 6));
        EXPECT_EQ(ParseGoogle(reply).oddTexts, oddTexts);
    }
}

TEST(GoogleTable, OnlyTablesAreTables) {
    EXPECT_TRUE(IsGoogleTable("Date,OPEN,"));
    EXPECT_TRUE(ParseGoogle("Date,OPEN,").rows.empty());
    EXPECT_FALSE(IsGoogleTable("Date,Open"));
    EXPECT_FALSE(IsGoogleTable(std::string(21, ' ') + "Date,Open,High\n")) << "too far behind";
}

// As the service sends them; the old rows end before the volume, which is for the caller to judge.
TEST(PifinTable, RecordedPrices) {
    std::string reply = RecordedReply("futures/stooq_cl_f_every20th.csv");
    std::replace(reply.begin(), reply.end(), ',', '\t');
    reply = "Date\tOpen\tHigh\tLow\tClose\tVolume\tOpenInt" + reply.substr(reply.find("\r\n"));
    EXPECT_TRUE(IsPifinTable(reply));
    const Parsed parsed = ParsePifin(reply);
    EXPECT_EQ(parsed.rows.size(), 415U);
    EXPECT_EQ(parsed.rows, PlainRows(reply, '\t', 7));
    EXPECT_EQ(parsed.oddTexts.size(), 171U * 2 + 1);
    EXPECT_TRUE(parsed.oddTexts.front().isMissing);
}

// The final line end is one or two characters; no digit may be cut with it.
TEST(PifinTable, DatesByPositionAndFinalLineEnds) {
    const auto expect = [](const char* texts, double date) {
        for (const std::string& text : Split(texts, '|'))
            for (const char* end : {"", "\n", "\r\n", "\n\n"})
                EXPECT_EQ(ParsePifin("Date\tOpen\n" + text + "\t1\t2\t3\t4\t5\t678" + end).rows,
                          (std::vector<Row>{{date, 1, 2, 3, 4, 5, 678}}))
                    << text;
    };
    expect("2004-01-09|2004/01/09|2004-01-09 00:00", Serial(2004, 1, 9));
    expect("2004-10-9", Serial(2004, 10, 9));
    expect("|2004-1-19|2004-02-30|09.01.2004|2004-01-", 99);
}

}  // namespace
}  // namespace vtdl::replies
