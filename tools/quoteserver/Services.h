// What the server answers from a data folder: a function for each of the classic services. All of
// them throw BadQuery for a request that makes no sense, and std::runtime_error, naming file and
// line, for a damaged file.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "DataFolder.h"
#include "Http.h"
#include "Rows.h"

namespace quoteserver {

struct TableOptions {
    std::size_t rowsPerPage = 200;  // 0 = no limit
    DateForm dates = DateForm::Iso;
    std::string commentServer = {};  // empty = no comment line at the end
};

// /table.csv: price and dividend history of one ticker as comma separated lines, newest first.
// Keys: s = ticker; a b c = first day (month counted from 0, day, year), d e f = last day; g = d,
// w, m (daily, weekly, monthly prices) or v (dividends); others are ignored. A reply longer than a
// page keeps its NEWEST rows; the client asks again for what is older. 404 for an unknown ticker
// and for a range without rows.
Reply AnswerTable(const DataFolder& folder, const TableOptions& options, const Query& query);

// The line that the service's front end put below a reply, with its line end.
std::string CommentLine(const std::string& server, std::chrono::sys_seconds time);

// /finance/historical: price history without adjusted closes, newest first, in one piece. Keys: q =
// ticker, an exchange and a colon may stand before it; histperiod = DAILY or WEEKLY; startdate and
// enddate as "Jan 9, 2004". A range without rows is a header alone, an unknown ticker a 404 page.
Reply AnswerHistory(const DataFolder& folder, const Query& query);

// /cgi-bin/pifin/q.php: futures prices with open interest, tab separated, oldest first. Keys: tid =
// ticker; sd and ed = first and last day, yyyy-mm-dd, left out = no bound. Values that the file
// leaves out at the end of a row are sent as 0. A range without rows is a header alone, an unknown
// ticker a 404 page.
Reply AnswerFutures(const DataFolder& folder, const Query& query);

// /d/quotes.csv: the quotes of some tickers, a line each. f= is a row of letters, each with a digit
// or none; s= names tickers with blanks or commas in between. Texts are quoted, numbers and N/A are
// not. An unknown ticker has a line too: itself as it was asked for, and N/A.
Reply AnswerQuotes(const DataFolder& folder, const Query& query);

// /v1/history.csv, dividends.csv, splits.csv, futures.csv and quote.csv: the tables themselves, for
// other quote servers and for programs. Key: ticker. Each has a tag (ETag) of its bytes. A line of
// a history is a day, with its dividend and its split; one without prices has nothing else. 404
// where there is no such table.
inline constexpr std::string_view tablesPath = "/v1/";
inline constexpr const char* tableNames[] = {"history.csv", "dividends.csv", "splits.csv",
                                             "futures.csv", "quote.csv"};
Reply AnswerTables(const DataFolder& folder, const Target& target);

// Without its body, as status 304, where the asker has it: the reply's tag is among those known.
Reply Unchanged(Reply reply, std::string_view known);

// The first day that a history is asked for, if the request names one that is a date.
std::optional<Date> FirstDayAsked(const Target& target);

struct Account {
    std::string user;
    std::string password;
};

// /cgi-bin/vestora.exe: the quote of one ticker for those who have an account. FIELDS names values
// with commas in between, TICKER the ticker. The reply is one line of plain values; what is not
// known is empty. An unknown ticker gets a short text instead, and who is not the account's owner
// status 401.
Reply AnswerAccount(const DataFolder& folder, const Account& account, const Request& request);

// /DelayedQuote/QuoteTableDownload.aspx: the option table of one ticker, as a form asks for it. The
// ticker is the form's field whose name ends in "txtTicker"; nothing else of the form is looked at.
// The file is sent as it is. For an unknown ticker the service showed its form again with an
// apology, as a page of status 200.
Reply AnswerOptions(const DataFolder& folder, const Query& form);

// The names of the sources that are answered in a form of our own.
std::vector<std::string_view> OwnSources();

// /own/SOURCE: what there is for it of a ticker, or of an exchange (docs/own-formats.md). 404 where
// there is nothing.
Reply AnswerOwn(std::string_view source, const DataFolder& folder, const Query& query);

// The same of a file's text, and complains about what no client could read; the end of the name
// says what it is, the name which list.
void CheckOwnFile(std::string_view name, std::string_view suffix, std::string_view text,
                  const Complaints& complain);

// Reads every file of a data folder and prints damaged lines: "AAPL.csv line 7: ...", of each file
// the first twenty. Returns the number of all. Throws std::runtime_error unless the folder is
// there.
std::size_t CheckFolder(const std::filesystem::path& folder, std::ostream& out);

}  // namespace quoteserver
