// A history of a database: what a feed makes of its rows, beside the rows alone. A connection and
// a statement without parameters may be given, in place of SQLite with 8,000 rows.
#define SQL_NOUNICODEMAP
#include <sql.h>
#include <sqlext.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Timing.h"
#include "living/Feed.h"

namespace {

using namespace quoteserver;
using namespace quoteserver::living;

constexpr const char* rowsOfSqlite =
    "with recursive n(i) as (select 0 union all select i + 1 from n where i < 7999) select "
    "date('2000-01-01', '+' || i || ' days') as day, 100 + i % 97 / 8.0 as open, 101 + i % 97 / "
    "8.0 as high, 99 + i % 97 / 8.0 as low, 100.5 + i % 97 / 8.0 as close, 1000000 + i * 37 as "
    "volume, 90.25 + i % 97 / 8.0 as adj_close from n";

SQLCHAR* Text(const std::string& text) {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str()));
}

// What fetching costs anybody: every value as text into a buffer, so many rows at once.
class BareFetch {
public:
    explicit BareFetch(const std::string& connection) {
        SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &m_environment);
        SQLSetEnvAttr(m_environment, SQL_ATTR_ODBC_VERSION,
                      reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
        SQLAllocHandle(SQL_HANDLE_DBC, m_environment, &m_connection);
        SQLDriverConnect(m_connection, nullptr, Text(connection), SQL_NTS, nullptr, 0, nullptr,
                         SQL_DRIVER_NOPROMPT);
    }

    std::size_t Run(const std::string& statement, std::size_t rowsAtOnce) const {
        constexpr std::size_t cellBytes = 128;
        SQLHSTMT run = nullptr;
        SQLAllocHandle(SQL_HANDLE_STMT, m_connection, &run);
        SQLULEN rows = 0;
        SQLSetStmtAttr(run, SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(rowsAtOnce), 0);
        SQLSetStmtAttr(run, SQL_ATTR_ROWS_FETCHED_PTR, &rows, 0);
        SQLPrepare(run, Text(statement), SQL_NTS);
        SQLExecute(run);
        SQLSMALLINT columns = 0;
        SQLNumResultCols(run, &columns);
        const auto width = static_cast<std::size_t>(columns);
        std::vector<char> texts(width * rowsAtOnce * cellBytes);
        std::vector<SQLLEN> lengths(width * rowsAtOnce);
        for (std::size_t i = 0; i < width; ++i) {
            SQLBindCol(run, static_cast<SQLUSMALLINT>(i + 1), SQL_C_CHAR,
                       &texts[i * rowsAtOnce * cellBytes], cellBytes, &lengths[i * rowsAtOnce]);
        }
        std::size_t all = 0;
        while (SQL_SUCCEEDED(SQLFetch(run))) {
            all += rows;
        }
        SQLFreeHandle(SQL_HANDLE_STMT, run);
        return all;
    }

private:
    SQLHENV m_environment = nullptr;
    SQLHDBC m_connection = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
    using namespace std::chrono;
    const std::string file = std::filesystem::temp_directory_path() / "bench_database.db";
    const std::string connection = argc > 1 ? argv[1] : "Driver=SQLite3;Database=" + file;
    const std::string statement =
        argc > 2 ? argv[2]
                 : "select day as date, open, high, low, close, volume, adj_close from prices";
    std::filesystem::remove(file);
    RunCommand({"sqlite3", file, "create table prices as " + std::string(rowsOfSqlite)},
               seconds(20));
    const BareFetch bare(connection);
    Database database(connection, seconds(20));
    const FeedSpec spec{.name = "base",
                        .pace = {1000, seconds(1)},
                        .odbc = connection,
                        .statements = {.history = statement}};
    const FeedsFile feeds;
    const auto client = SystemWebClient("bench");
    Feed feed(spec, feeds, *client);
    const Today today{floor<days>(system_clock::now()), true};
    std::size_t rows = 0;
    Outcome outcome;
    const auto [row, array, table, history] = vtdl::bench::MedianSecondsInTurns(
        31, [&] { rows = bare.Run(statement, 1); }, [&] { rows = bare.Run(statement, 256); },
        [&] { database.Run(statement, "X", today.date); },
        [&] {
            outcome = feed.Fetch({Kind::History, "X"}, today);
        });
    std::filesystem::remove(file);
    if (outcome.state != State::Rows || outcome.dropped > 0) {
        std::printf("%s: %s\n", NameOf(outcome.state), outcome.why.c_str());
        return 1;
    }
    std::printf("%zu rows of a database\n", rows);
    for (const auto& [what, time] : {std::pair{"bare, a row at once", row},
                                     {"bare, 256 rows at once", array},
                                     {"as a table of texts", table},
                                     {"as files of the store", history}}) {
        std::printf("%-24s %7.2f ms  %.2f x a row at once, %.2f x 256\n", what, time * 1000,
                    time / row, time / array);
    }
    return 0;
}
