#include "Reach.h"

#include <wininet.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "Host.h"
#include "Services.h"
#include "automation/UniqueHandle.h"
#include "transport/SecurityFault.h"

namespace vtdl::host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{3};
constexpr std::size_t longestHead = 16384, longestBody = 4 << 20;
constexpr const char* nameNotKnown = "its name is not known";
constexpr const char* takesNone = "it takes no connections";
constexpr const char* noAnswer = "it does not answer within 3 s";

/// One that never waits by itself.
class Socket {
public:
    explicit Socket(int family) : m_socket(::socket(family, SOCK_STREAM, IPPROTO_TCP)) {
        u_long isNonBlocking = 1;
        ioctlsocket(m_socket, static_cast<long>(FIONBIO), &isNonBlocking);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() { closesocket(m_socket); }

    SOCKET get() const { return m_socket; }

    enum class State { Silent, Ready, Failed };

    /// Whether it can be written to, or read from.
    State Await(bool isWriting, Clock::time_point end) const {
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now());
        if (left.count() <= 0) return State::Silent;
        TIMEVAL limit{static_cast<long>(left.count() / 1000000),
                      static_cast<long>(left.count() % 1000000)};
        fd_set wanted, failed;
        FD_ZERO(&wanted);
        FD_SET(m_socket, &wanted);
        failed = wanted;  // Windows tells a refusal there
        if (select(0, isWriting ? nullptr : &wanted, isWriting ? &wanted : nullptr, &failed,
                   &limit) <= 0)
            return State::Silent;
        int error = 0;
        int size = sizeof error;
        const bool isGood = FD_ISSET(m_socket, &wanted) &&
                            getsockopt(m_socket, SOL_SOCKET, SO_ERROR,
                                       reinterpret_cast<char*>(&error), &size) == 0 &&
                            error == 0;
        return isGood ? State::Ready : State::Failed;
    }

private:
    SOCKET m_socket;
};

// A server that is behind a proxy, or is something else, answers this with a head, too.
std::string AnswerFrom(const Socket& socket, const std::string& host, bool isBodyWanted,
                       Clock::time_point end) {
    const std::size_t longest = isBodyWanted ? longestBody : longestHead;
    const std::string request = std::string(isBodyWanted ? "GET" : "HEAD") +
                                " /status?copies=0 HTTP/1.0\r\nHost: " + host + "\r\n\r\n";
    send(socket.get(), request.data(), static_cast<int>(request.size()), 0);
    std::string head;
    while (head.size() < longest && (isBodyWanted || head.find("\r\n\r\n") == head.npos) &&
           socket.Await(false, end) == Socket::State::Ready) {
        char block[4096];
        const int count = recv(socket.get(), block, sizeof block, 0);
        if (count <= 0) break;
        head.append(block, static_cast<std::size_t>(count));
    }
    return head;
}

// The system's client speaks TLS, and takes the certificates that it takes for the library.
HostAnswer AskSecurely(std::string host, bool isBodyWanted) {
    using Handle = automation::UniqueHandle<HINTERNET, InternetCloseHandle>;
    const std::size_t colon = std::min(host.rfind(':'), host.size());
    const std::string port = host.substr(std::min(colon + 1, host.size()));
    host.resize(colon);
    const Handle session(InternetOpenW(nullptr, INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    const Handle connection(InternetConnectA(
        session.get(), host.c_str(),
        static_cast<INTERNET_PORT>(port.empty() ? INTERNET_DEFAULT_HTTPS_PORT : std::stoi(port)),
        nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    const Handle request(HttpOpenRequestW(connection.get(), isBodyWanted ? L"GET" : L"HEAD",
                                          L"/status?copies=0", L"HTTP/1.0", nullptr, nullptr,
                                          INTERNET_FLAG_SECURE | INTERNET_FLAG_RELOAD |
                                              INTERNET_FLAG_NO_AUTO_REDIRECT |
                                              INTERNET_FLAG_NO_COOKIES | INTERNET_FLAG_NO_UI,
                                          0));
    if (!HttpSendRequestW(request.get(), nullptr, 0, nullptr, 0)) {
        const DWORD error = GetLastError();
        const std::string fault = SecurityFault(error);
        return {!fault.empty()                              ? "its " + fault
                : error == ERROR_INTERNET_NAME_NOT_RESOLVED ? nameNotKnown
                                                            : takesNone,
                ""};
    }
    std::string answer(longestHead, '\0');
    auto size = static_cast<DWORD>(answer.size());
    const BOOL isThere =
        HttpQueryInfoA(request.get(), HTTP_QUERY_RAW_HEADERS_CRLF, answer.data(), &size, nullptr);
    answer.resize(isThere ? size : 0);
    char block[4096];
    while (isBodyWanted && answer.size() < longestBody &&
           InternetReadFile(request.get(), block, sizeof block, &size) && size > 0)
        answer.append(block, size);
    return {"", answer};
}

// Tells what is known as soon as it is.
void Ask(const std::wstring& host, bool isBodyWanted, Clock::time_point end,
         const std::function<void(HostAnswer)>& tell) {
    const std::string text = ToUtf8(host);
    if (!IsHost(text)) return tell({nameNotKnown, ""});
    if (HostIn(text).isSecure)
        return tell(AskSecurely(std::string(HostIn(text).name), isBodyWanted));
    const std::size_t colon = host.rfind(L':');
    const std::wstring port = colon == std::wstring::npos ? L"80" : host.substr(colon + 1);
    ADDRINFOW hints{};
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW* found = nullptr;
    if (GetAddrInfoW(host.substr(0, colon).c_str(), port.c_str(), &hints, &found) != 0)
        return tell({nameNotKnown, ""});
    const std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)> addresses(found, FreeAddrInfoW);
    bool isRefused = false;
    for (const ADDRINFOW* one = found; one; one = one->ai_next) {
        const Socket socket(one->ai_family);
        // It fails at once, or says that it takes a while: waiting tells either.
        (void)connect(socket.get(), one->ai_addr, static_cast<int>(one->ai_addrlen));
        const Socket::State state = socket.Await(true, end);
        if (state == Socket::State::Ready) {
            tell({});
            return tell({"", AnswerFrom(socket, ToUtf8(host), isBodyWanted, end)});
        }
        isRefused |= state == Socket::State::Failed;
    }
    tell({isRefused ? takesNone : noAnswer, ""});
}

// Shared with threads that may still look a name up when nobody waits any more.
struct Answers {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<HostAnswer> all;
    std::size_t open = 0;
};

}  // namespace

std::vector<HostAnswer> AskHosts(const std::vector<std::wstring>& hosts, bool isBodyWanted) {
    WSADATA data;
    const Clock::time_point end = Clock::now() + patience;
    const auto answers = std::make_shared<Answers>();
    answers->all.resize(hosts.size(), {noAnswer, ""});
    answers->open = hosts.size();
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return answers->all;
    for (std::size_t i = 0; i < hosts.size(); ++i)
        std::thread([answers, i, end, isBodyWanted, host = hosts[i]] {
            Ask(host, isBodyWanted, end, [&](HostAnswer answer) {
                const std::lock_guard lock(answers->mutex);
                answers->all[i] = std::move(answer);
            });
            const std::lock_guard lock(answers->mutex);
            --answers->open;
            answers->changed.notify_one();
        }).detach();
    std::unique_lock lock(answers->mutex);
    answers->changed.wait_until(lock, end, [&] { return answers->open == 0; });
    return answers->all;  // the sockets' library stays: a thread may use it yet
}

}  // namespace vtdl::host
