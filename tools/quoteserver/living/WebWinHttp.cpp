#include <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "Rows.h"
#include "living/Web.h"

namespace quoteserver::living {
namespace {

struct CloseHttp {
    void operator()(void* handle) const { WinHttpCloseHandle(handle); }
};
using HttpHandle = std::unique_ptr<void, CloseHttp>;

// Addresses and headers are checked to be ASCII where they are made.
std::wstring Wide(std::string_view text) { return {text.begin(), text.end()}; }

std::string Narrow(std::wstring_view text) {
    std::string narrow;
    for (const wchar_t c : text) {
        narrow += c < 128 ? static_cast<char>(c) : '?';
    }
    return narrow;
}

std::string HeaderOf(HINTERNET request, DWORD what) {
    wchar_t text[2048];
    DWORD size = sizeof text;
    return WinHttpQueryHeaders(request, what, WINHTTP_HEADER_NAME_BY_INDEX, text, &size, nullptr)
               ? Narrow({text, size / sizeof *text})
               : "";
}

struct Address {
    std::wstring host, resource;
    INTERNET_PORT port = 0;
    bool isSecure = false;

    bool IsSameServer(const Address& other) const {
        return host == other.host && port == other.port && isSecure == other.isSecure;
    }
};

bool Parse(const std::wstring& url, Address& address) {
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
    if (!WinHttpCrackUrl(url.c_str(), 0, 0, &parts)) {
        return false;
    }
    address.host.assign(parts.lpszHostName, parts.dwHostNameLength);
    address.resource.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
    address.resource.append(parts.lpszExtraInfo, parts.dwExtraInfoLength);
    address.port = parts.nPort;
    address.isSecure = parts.nScheme == INTERNET_SCHEME_HTTPS;
    return true;
}

WebAnswer Failed(const char* what) {
    const DWORD error = GetLastError();
    const char* why = error == ERROR_WINHTTP_TIMEOUT             ? "no answer in time"
                      : error == ERROR_WINHTTP_NAME_NOT_RESOLVED ? "its name is not known"
                      : error == ERROR_WINHTTP_CANNOT_CONNECT    ? "no connection"
                      : error == ERROR_WINHTTP_SECURE_FAILURE    ? "its certificate does not hold"
                                                                 : what;
    return {0, std::string(why) + " (error " + std::to_string(error) + ")"};
}

class WinHttpClient final : public WebClient {
public:
    explicit WinHttpClient(const std::string& agent)
        : m_session(WinHttpOpen(Wide(agent).c_str(), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0)) {}

    WebAnswer Fetch(const WebRequest& request) override {
        constexpr int mostRedirects = 5;
        const ULONGLONG end =
            GetTickCount64() + 1000ULL * static_cast<ULONGLONG>(request.timeout.count());
        Address first, current;
        if (!Parse(Wide(request.url), first)) {
            return {0, "an address that is none"};
        }
        current = first;
        for (int count = 0;; ++count) {
            std::wstring target;
            WebAnswer answer = FetchOnce(request, current, end, target);
            if (target.empty()) {
                return answer;
            }
            if (target.starts_with(L'/') && !target.starts_with(L"//")) {
                current.resource = target;
            } else if (!Parse(target, current) || !current.IsSameServer(first)) {
                return {0, "it redirects to another place"};
            }
            if (count == mostRedirects) {
                return {0, "it redirects without end"};
            }
        }
    }

private:
    WebAnswer FetchOnce(const WebRequest& request, const Address& address, ULONGLONG end,
                        std::wstring& target) const {
        const HttpHandle connection(
            WinHttpConnect(m_session.get(), address.host.c_str(), address.port, 0));
        const HttpHandle handle(
            connection
                ? WinHttpOpenRequest(connection.get(), L"GET", address.resource.c_str(), nullptr,
                                     WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                     address.isSecure ? WINHTTP_FLAG_SECURE : 0)
                : nullptr);
        if (!handle) {
            return Failed("the request cannot be made");
        }
        const int time = static_cast<int>(request.timeout.count() * 1000);
        WinHttpSetTimeouts(handle.get(), time, time, time, time);
        DWORD headTime = static_cast<DWORD>(time);  // which is apart, and 90 s unless given
        WinHttpSetOption(handle.get(), WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &headTime,
                         sizeof headTime);
        DWORD unwanted = WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES;
        WinHttpSetOption(handle.get(), WINHTTP_OPTION_DISABLE_FEATURE, &unwanted, sizeof unwanted);
        std::wstring headers = Wide(acceptedEncoding) + L"\r\n";
        for (const auto& [name, value] : request.headers) {
            headers += Wide(name + ": " + value + "\r\n");
        }
        if (!WinHttpSendRequest(handle.get(), headers.c_str(), static_cast<DWORD>(-1), nullptr, 0,
                                0, 0) ||
            !WinHttpReceiveResponse(handle.get(), nullptr)) {
            return Failed("no answer");
        }
        WebAnswer answer;
        DWORD status = 0, size = sizeof status;
        WinHttpQueryHeaders(handle.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                            WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, nullptr);
        if (status >= 300 && status <= 399) {
            target = Wide(HeaderOf(handle.get(), WINHTTP_QUERY_LOCATION));
        }
        answer.contentType = HeaderOf(handle.get(), WINHTTP_QUERY_CONTENT_TYPE);
        answer.retryAfter = HeaderOf(handle.get(), WINHTTP_QUERY_RETRY_AFTER);
        for (;;) {
            // What is asked for is waited for, all of it; so no more than is there.
            char block[16384];
            DWORD there = 0, read = 0;
            if (!WinHttpQueryDataAvailable(handle.get(), &there) ||
                !WinHttpReadData(handle.get(), block, std::min<DWORD>(there, sizeof block),
                                 &read)) {
                return Failed("the reply breaks off");
            }
            if (read == 0) {
                break;
            }
            answer.body.append(block, read);
            if (answer.body.size() > mostBytes) {
                return {0, "a reply of more than " + std::to_string(mostBytes) + " bytes"};
            }
            if (GetTickCount64() > end) {
                return {0, "no whole reply in time"};
            }
        }
        // Whoever takes a body for whole takes half a table for one.
        const std::string length = HeaderOf(handle.get(), WINHTTP_QUERY_CONTENT_LENGTH);
        if (!length.empty() && std::strtoull(length.c_str(), nullptr, 10) > answer.body.size()) {
            return {0, "the reply breaks off"};
        }
        answer.status = status;
        Unpack(answer, HeaderOf(handle.get(), WINHTTP_QUERY_CONTENT_ENCODING));
        return answer;
    }

    HttpHandle m_session;
};

}  // namespace

std::unique_ptr<WebClient> SystemWebClient(std::string agent) {
    return std::make_unique<WinHttpClient>(agent);
}

}  // namespace quoteserver::living
