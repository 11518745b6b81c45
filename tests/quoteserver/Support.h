#pragma once
// What the quote server's tests share: a folder of their own, and a server in a thread of its own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <filesystem>
#include <fstream>
#include <thread>

#include "Server.h"

namespace quoteserver {

// A line of a test's data: what an editor would not show stands there by its name.
inline std::string Unescaped(std::string text) {
    for (const auto& [name, bytes] : {std::pair{"\\r", "\r"},
                                      {"\\t", "\t"},
                                      {"\\BOM", "\xEF\xBB\xBF"},
                                      {"\\UTF-16", "\xFF\xFE"}})
        for (std::size_t at; (at = text.find(name)) != text.npos;)
            text.replace(at, std::string_view(name).size(), bytes);
    return text;
}

class FolderTest : public testing::Test {
protected:
    FolderTest() {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directory(m_folder);
    }
    ~FolderTest() override { std::filesystem::remove_all(m_folder); }

    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(m_folder / name, std::ios::binary) << text;
    }

    const std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("quoteserver-test-" + std::to_string(getpid()));
};

// On a free port.
class RunningServer {
public:
    RunningServer(Routes routes, ServerOptions options)
        : m_routes(std::move(routes)),
          m_server(m_context, {boost::asio::ip::address_v4::loopback(), 0}, m_routes,
                   std::move(options)) {
        boost::asio::co_spawn(m_context, m_server.Run(), boost::asio::detached);
        m_thread = std::thread([this] { m_context.run(); });
    }
    ~RunningServer() {
        m_context.stop();
        m_thread.join();
    }

    unsigned short Port() const { return m_server.Endpoint().port(); }

private:
    const Routes m_routes;
    boost::asio::io_context m_context{1};
    Server m_server;
    std::thread m_thread;
};

}  // namespace quoteserver
