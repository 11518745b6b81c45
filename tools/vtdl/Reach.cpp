// The socket header has to come before the system's main one.
#include <winsock2.h>
#include <ws2tcpip.h>

#include "Reach.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace vtdl::host {
namespace {

constexpr std::chrono::seconds patience{3};

bool Answers(const std::wstring& host) {
    TIMEVAL limit{static_cast<long>(patience.count()), 0};
    const std::size_t colon = host.rfind(L':');
    const std::wstring port = colon == std::wstring::npos ? L"80" : host.substr(colon + 1);
    ADDRINFOW hints{};
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW* found = nullptr;
    if (GetAddrInfoW(host.substr(0, colon).c_str(), port.c_str(), &hints, &found) != 0)
        return false;
    bool isConnected = false;
    for (const ADDRINFOW* one = found; one && !isConnected; one = one->ai_next) {
        const SOCKET socket = ::socket(one->ai_family, SOCK_STREAM, IPPROTO_TCP);
        u_long isNonBlocking = 1;
        ioctlsocket(socket, static_cast<long>(FIONBIO), &isNonBlocking);
        connect(socket, one->ai_addr, static_cast<int>(one->ai_addrlen));
        // Windows tells a refusal in the third set.
        fd_set writable, refused;
        FD_ZERO(&writable);
        FD_SET(socket, &writable);
        refused = writable;
        int error = 0;
        int size = sizeof error;
        isConnected =
            select(0, nullptr, &writable, &refused, &limit) > 0 && FD_ISSET(socket, &writable) &&
            getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) == 0 &&
            error == 0;
        closesocket(socket);
    }
    FreeAddrInfoW(found);
    return isConnected;
}

// Shared with threads that may still look a name up when nobody waits any more.
struct Answered {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<bool> hosts;
    std::size_t open = 0;
};

}  // namespace

std::vector<bool> Answering(const std::vector<std::wstring>& hosts) {
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return std::vector<bool>(hosts.size());
    const auto answered = std::make_shared<Answered>();
    answered->hosts.resize(hosts.size());
    answered->open = hosts.size();
    for (std::size_t i = 0; i < hosts.size(); ++i)
        std::thread([answered, i, host = hosts[i]] {
            const bool isThere = Answers(host);
            const std::lock_guard lock(answered->mutex);
            answered->hosts[i] = isThere;
            --answered->open;
            answered->changed.notify_one();
        }).detach();
    std::unique_lock lock(answered->mutex);
    answered->changed.wait_for(lock, patience, [&] { return answered->open == 0; });
    return answered->hosts;  // the sockets' library stays: a thread may use it yet
}

}  // namespace vtdl::host
