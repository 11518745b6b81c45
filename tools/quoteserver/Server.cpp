#include "Server.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/write.hpp>
#include <chrono>
#include <exception>
#include <iostream>
#include <optional>

namespace quoteserver {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;
using net::ip::tcp;

namespace {

constexpr std::size_t mostConnections = 512;
constexpr std::chrono::seconds sendingTime(120);  // of a reply, to a client that hardly reads

// The request is at fault and can be answered; after other errors there is nobody to answer.
bool IsHttpError(const error_code& error) {
    return error.category() == http::make_error_code(http::error::bad_method).category();
}

// The head alone answers HEAD, with the length the body would have.
net::awaitable<void> Send(beast::tcp_stream& stream, http::response<http::string_body>& reply,
                          bool headOnly, error_code& error) {
    http::response_serializer<http::string_body> serializer{reply};
    if (headOnly) {
        co_await http::async_write_header(stream, serializer,
                                          net::redirect_error(net::use_awaitable, error));
    } else {
        co_await http::async_write(stream, serializer,
                                   net::redirect_error(net::use_awaitable, error));
    }
}

// A socket closed with unread bytes in it is reset, and the client may lose the reply it was just
// sent. So the rest of what the client has to say is read, for a moment.
net::awaitable<void> CloseGently(beast::tcp_stream& stream) {
    error_code error;
    stream.socket().shutdown(tcp::socket::shutdown_send, error);
    stream.expires_after(std::chrono::seconds(1));
    char unread[4096];
    while (!error) {
        co_await stream.async_read_some(net::buffer(unread),
                                        net::redirect_error(net::use_awaitable, error));
    }
}

// Until the client goes away. Whatever it says meanwhile is not listened to.
net::awaitable<void> Hang(beast::tcp_stream& stream) {
    error_code error;
    char unread[4096];
    while (!error) {
        co_await stream.async_read_some(net::buffer(unread),
                                        net::redirect_error(net::use_awaitable, error));
    }
}

net::awaitable<void> Pause(beast::tcp_stream& stream, std::chrono::milliseconds time) {
    net::steady_timer timer(stream.get_executor(), time);
    co_await timer.async_wait(net::use_awaitable);
}

net::awaitable<void> SendPiece(beast::tcp_stream& stream, const Piece& piece) {
    for (std::size_t i = 0; i < piece.times; ++i) {
        for (std::string_view rest = piece.bytes; !rest.empty();) {
            const std::string_view part = rest.substr(0, piece.atOnce);
            rest.remove_prefix(part.size());
            co_await net::async_write(stream, net::buffer(part), net::use_awaitable);
            if (piece.pause.count() != 0) {
                co_await Pause(stream, piece.pause);
            }
        }
    }
}

net::awaitable<void> SendBroken(beast::tcp_stream& stream, const BrokenReply& reply) {
    for (const Piece& piece : reply.pieces) {
        co_await SendPiece(stream, piece);
    }
    if (reply.ending == Ending::Hang) {
        co_await Hang(stream);
    } else if (reply.ending == Ending::Reset) {
        // A moment, for a reset may overtake what was sent, and one that comes at once is taken for
        // an empty reply by some clients; then closing without lingering resets.
        co_await Pause(stream, std::chrono::milliseconds(300));
        stream.socket().set_option(net::socket_base::linger(true, 0));
        stream.socket().close();
    }
}

}  // namespace

Server::Server(net::io_context& context, const tcp::endpoint& where, const Routes& routes,
               ServerOptions options)
    : m_acceptor(context), m_routes(routes), m_options(std::move(options)) {
    m_acceptor.open(where.protocol());
#ifndef _WIN32
    // Lets a restarted server have its port back at once. On Windows the option means that two
    // servers may share a port.
    m_acceptor.set_option(net::socket_base::reuse_address(true));
#endif
    m_acceptor.bind(where);
    m_acceptor.listen();
}

net::awaitable<void> Server::Run() {
    for (;;) {
        error_code error;
        tcp::socket socket =
            co_await m_acceptor.async_accept(net::redirect_error(net::use_awaitable, error));
        if (!error) {
            MakeRoom();
            net::co_spawn(m_acceptor.get_executor(), Serve(beast::tcp_stream(std::move(socket))),
                          net::detached);
            continue;
        }
        // Out of descriptors, most likely: that passes when connections end.
        std::cerr << "quoteserver: no connection: " << error.message() << '\n';
        net::steady_timer pause(m_acceptor.get_executor(), std::chrono::milliseconds(100));
        co_await pause.async_wait(net::use_awaitable);
    }
}

// Clients that only wait keep nobody from an answer: the one that waits longest goes first.
void Server::MakeRoom() {
    if (m_connections < mostConnections || m_idle.empty()) {
        return;
    }
    m_idle.front()->close();
    m_idle.pop_front();
}

net::awaitable<void> Server::Serve(beast::tcp_stream stream) {
    struct Count {
        std::size_t& connections;
        explicit Count(std::size_t& all) : connections(all) { ++connections; }
        ~Count() { --connections; }
    } const count(m_connections);
    if (m_connections > mostConnections) {
        co_return;
    }
    try {
        co_await ServeRequests(stream);
        co_await CloseGently(stream);
    } catch (const std::exception& e) {
        std::cerr << "quoteserver: a connection was given up: " << e.what() << '\n';
    }
}

net::awaitable<void> Server::ServeRequests(beast::tcp_stream& stream) {
    beast::flat_buffer buffer;
    for (bool keepAlive = true; keepAlive;) {
        http::request_parser<http::string_body> parser;
        error_code error;
        m_idle.push_back(&stream);
        stream.expires_after(m_options.patience);
        co_await http::async_read(stream, buffer, parser,
                                  net::redirect_error(net::use_awaitable, error));
        m_idle.remove(&stream);
        if (error == http::error::end_of_stream || (error && !IsHttpError(error))) {
            co_return;
        }
        const HttpRequest& request = parser.get();
        if (!error && m_options.script && IsForThisMachine(request)) {
            const std::string target(request.target());
            if (const auto reply = m_options.script(target.substr(0, target.find('?')))) {
                stream.expires_never();
                co_await SendBroken(stream, *reply);
                co_return;
            }
        }
        std::optional<Reply> answer;
        if (!error) {
            stream.expires_never();
            answer = co_await Answer(request);
            if (!answer) {
                co_await SendBroken(stream, {{}, Ending::Reset});
                co_return;
            }
        }
        if (!error && IsTurnOfFault()) {
            co_await SendBroken(stream, Break(*answer, m_options.fault));
            co_return;
        }
        HttpReply reply =
            error ? Refusal(error)
                  : Message(std::move(*answer), request.version(), request.keep_alive());
        stream.expires_after(sendingTime);
        const bool headOnly = request.method() == http::verb::head;
        co_await Send(stream, reply, headOnly, error);
        keepAlive = !error && reply.keep_alive();
    }
}

bool Server::IsForThisMachine(const HttpRequest& request) {
    const auto host = request.find(http::field::host);
    return host == request.end() || IsLoopbackName({host->value().data(), host->value().size()});
}

bool Server::IsTurnOfFault() {
    if (m_options.fault == Fault::None) {
        return false;
    }
    const std::size_t request = m_requests++;
    return request >= m_options.goodRequests &&
           (m_options.faultyRequests == 0 ||
            request < std::size_t{m_options.goodRequests} + m_options.faultyRequests);
}

// Nothing when the only honest answer is none.
net::awaitable<std::optional<Reply>> Server::Answer(const HttpRequest& request) const {
    const Request asked{std::string(request.method_string()),
                        ParseTarget({request.target().data(), request.target().size()}),
                        request.body(),
                        std::string(request[http::field::authorization]),
                        std::string(request["X-Forwarded-For"]),
                        std::string(request[http::field::if_none_match])};
    std::optional<Reply> reply;
    if (!IsForThisMachine(request)) {
        reply = ErrorPage(421, "Only a loopback address is served.");
    } else {
        Preparation prepared;
        if (m_options.prepare) {
            prepared = co_await m_options.prepare(asked);
        }
        if (!prepared.isFailed) {
            reply = m_routes.Answer(asked);
            reply->body += reply->status == 200 ? prepared.end : "";
            if (!prepared.caching.empty() && (reply->status == 200 || reply->status == 304)) {
                prepared.headers.emplace_back("Cache-Control", prepared.caching);
            }
            reply->headers.insert(reply->headers.end(), prepared.headers.begin(),
                                  prepared.headers.end());
        } else if (prepared.saysFailure) {
            reply = ErrorPage(503, "Not to be had now. " + prepared.why);
            reply->headers = {{"Retry-After", "30"}};
        }
    }
    if (m_options.verbose) {
        std::string target(request.target());
        std::ranges::replace_if(
            target, [](char c) { return c < ' ' || c > '~'; }, '?');
        std::cerr << request.method_string() << ' ' << target << ' '
                  << (reply
                          ? std::to_string(reply->status) + " " + std::to_string(reply->body.size())
                          : "reset")
                  << '\n';
    }
    co_return reply;
}

// For a request that could not be read; where the next one would begin is not known either.
Server::HttpReply Server::Refusal(const error_code& error) const {
    const unsigned status = error == http::error::header_limit ? 431
                            : error == http::error::body_limit ? 413
                                                               : 400;
    if (m_options.verbose) {
        std::cerr << "unreadable request: " << error.message() << ' ' << status << '\n';
    }
    return Message(ErrorPage(status, error.message()), 11, false);
}

Server::HttpReply Server::Message(Reply reply, unsigned version, bool keepAlive) const {
    HttpReply answer{static_cast<http::status>(reply.status), version};
    answer.set(http::field::server, m_options.name);
    answer.set(http::field::content_type, reply.contentType);
    for (const auto& [name, value] : reply.headers) {
        answer.set(name, value);
    }
    answer.body() = std::move(reply.body);
    if (reply.status != 304) {  // which says nothing of a body
        answer.prepare_payload();
    }
    answer.keep_alive(keepAlive);
    return answer;
}

}  // namespace quoteserver
