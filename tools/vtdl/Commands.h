// The tool's commands; each prints its answer or throws.
#pragma once

#include <string>
#include <vector>

namespace vtdl::host {

/// Looks at everything that a download needs, and says what to do about what is wrong: for other
/// programs of this user, whose VTDL_STRICT the text is. Returns the exit status: 1 when something
/// is wrong. With a file's name, writes a report for others there as well: that, the settings
/// without secrets, the ends of the logs, and what a quote server says of its sources.
int Doctor(const std::wstring& userStrict, const std::string& reportFile);

void ListSources();
void ListParameters(const std::string& source);

struct GetOptions {
    std::string source;
    std::vector<std::string> assignments;
    std::vector<std::string> sourceAssignments;  // of the source itself
    unsigned timeout = 0;                        // seconds a request may take; 0 = the settings'
    std::string format;                          // empty = by the output file's name
    std::string separator = ",";                 // of CSV: one of , ; | or "tab"
    std::string decimal = ".";                   // of CSV: . or ,
    bool isTextRaw = false;                      // of CSV
    std::string outputFile;                      // empty = standard output, unless there is a chart
    std::string chartFile;                       // empty = no chart
    bool isProgressWanted = false;
    bool isProgressUnwanted = false;
};

void Get(const GetOptions& options);

struct WatchOptions {
    std::string source;
    std::vector<std::string> assignments;
    std::vector<std::string> sourceAssignments;
    unsigned long interval = 0;  // milliseconds; 0 = the source's, or a second
    unsigned count = 0;          // 0 = until Ctrl-C
};

void Watch(const WatchOptions& options);

}  // namespace vtdl::host
