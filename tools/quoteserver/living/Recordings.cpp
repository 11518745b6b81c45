// Answers of services as files, and back.
#include <charconv>
#include <fstream>
#include <iterator>

#include "Rows.h"
#include "living/Numbers.h"
#include "living/Web.h"

namespace quoteserver::living {
namespace {

constexpr std::string_view end = ".reply";

// Symbols are tickers, or what the user's patterns made of them; a file name is neither.
std::string FileName(const std::string& name) {
    std::string file;
    for (const char c : name) {
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                             (c >= 'a' && c <= 'z') || c == '.' || c == '-' || c == '_' ||
                             c == '^' || c == '=';
        file += isPlain ? c : '+';
    }
    return file.append(end);
}

class Replay final : public WebClient {
public:
    explicit Replay(std::filesystem::path folder) : m_folder(std::move(folder)) {
        if (!std::filesystem::is_directory(m_folder)) {
            throw std::runtime_error("there is no folder " + m_folder.string());
        }
    }

    WebAnswer Fetch(const WebRequest& request) override {
        std::ifstream in(m_folder / FileName(request.name), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        std::string_view rest = text;
        std::string_view line = TakeLine(rest);
        TakeField(line, ' ');
        WebAnswer answer;
        std::from_chars(line.data(), line.data() + line.size(), answer.status);
        if (answer.status == 0) {
            answer.fault = FileName(request.name) + " is not among the recordings";
            return answer;
        }
        while (!(line = TakeLine(rest)).empty()) {
            const std::string_view key = TakeField(line, ':');
            const std::string_view value =
                line.substr(std::min(line.find_first_not_of(' '), line.size()));
            if (SameTicker(key, "Content-Type")) {
                answer.contentType = value;
            } else if (SameTicker(key, "Retry-After")) {
                answer.retryAfter = value;
            }
        }
        answer.body = rest;
        return answer;
    }

private:
    std::filesystem::path m_folder;
};

class Recording final : public WebClient {
public:
    Recording(std::unique_ptr<WebClient> client, std::filesystem::path folder,
              std::vector<std::string> secrets)
        : m_client(std::move(client)), m_folder(std::move(folder)), m_secrets(std::move(secrets)) {
        std::filesystem::create_directories(m_folder);
    }

    WebAnswer Fetch(const WebRequest& request) override {
        WebAnswer answer = m_client->Fetch(request);
        if (answer.status == 0) {
            return answer;
        }
        std::string text = "HTTP/1.1 " + std::to_string(answer.status) +
                           "\r\nContent-Type: " + PrintableText(answer.contentType) + "\r\n";
        if (!answer.retryAfter.empty()) {
            text += "Retry-After: " + PrintableText(answer.retryAfter) + "\r\n";
        }
        text += "\r\n" + answer.body;
        std::ofstream(m_folder / FileName(request.name), std::ios::binary)
            << Masked(std::move(text), m_secrets);
        return answer;
    }

private:
    std::unique_ptr<WebClient> m_client;
    std::filesystem::path m_folder;
    std::vector<std::string> m_secrets;
};

}  // namespace

std::string Masked(std::string text, const std::vector<std::string>& secrets) {
    for (const std::string& secret : secrets) {
        for (std::size_t at = text.find(secret); !secret.empty() && at != std::string::npos;
             at = text.find(secret, at)) {
            text.replace(at, secret.size(), secret.size(), '*');
        }
    }
    return text;
}

std::unique_ptr<WebClient> ReplayClient(std::filesystem::path folder) {
    return std::make_unique<Replay>(std::move(folder));
}

std::unique_ptr<WebClient> RecordingClient(std::unique_ptr<WebClient> client,
                                           std::filesystem::path folder,
                                           std::vector<std::string> secrets) {
    return std::make_unique<Recording>(std::move(client), std::move(folder), std::move(secrets));
}

}  // namespace quoteserver::living
