#include <curl/curl.h>

#include <mutex>
#include <stdexcept>

#include "Rows.h"
#include "living/Numbers.h"
#include "living/Web.h"

namespace quoteserver::living {
namespace {

struct Transfer {
    std::string body;
    bool isTooLong = false;
};

std::size_t TakeBytes(const char* bytes, std::size_t, std::size_t count, void* target) {
    auto& transfer = *static_cast<Transfer*>(target);
    transfer.isTooLong = count > mostBytes - transfer.body.size();
    if (transfer.isTooLong) {
        return 0;
    }
    transfer.body.append(bytes, count);
    return count;
}

std::string HostOf(const std::string& url) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parts(curl_url(), curl_url_cleanup);
    char* text = nullptr;
    std::string host;
    if (curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), 0) == CURLUE_OK) {
        for (const CURLUPart part : {CURLUPART_SCHEME, CURLUPART_HOST, CURLUPART_PORT}) {
            if (curl_url_get(parts.get(), part, &text, CURLU_DEFAULT_PORT) == CURLUE_OK) {
                host.append(text).append(1, ' ');
                curl_free(text);
            }
        }
    }
    return host;
}

// The value of a header of the last reply.
std::string HeaderOf(CURL* handle, const char* name) {
    curl_header* header = nullptr;
    return curl_easy_header(handle, name, 0, CURLH_HEADER, -1, &header) == CURLHE_OK ? header->value
                                                                                     : "";
}

class CurlClient final : public WebClient {
public:
    explicit CurlClient(std::string agent) : m_agent(std::move(agent)) {
        static std::once_flag once;
        std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    }

    WebAnswer Fetch(const WebRequest& request) override {
        constexpr int mostRedirects = 5;
        WebRequest current = request;
        for (int count = 0;; ++count) {
            std::string target;
            WebAnswer answer = FetchOnce(current, target);
            if (target.empty()) {
                return answer;
            }
            if (count == mostRedirects || HostOf(target) != HostOf(request.url)) {
                return {0, "it redirects to another place"};
            }
            current.url = target;
        }
    }

private:
    // The target is that of a redirect.
    WebAnswer FetchOnce(const WebRequest& request, std::string& target) const {
        const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> owner(curl_easy_init(),
                                                                        curl_easy_cleanup);
        CURL* const handle = owner.get();
        if (!handle) {
            throw std::runtime_error("libcurl does not start");
        }
        curl_slist* headers = curl_slist_append(nullptr, acceptedEncoding);
        for (const auto& [name, value] : request.headers) {
            headers = curl_slist_append(headers, (name + ": " + value).c_str());
        }
        const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> list(headers,
                                                                               curl_slist_free_all);
        Transfer transfer;
        curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
        curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(handle, CURLOPT_USERAGENT, m_agent.c_str());
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(mostBytes));
        curl_easy_setopt(handle, CURLOPT_TIMEOUT, static_cast<long>(request.timeout.count()));
        curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, TakeBytes);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &transfer);
        const CURLcode result = curl_easy_perform(handle);
        if (transfer.isTooLong) {
            return {0, "a reply of more than " + std::to_string(mostBytes) + " bytes"};
        }
        if (result != CURLE_OK) {
            return {0, curl_easy_strerror(result)};
        }
        long status = 0;
        const char* redirect = nullptr;
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
        curl_easy_getinfo(handle, CURLINFO_REDIRECT_URL, &redirect);
        target = redirect ? redirect : "";
        WebAnswer answer{static_cast<unsigned>(status),
                         {},
                         HeaderOf(handle, "Content-Type"),
                         HeaderOf(handle, "Retry-After"),
                         std::move(transfer.body)};
        Unpack(answer, HeaderOf(handle, "Content-Encoding"));
        return answer;
    }

    std::string m_agent;
};

}  // namespace

std::unique_ptr<WebClient> SystemWebClient(std::string agent) {
    return std::make_unique<CurlClient>(std::move(agent));
}

}  // namespace quoteserver::living
