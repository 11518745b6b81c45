// What the command line says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Import.h"
#include "Services.h"

namespace quoteserver {

struct Settings {
    std::string data = "samples/data";
    bool isDataIdle = false;  // given, but own files are those that the file of feeds names
    std::string host = "127.0.0.1";
    std::uint16_t port = 8733;
    std::size_t rowsPerPage = 200;
    std::string dates = "iso";
    bool comment = false;
    std::string commentServer = "chart7.finance.example.net";
    std::string publishedVersion = VTDL_VERSION;
    Account account{"demo", "demo"};
    std::string check;
    Import import;
    std::string feeds, record, replay, tryOut, raw;
    std::string importDates, importDecimals;
    std::uint64_t recordLimit = 200'000'000;
    double replaySpeed = 0;  // 0 = at once
    std::string failure = "reset";
    std::string fault;
    unsigned faultAfter = 0;
    unsigned faultCount = 0;
    bool verbose = false;
    std::string log;
    bool isStop = false;
};

// Nothing, or the exit status of a program that is over: it was asked for help, or wrongly.
std::optional<int> ReadSettings(int argc, char** argv, Settings& settings);

}  // namespace quoteserver
