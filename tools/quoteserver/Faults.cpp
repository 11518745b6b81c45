#include "Faults.h"

#include <cstdio>
#include <utility>

namespace quoteserver {
namespace {

std::string HeadStart(const Reply& reply) {
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " ";
    head.append(Reason(reply.status)).append("\r\n");
    head += "Connection: close\r\nContent-Type: " + reply.contentType + "\r\n";
    for (const auto& [name, value] : reply.headers) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
    return head;
}

std::string Head(const Reply& reply, std::size_t length) {
    return HeadStart(reply) + "Content-Length: " + std::to_string(length) + "\r\n\r\n";
}

BrokenReply Whole(std::string bytes) { return {{{std::move(bytes)}}, Ending::Close}; }

BrokenReply Half(const Reply& reply, Ending ending) {
    const std::string half = reply.body.substr(0, reply.body.size() / 2);
    return {{{Head(reply, reply.body.size()) + half}}, ending};
}

// The first chunk is right, the second ends too early, as if the front end had counted what another
// machine sent it.
BrokenReply WrongChunks(const Reply& reply) {
    const std::size_t half = reply.body.size() / 2;
    const auto chunk = [](std::size_t size, const std::string& bytes) {
        char line[32];
        std::snprintf(line, sizeof line, "%zx\r\n", size);
        return line + bytes + "\r\n";
    };
    const std::string first = reply.body.substr(0, half);
    const std::string second = reply.body.substr(half);
    return Whole(HeadStart(reply) + "Transfer-Encoding: chunked\r\n\r\n" +
                 (first.empty() ? "" : chunk(first.size(), first)) +
                 chunk(second.size() + 1000, second) + "0\r\n\r\n");
}

BrokenReply HugeHead(const Reply& reply) {
    constexpr std::size_t lineLength = 1000;
    constexpr std::size_t linesAPiece = 100;
    constexpr std::size_t pieces = 1000;
    std::string line = "X-Padding: ";
    line.append(lineLength - line.size() - 2, 'x').append("\r\n");
    std::string piece;
    for (std::size_t i = 0; i < linesAPiece; ++i) {
        piece += line;
    }
    const std::string end =
        "Content-Length: " + std::to_string(reply.body.size()) + "\r\n\r\n" + reply.body;
    return {{{HeadStart(reply)}, {std::move(piece), pieces}, {end}}, Ending::Close};
}

}  // namespace

BrokenReply Break(const Reply& reply, Fault fault) {
    switch (fault) {
        case Fault::Silent:
            return {{}, Ending::Hang};
        case Fault::Stall:
            return Half(reply, Ending::Hang);
        case Fault::Close:
            return Half(reply, Ending::Close);
        case Fault::Reset:
            return Half(reply, Ending::Reset);
        case Fault::Length:
            return Whole(Head(reply, reply.body.size() + 1000) + reply.body);
        case Fault::Drip:
            return {{{Head(reply, reply.body.size())}, {reply.body, 1, 1, std::chrono::seconds(1)}},
                    Ending::Close};
        case Fault::Html: {
            const Reply page{200, "text/html",
                             "<!DOCTYPE html>\n<html><head><title>Be right back</title></head>\n"
                             "<body><p>We are making our site better for you.</p></body></html>\n"};
            return Whole(Head(page, page.body.size()) + page.body);
        }
        case Fault::Chunks:
            return WrongChunks(reply);
        case Fault::Head:
            return HugeHead(reply);
        case Fault::None:
            break;
    }
    return Whole(Head(reply, reply.body.size()) + reply.body);
}

}  // namespace quoteserver
