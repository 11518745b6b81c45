#pragma once
// What the reply to the probe of a chart server tells: how good the server is, and its family.

#include <optional>
#include <string>
#include <string_view>

namespace vtdl::replies {

/// -1 for no table, else the number of lines that are daily rows with a d-Mon-yy date, as of
/// "^\d+-\w+-\d+,[\d\.]+,[\d\.]+,[\d\.]+,[\d\.]+,[\d]+,[\d\.]+$".
long YahooReplyValidityIndex(std::string_view reply);

/// The numbered servers of the service, from the comment in which it names the one that answered.
struct ServerFamily {
    std::string letters;
    std::string domain;

    bool operator==(const ServerFamily&) const = default;
};

/// The first match of "^<\!--\s+([a-z]+)(\d+)\.([\w\d\.]+)\s+.+-->$", in one pass over whatever a
/// server sends; nothing when the reply names no server. In both expressions a line ends at a line
/// feed or a carriage return, and a point stands for all but a line feed.
std::optional<ServerFamily> FindServerFamily(std::string_view reply);

}  // namespace vtdl::replies
