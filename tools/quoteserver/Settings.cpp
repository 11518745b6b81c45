#include "Settings.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "Faults.h"

namespace quoteserver {
namespace {

constexpr const char* examples = R"(
Examples:
  quoteserver                                 the samples on port 8733
  quoteserver --data quotes --port 0          own files, on any free port (printed at the start)
  quoteserver --check quotes                  which lines of my files are damaged?
  quoteserver --data quotes --import aapl.csv bulk.txt   take over exports, TICKER.csv or of many tickers
  quoteserver --rows-per-page 0 --verbose     replies of any length, and a line a request
  quoteserver --fault stall --fault-after 1   one good reply, then such as break off
  quoteserver --check feeds.json --try chart:NVDA   what does this source say?
  quoteserver --feeds feeds.json              living sources, in the classic formats

Then, from another window:
  curl "http://127.0.0.1:8733/table.csv?s=AAPL&a=0&b=1&c=2008&d=11&e=31&f=2008&g=m")";

void DescribeFaults(CLI::App& app, Settings& settings) {
    std::string help = "Spoil the replies:";
    std::vector<std::string> names;
    for (const NamedFault& fault : namedFaults) {
        names.emplace_back(fault.name);
        help.append("\n").append(fault.name).append(": ").append(fault.meaning);
    }
    app.add_option("--fault", settings.fault, help)
        ->check(CLI::IsMember(names).description(""))
        ->type_name("NAME");
    app.add_option("--fault-after", settings.faultAfter,
                   "So many requests are answered properly first")
        ->capture_default_str();
    app.add_option("--fault-count", settings.faultCount,
                   "So many requests are spoiled then; 0 = all that follow")
        ->capture_default_str();
}

void Describe(CLI::App& app, Settings& settings) {
    app.footer(examples);
    app.set_version_flag("--version", "quoteserver " VTDL_VERSION);
    auto* data = app.add_option("--data", settings.data, "Folder of data files, one a ticker")
                     ->capture_default_str();
    auto* import =
        app.add_option("--import", settings.import.files,
                       "Add the days of these exports to the files of --data, print what was not "
                       "taken, line by line, and end")
            ->needs(data)
            ->type_name("FILE");
    app.add_option("--import-dates", settings.importDates,
                   "What 1/2/2024 means where no day of a file is above 12")
        ->needs(import)
        ->check(CLI::IsMember({"m/d/y", "d/m/y"}));
    app.add_option("--import-decimals", settings.importDecimals,
                   "The decimal sign of files that do not tell whether 3,105 is above 3000")
        ->needs(import)
        ->check(CLI::IsMember({"point", "comma"}));
    app.add_flag("--replace-rows", settings.import.replacesRows,
                 "Take rows of a day of which the folder has other values")
        ->needs(import);
    app.add_option("--host", settings.host, "Loopback address to listen on")->capture_default_str();
    app.add_option("--port", settings.port, "Port to listen on; 0 = any free one")
        ->capture_default_str();
    app.add_option("--rows-per-page", settings.rowsPerPage,
                   "Longest table of a reply, in rows; 0 = no limit, as with --feeds")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    app.add_option("--dates", settings.dates, "Form of dates in replies")
        ->check(CLI::IsMember({"iso", "d-mon-yy"}))
        ->capture_default_str();
    app.add_flag("--comment", settings.comment, "End tables with an HTML comment line");
    app.add_option("--comment-server", settings.commentServer, "Server named in that line")
        ->capture_default_str();
    app.add_option("--published-version", settings.publishedVersion,
                   "Version told by /files/VTDL.version")
        ->capture_default_str();
    app.add_option("--user", settings.account.user, "Account of the quotes that need one")
        ->capture_default_str();
    app.add_option("--password", settings.account.password, "Its password")->capture_default_str();
    auto* check =
        app.add_option(
               "--check", settings.check,
               "Read every file of this folder, or a file of feeds; print each damaged line or "
               "mistake, and end")
            ->type_name("FOLDER|FILE");
    app.add_option("--feeds", settings.feeds,
                   "Living sources: a JSON file that names them (docs/feeds.md). Own files are "
                   "then those of its \"data\"")
        ->type_name("FILE");
    app.add_option("--try", settings.tryOut,
                   "With --check FILE: ask one feed for one ticker and print what came of it")
        ->needs(check)
        ->type_name("FEED:TICKER");
    auto* record = app.add_option("--record", settings.record,
                                  "Keep the replies of living sources in this folder")
                       ->type_name("FOLDER");
    app.add_option("--record-limit", settings.recordLimit,
                   "Bytes of it on the disk, such as 500MB; the oldest replies go first")
        ->needs(record)
        ->transform(CLI::AsSizeValue(true))
        ->capture_default_str();
    auto* replay =
        app.add_option("--replay", settings.replay, "Answer from such a folder, and ask nobody")
            ->type_name("FOLDER");
    app.add_option("--replay-speed", settings.replaySpeed,
                   "1: as it went, from the first reply on; 60: an hour a minute. Without it, the "
                   "newest replies at once")
        ->needs(replay)
        ->check(CLI::PositiveNumber);
    app.add_option("--failure", settings.failure,
                   "What a client gets when living sources fail and no copy is left: a reset "
                   "connection, or status 503 for a proxy in front")
        ->check(CLI::IsMember({"reset", "503"}))
        ->capture_default_str();
    app.add_option("--raw", settings.raw,
                   "Answer /NAME with the bytes of that file of this folder, head and all, and "
                   "nothing if it is empty: replies as they were recorded, and odd ones")
        ->type_name("FOLDER");
    DescribeFaults(app, settings);
    app.add_flag("--verbose", settings.verbose, "Log each request to stderr");
    app.add_option("--log", settings.log,
                   "Write all messages to the end of this file; on Windows the console window goes")
        ->type_name("FILE");
#ifdef _WIN32
    app.add_flag("--stop", settings.isStop, "End those that run from this program's file");
#endif
}

}  // namespace

std::optional<int> ReadSettings(int argc, char** argv, Settings& settings) {
    CLI::App app("Serves CSV files in the formats of classic quote services.", "quoteserver");
    Describe(app, settings);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    settings.import.folder = settings.data;
    settings.import.dates = settings.importDates.empty()      ? SlashDates::Told
                            : settings.importDates == "m/d/y" ? SlashDates::MonthFirst
                                                              : SlashDates::DayFirst;
    settings.import.decimal = settings.importDecimals.empty()      ? '\0'
                              : settings.importDecimals == "point" ? '.'
                                                                   : ',';
    settings.isDataIdle = !settings.feeds.empty() && app.count("--data") > 0;
    if (!settings.feeds.empty() && app.count("--rows-per-page") == 0) {
        settings.rowsPerPage = 0;
    }
    return std::nullopt;
}

}  // namespace quoteserver
