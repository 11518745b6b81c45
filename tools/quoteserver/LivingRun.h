// What --feeds, --record and --replay make of a run of the program.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "Server.h"
#include "Settings.h"
#include "living/Keeper.h"

namespace quoteserver {

// What a proxy may do with a reply that is made of files alone.
boost::asio::awaitable<Preparation> PrepareFromFiles(const Request& request);

// The living sources of a run, if there are any.
struct LivingRun {
    living::FeedsFile feeds;
    bool hasComment, saysFailure;
    std::optional<DataFolder> own;
    bool hasCopies;  // of an earlier run
    living::Keeper keeper;

    // Prints the mistakes of the file of feeds, and throws std::runtime_error when there are any.
    LivingRun(const Settings& settings, boost::asio::io_context& context);

    boost::asio::awaitable<Preparation> Prepare(const Request& request);

    // Who is asked for what, so that a user can be told without asking them:
    // "history from tiingo, chart; options from cboe".
    std::string LineUps() const;

    // Which feeds have recordings, and whether copies stand before them.
    void TellReplay(const std::string& folder, std::ostream& out) const;
};

// --check of a file of feeds, and --try: returns the exit status.
int CheckFeeds(const Settings& settings);

}  // namespace quoteserver
