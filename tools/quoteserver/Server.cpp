#include "Server.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/write.hpp>
#include <chrono>
#include <exception>
#include <iostream>

namespace quoteserver {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;
using net::ip::tcp;

namespace {

// The request is at fault and can be answered; after other errors there is nobody to answer.
bool IsHttpError(const error_code& error) {
    return error.category() == http::make_error_code(http::error::bad_method).category();
}

// The head alone answers HEAD, with the length the body would have.
net::awaitable<void> send(beast::tcp_stream& stream, http::response<http::string_body>& reply,
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

net::awaitable<void> Server::run() {
    for (;;) {
        error_code error;
        tcp::socket socket =
            co_await m_acceptor.async_accept(net::redirect_error(net::use_awaitable, error));
        if (!error) {
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

net::awaitable<void> Server::Serve(beast::tcp_stream stream) const {
    try {
        co_await ServeRequests(stream);
        co_await CloseGently(stream);
    } catch (const std::exception& e) {
        std::cerr << "quoteserver: a connection was given up: " << e.what() << '\n';
    }
}

net::awaitable<void> Server::ServeRequests(beast::tcp_stream& stream) const {
    beast::flat_buffer buffer;
    for (bool keepAlive = true; keepAlive;) {
        http::request_parser<http::string_body> parser;
        error_code error;
        co_await http::async_read(stream, buffer, parser,
                                  net::redirect_error(net::use_awaitable, error));
        if (error == http::error::end_of_stream || (error && !IsHttpError(error))) {
            co_return;
        }
        HttpReply answer = error ? Refusal(error) : reply(parser.get());
        const bool headOnly = parser.get().method() == http::verb::head;
        co_await send(stream, answer, headOnly, error);
        keepAlive = !error && answer.keep_alive();
    }
}

Server::HttpReply Server::reply(const HttpRequest& request) const {
    const Request asked{std::string(request.method_string()),
                        ParseTarget({request.target().data(), request.target().size()}),
                        request.body(), std::string(request[http::field::authorization])};
    HttpReply answer = Message(m_routes.Answer(asked), request.version(), request.keep_alive());
    if (m_options.verbose) {
        std::cerr << request.method_string() << ' ' << request.target() << ' '
                  << answer.result_int() << ' ' << answer.body().size() << '\n';
    }
    return answer;
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
    if (!reply.challenge.empty()) {
        answer.set(http::field::www_authenticate, reply.challenge);
    }
    answer.body() = std::move(reply.body);
    answer.prepare_payload();
    answer.keep_alive(keepAlive);
    return answer;
}

}  // namespace quoteserver
