// Replies as services gave them on bad days, for clients that must survive them.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Http.h"

namespace quoteserver {

enum class Fault { None, Silent, Stall, Close, Reset, Length, Drip, Html, Chunks, Head };

struct NamedFault {
    std::string_view name;
    Fault fault;
    std::string_view meaning;
};

inline constexpr NamedFault namedFaults[] = {
    {"silent", Fault::Silent, "never answers"},
    {"stall", Fault::Stall, "sends half of the body, then nothing"},
    {"close", Fault::Close, "sends half of the body and closes the connection"},
    {"reset", Fault::Reset, "sends half of the body and resets the connection"},
    {"length", Fault::Length, "promises a longer body than it sends"},
    {"drip", Fault::Drip, "sends the body a byte a second"},
    {"html", Fault::Html, "sends an HTML page with status 200 instead"},
    {"chunks", Fault::Chunks, "sends chunks whose sizes are wrong"},
    {"head", Fault::Head, "sends 100 MB of head before the body"},
};

enum class Ending { Close, Reset, Hang };

// Bytes for the wire.
struct Piece {
    std::string bytes;
    std::size_t times = 1;
    std::size_t atOnce = std::string::npos;  // so many bytes in one go, with the pause between
    std::chrono::milliseconds pause{0};
};

struct BrokenReply {
    std::vector<Piece> pieces;
    Ending ending = Ending::Close;
};

// What the connection is to carry instead of the reply, head and all.
BrokenReply Break(const Reply& reply, Fault fault);

}  // namespace quoteserver
