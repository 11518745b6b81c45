// One request to a service of the web, over the system's own client: libcurl, or WinHTTP on
// Windows. Certificates are checked, the system's proxy is used, redirects stay on their host, and
// a body has a limit.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quoteserver::living {

struct WebRequest {
    std::string name;  // feed, kind and symbol: what a recording is called
    std::string url = {};
    std::vector<std::pair<std::string, std::string>> headers = {};
    std::chrono::seconds timeout{20};
};

struct WebAnswer {
    unsigned status = 0;  // 0: there was none, and the fault says why
    std::string fault = {};
    std::string contentType = {}, retryAfter = {};
    std::string body = {};
};

inline constexpr std::size_t mostBytes = 32 * 1024 * 1024;  // of a body, unpacked

inline constexpr const char* acceptedEncoding = "Accept-Encoding: gzip";

// A body as its header says that it is packed; what is not whole becomes a fault.
void Unpack(WebAnswer& answer, const std::string& encoding);

// The text with stars for secrets.
std::string Masked(std::string text, const std::vector<std::string>& secrets);

class WebClient {
public:
    virtual ~WebClient() = default;

    // Waits for the answer. May be called by several threads at once.
    virtual WebAnswer Fetch(const WebRequest& request) = 0;

    // An answer that is of no service: a program or a database gives it, unless there is a
    // recording of it.
    virtual WebAnswer Bring(const WebRequest&, const std::function<WebAnswer()>& ask) {
        return ask();
    }
    // Whether Bring is more than that.
    virtual bool HasRecordings() const { return false; }
};

// The system's client; the name is what services are told about who asks.
std::unique_ptr<WebClient> SystemWebClient(std::string agent);

// Answers from recordings only: what is not there counts as a service that cannot be reached. At
// once the newest of each, or, at a speed, as it went: those of its time, which take theirs.
std::unique_ptr<WebClient> ReplayClient(const std::filesystem::path& folder, double speed = 0);

// How many recordings a folder has of each feed.
std::map<std::string, std::size_t> CountRecordings(const std::filesystem::path& folder);

// Keeps every answer of another client that is not as the one before, as a file
// "feed.kind.symbol@time.reply": status line, headers, an empty line, body. One that did not come
// has status 0 and a header that says why. The texts are secrets, which are masked. Of more bytes
// on the disk than the limit the oldest files go, also those of earlier runs.
std::unique_ptr<WebClient> RecordingClient(std::unique_ptr<WebClient> client,
                                           std::filesystem::path folder,
                                           std::vector<std::string> secrets, std::uintmax_t limit);

}  // namespace quoteserver::living
