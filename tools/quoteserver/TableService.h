// /table.csv: price and dividend history of one ticker as comma separated lines, newest first.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "DataFolder.h"
#include "Dates.h"
#include "Http.h"
#include "TableQuery.h"

namespace quoteserver {

struct TableOptions {
    std::size_t rowsPerPage = 200;  // 0 = no limit
    DateForm dates = DateForm::Iso;
    std::string commentServer = {};  // empty = no comment line at the end
};

class TableService {
public:
    TableService(DataFolder folder, TableOptions options);

    // A reply longer than a page keeps its NEWEST rows; the client asks again for what is older.
    // 404 for an unknown ticker and for a range without rows. Throws BadQuery, and
    // std::runtime_error, naming file and line, for a damaged file.
    Reply Answer(const Query& query) const;

private:
    std::string Table(const TableQuery& query, DataFile& file) const;
    template <typename Rows>
    std::string Page(std::string_view header, const Rows& rows) const;

    DataFolder m_folder;
    TableOptions m_options;
};

// The line that the service's front end put below a reply, with its line end.
std::string CommentLine(const std::string& server, std::chrono::sys_seconds time);

}  // namespace quoteserver
