// HTTP/1.0 and 1.1 over the route table: one thread, and one coroutine a connection.
#pragma once

// Asio's awaitable.hpp uses std::exchange without including it.
#include <utility>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <string>

#include "Faults.h"

namespace quoteserver {

// What has to happen before a request can be answered, and what comes of it.
struct Preparation {
    bool isFailed = false;     // there is nothing that could be sent
    bool saysFailure = false;  // which is told, not a reset
    std::string why = {};      // so
    std::vector<std::pair<std::string, std::string>> headers = {};  // of the reply
    std::string end = {};      // behind the body of a reply of status 200
    std::string caching = {};  // Cache-Control of such a reply
};

struct ServerOptions {
    std::string name;  // the Server header
    bool verbose = false;
    Fault fault = Fault::None;
    unsigned goodRequests = 0;    // so many requests are answered properly before the fault begins
    unsigned faultyRequests = 0;  // so many are spoiled then; 0 = all that follow
    std::chrono::milliseconds patience =
        std::chrono::seconds(15);  // with a client that says nothing
    std::function<boost::asio::awaitable<Preparation>(const Request&)> prepare = {};
    // Bytes for the wire in place of an answer; nothing where there are none.
    std::function<std::optional<BrokenReply>(const std::string& path)> script = {};
};

// The routes must outlive the server, and the server the run of its io_context.
class Server {
public:
    // Listens at once; throws boost::system::system_error if that is not possible.
    Server(boost::asio::io_context& context, const boost::asio::ip::tcp::endpoint& where,
           const Routes& routes, ServerOptions options);

    // With the port that was found when port 0 was asked for.
    boost::asio::ip::tcp::endpoint Endpoint() const { return m_acceptor.local_endpoint(); }

    boost::asio::awaitable<void> Run();

private:
    using HttpRequest = boost::beast::http::request<boost::beast::http::string_body>;
    using HttpReply = boost::beast::http::response<boost::beast::http::string_body>;

    boost::asio::awaitable<void> Serve(boost::beast::tcp_stream stream);
    void MakeRoom();
    boost::asio::awaitable<void> ServeRequests(boost::beast::tcp_stream& stream);
    static bool IsForThisMachine(const HttpRequest& request);
    bool IsTurnOfFault();
    boost::asio::awaitable<std::optional<Reply>> Answer(const HttpRequest& request) const;
    HttpReply Refusal(const boost::system::error_code& error) const;
    HttpReply Message(Reply reply, unsigned version, bool keepAlive) const;

    boost::asio::ip::tcp::acceptor m_acceptor;
    const Routes& m_routes;
    ServerOptions m_options;
    std::size_t m_connections = 0;
    std::list<boost::beast::tcp_stream*> m_idle;  // waiting for a request, the longest first
    std::size_t m_requests = 0;                   // how many came so far
};

}  // namespace quoteserver
