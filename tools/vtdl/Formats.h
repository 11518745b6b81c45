#pragma once
// A result as text. Lines end with LF, text is UTF-8, and no locale has a say.

#include <optional>
#include <string>
#include <vector>

#include "Values.h"

namespace vtdl::host {

/// A header and the rows; numbers have six decimals at most, and their points stand below each
/// other. A quote is a list of names and values instead.
std::string TableOf(const Block& block);

/// All blocks; each has its name as a heading when there are several. The calls and puts of an
/// option chain are one table.
std::string TableOf(const Result& result);

/// What a spreadsheet of another language wants: "1,5;2" where others read "1.5,2".
struct CsvForm {
    char separator = ',';
    char decimal = '.';
    bool isTextRaw = false;  // else an apostrophe stands before texts that would be run as formulas
};

/// One header and the rows. Several blocks, and those of tickers, make one table: a first
/// column BLOCK tells them apart, and the header has the columns of all of them.
std::string CsvOf(const Result& result, const CsvForm& form = {});

/// {"source": NAME, "blocks": {NAME: [{COLUMN: VALUE, ...}, ...], ...}}
std::string JsonOf(const Result& result);

/// A row of all columns is one strike and expiration. A side that is not there is empty in that
/// row.
struct Chain {
    std::vector<Column> calls;
    std::vector<Column> series;  ///< STRIKE and EXPIRATION
    std::vector<Column> puts;    ///< TICKER last, as it is first among the calls'
};

/// Nothing unless both blocks have STRIKE and EXPIRATION and row for row the same of them. Rows
/// without either side are left out.
std::optional<Chain> ChainOf(const Block& calls, const Block& puts);

}  // namespace vtdl::host
