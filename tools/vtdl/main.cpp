// vtdl: downloads market data from the command line with the registered library.
#include <windows.h>

#include <shellapi.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "Commands.h"
#include "Console.h"
#include "Host.h"
#include "Values.h"
#include "automation/Environment.h"

namespace {

using namespace vtdl::host;

constexpr const char* examples = R"(Examples:
  vtdl sources
  vtdl parameters YAHOOHIST
  vtdl get YAHOOHIST TICKER=AAPL STARTDATE=2008-09-15 ENDDATE=2008-10-14
  vtdl get YAHOODIVIDENDS TICKER=SPY STARTDATE=2008-01-01 --format csv --output spy.csv
  vtdl watch YAHOOREALTIME TICKER=GOOG --interval 5000

Exit status: 0, 1 if the download failed or brought no rows, 2 for wrong arguments.
Errors inside the library go to "Error Log.txt" in the current folder, or in the data folder where the
current one cannot be written to.)";

constexpr const char* sourcesExamples = R"(Example:
  vtdl sources)";

constexpr const char* doctorExamples = R"(Exit status: 0 when all is well, else 1.

Examples:
  vtdl doctor
  vtdl doctor --report report.txt)";

constexpr const char* parametersExamples = R"(Example:
  vtdl parameters YAHOOHIST)";

constexpr const char* getExamples =
    R"(Names and choices are accepted in any case, with an underscore for a blank. Dates are
written 2008-01-31, numbers 12.5, truth values True and False. With several blocks CSV has a first
column BLOCK: CALLS; of several tickers AAPL, or AAPL CALLS where a ticker has several blocks.
JSON has the same names as keys. A table shows six decimals at most, CSV and JSON all digits.

Examples:
  vtdl get YAHOOHIST TICKER=AAPL STARTDATE=2008-09-15 ENDDATE=2008-10-14
  vtdl get YAHOOHIST TICKER=AAPL STARTDATE=2008-01-01 ENDDATE=2008-10-14 PERIODICITY=MONTHLY
  vtdl get YAHOOHIST TICKER=INTC STARTDATE=2003-07-01 ENDDATE=2003-07-31 ADJUST_VALUES=False
  vtdl get YAHOODIVIDENDS TICKER=SPY STARTDATE=2008-01-01 ENDDATE=2010-12-31 --format json
  vtdl get YAHOOHIST "TICKER=^VIX" STARTDATE=2008-01-01 --format csv --output vix.csv
  vtdl get CBOE TICKER=AAPL --format csv --separator ; --decimal , --output chain.csv
  vtdl get YAHOOHIST TICKER=AAPL,INTC STARTDATE=2003-07-01 --format csv --output {ticker}.csv
  vtdl get PCQUOTE TICKER=GOOG --source-parameter USER=demo PASSWORD=demo
  vtdl get YAHOOHIST TICKER=AAPL STARTDATE=2007-01-01 ENDDATE=2008-10-14 --chart aapl.svg)";

constexpr const char* watchExamples =
    R"(Each update is shown: in place on a terminal, else below the last one with the time. Ctrl-C
ends it; the exit status is then 0. With --count it is 1 if no update brought anything. A session
with a PERIOD takes that long to end; a second Ctrl-C does not wait.

Examples:
  vtdl watch YAHOOREALTIME TICKER=GOOG
  vtdl watch YAHOOREALTIME TICKER=GOOG --interval 5000 --count 3
  vtdl watch DDE SERVICE=EXCEL TOPIC=Sheet1 ITEM=R1C1)";

struct Arguments {
    std::string source;
    GetOptions get;
    WatchOptions watch;
    std::wstring userStrict;
    std::string reportFile;
    int status = 0;
};

void DescribeSources(CLI::App& app) {
    CLI::App* command = app.add_subcommand("sources", "List the data sources");
    command->footer(sourcesExamples);
    command->callback(ListSources);
}

void DescribeParameters(CLI::App& app, Arguments& arguments) {
    CLI::App* command =
        app.add_subcommand("parameters", "List what a source wants to know, and its columns");
    command->footer(parametersExamples);
    command->add_option("SOURCE", arguments.source, "Name of the source")->required();
    command->callback([&arguments] { ListParameters(arguments.source); });
}

void AddSourceParameters(CLI::App& command, std::vector<std::string>& assignments) {
    command.add_option("--source-parameter", assignments,
                       "NAME=VALUE of the source itself, such as an account's USER and PASSWORD, "
                       "for this call alone; stands last");
}

void DescribeGet(CLI::App& app, GetOptions& options) {
    CLI::App* command = app.add_subcommand("get", "Download, and print the rows");
    command->footer(getExamples);
    command->add_option("SOURCE", options.source, "Name of the source")->required();
    command->add_option("NAME=VALUE", options.assignments,
                        "Parameters; `vtdl parameters SOURCE` lists them; several tickers, "
                        "TICKER=A,B, bring blocks that are called after them");
    AddSourceParameters(*command, options.sourceAssignments);
    command
        ->add_option("--timeout", options.timeout,
                     "Seconds that a request may take, above the settings' timeout and total")
        ->check(CLI::Range(1, 100000));
    command
        ->add_option("--format", options.format,
                     "table, csv or json; otherwise what --output ends with, else table")
        ->transform(CLI::IsMember({"table", "csv", "json"}, CLI::ignore_case));
    command->add_option("--separator", options.separator, "Between the fields of CSV")
        ->transform(CLI::IsMember({",", ";", "|", "tab"}, CLI::ignore_case))
        ->capture_default_str();
    command->add_option("--decimal", options.decimal, "Decimal separator of the numbers in CSV")
        ->check(CLI::IsMember({".", ","}))
        ->capture_default_str();
    command->add_flag("--raw-text", options.isTextRaw,
                      "No apostrophe in CSV before texts that a spreadsheet would run as formulas");
    command->add_option("--output", options.outputFile,
                        "File to write, completely or not at all, instead of printing; with "
                        "{ticker} in its name one a ticker");
    command->add_option("--chart", options.chartFile,
                        "SVG file of closing prices and volumes, written likewise");
    CLI::Option* progress = command->add_flag("--progress", options.isProgressWanted,
                                              "Show a progress bar on standard error");
    command
        ->add_flag("--no-progress", options.isProgressUnwanted, "Show none, not even on a terminal")
        ->excludes(progress);
    command->callback([&options] { Get(options); });
}

void DescribeWatch(CLI::App& app, WatchOptions& options) {
    CLI::App* command = app.add_subcommand("watch", "Download again and again");
    command->footer(watchExamples);
    command->add_option("SOURCE", options.source, "Name of the source")->required();
    command->add_option("NAME=VALUE", options.assignments,
                        "Parameters; `vtdl parameters SOURCE` lists them");
    AddSourceParameters(*command, options.sourceAssignments);
    command
        ->add_option("--interval", options.interval,
                     "Milliseconds between updates, otherwise the source's PERIOD or 1000")
        ->check(CLI::Range(1, 86400000));
    command->add_option("--count", options.count, "End after so many updates")
        ->check(CLI::Range(1, 1000000000));
    command->callback([&options] { Watch(options); });
}

void DescribeDoctor(CLI::App& app, Arguments& arguments) {
    CLI::App* command = app.add_subcommand(
        "doctor", "Look at what a download needs, and say what to do about what is wrong");
    command->footer(doctorExamples);
    command->add_option(
        "--report", arguments.reportFile,
        "File to write for a bug report: that, versions, settings without secrets, the "
        "ends of the logs, the last failures of a quote server's sources");
    command->callback(
        [&arguments] { arguments.status = Doctor(arguments.userStrict, arguments.reportFile); });
}

// The command line in UTF-8; main's own arguments have lost what the code page does not have.
std::vector<std::string> CommandLine() {
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    // CLI11 takes them last one first, and without the program's name.
    for (int i = count - 1; i >= 1; --i) arguments.push_back(ToUtf8(words[i]));
    LocalFree(words);
    return arguments;
}

// Who runs a command waits for its end, not for a question: the library's reports go to the log
// unless the user wants otherwise, and a broken reply is a failure. Returns what the user has said
// about strict replies.
std::wstring ConfigureLibrary() {
    constexpr wchar_t actions[] = L"VTDL_ACTIONS", strict[] = L"VTDL_STRICT";
    std::wstring userStrict = vtdl::EnvironmentText(strict);
    if (vtdl::EnvironmentText(actions).empty()) SetEnvironmentVariableW(actions, L"2");
    SetEnvironmentVariableW(strict, L"1");
    return userStrict;
}

int Run(std::wstring userStrict) {
    Arguments arguments;
    arguments.userStrict = std::move(userStrict);
    CLI::App app("Downloads market data with the Vestora Download Library.", "vtdl");
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", "vtdl " VTDL_VERSION);
    app.footer(examples);
    app.failure_message([](const CLI::App*, const CLI::Error& e) {
        return std::string("vtdl: ") + e.what() + "\nRun with --help for more information.\n";
    });
    app.require_subcommand(1);
    DescribeSources(app);
    DescribeParameters(app, arguments);
    DescribeGet(app, arguments.get);
    DescribeWatch(app, arguments.watch);
    DescribeDoctor(app, arguments);
    try {
        app.parse(CommandLine());
        return arguments.status;
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    } catch (const Failure& e) {
        std::cerr << "vtdl: " << Printable(e.what()) << '\n';
        return e.Status();
    } catch (const std::exception& e) {
        std::cerr << "vtdl: " << Printable(e.what()) << '\n';
        return 1;
    }
}

}  // namespace

int main() {
    const Console console;
    return Run(ConfigureLibrary());
}
