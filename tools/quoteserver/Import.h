// Exports of other programs and services, taken into a data folder.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "Exports.h"

namespace quoteserver {

struct Import {
    std::vector<std::string> files;
    std::filesystem::path folder;
    SlashDates dates = SlashDates::Told;
    bool replacesRows = false;  // the folder's that differ
    char decimal = 0;           // point or comma; 0: told by each file
};

// Adds the days of the files to those of the folder, a file a ticker, each replaced in one step.
// What is in the folder stays: a row that differs from one there is not taken, unless that was
// asked for. Prints what was not taken, line by line, and what was. Returns how many lines were not
// taken. Throws std::runtime_error unless the folder is there.
std::size_t ImportFiles(const Import& import, std::ostream& out);

}  // namespace quoteserver
