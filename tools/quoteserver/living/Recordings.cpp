// Answers of services as files, and back.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <mutex>
#include <thread>

#include "Rows.h"
#include "WholeFile.h"
#include "living/Json.h"
#include "living/Web.h"
#include "text/UrlEncode.h"

namespace quoteserver::living {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;

constexpr std::string_view ending = ".reply";

// Symbols are tickers, or what the user's patterns made of them; a file name is neither.
std::string PlainName(const std::string& name) {
    std::string file;
    for (const char c : name) {
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                             (c >= 'a' && c <= 'z') || c == '.' || c == '-' || c == '_' ||
                             c == '^' || c == '=';
        file += isPlain ? c : '+';
    }
    return file;
}

// What was asked, and when, in milliseconds since 1970; without a time, before all others.
struct Recorded {
    std::string name;
    long long time = 0;
    fs::path file;
};

// The oldest first.
std::vector<Recorded> RecordingsIn(const fs::path& folder) {
    std::vector<Recorded> all;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::string name = entry.path().filename().string();
        if (!name.ends_with(ending)) {
            continue;
        }
        name.resize(name.size() - ending.size());
        Recorded recorded{name.substr(0, name.find('@')), 0, entry.path()};
        if (recorded.name != name) {
            const char* const digits = name.data() + recorded.name.size() + 1;
            std::from_chars(digits, name.data() + name.size(), recorded.time);
        }
        all.push_back(std::move(recorded));
    }
    std::ranges::stable_sort(all, {}, &Recorded::time);
    return all;
}

class Replay final : public WebClient {
public:
    Replay(const fs::path& folder, double speed) : m_speed(speed) {
        if (!fs::is_directory(folder)) {
            throw std::runtime_error("there is no folder " + folder.string());
        }
        for (Recorded& recorded : RecordingsIn(folder)) {
            if (m_first == 0) {
                m_first = recorded.time;
            }
            const std::string name = recorded.name;
            m_replies[name].push_back(std::move(recorded));
        }
    }

    bool HasRecordings() const override { return true; }

    WebAnswer Fetch(const WebRequest& request) override { return Bring(request, {}); }

    WebAnswer Bring(const WebRequest& request, const std::function<WebAnswer()>&) override {
        const std::string name = PlainName(request.name);
        const auto found = m_replies.find(name);
        WebAnswer answer;
        if (found == m_replies.end()) {
            answer.fault = name + std::string(ending) + " is not among the recordings";
            return answer;
        }
        std::ifstream in(Current(found->second).file, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        std::string_view rest = text;
        std::string_view line = TakeLine(rest);
        TakeField(line, ' ');
        std::from_chars(line.data(), line.data() + line.size(), answer.status);
        if (!text.starts_with("HTTP/1.1 ")) {
            answer.fault = name + std::string(ending) + " is no recording";
            return answer;
        }
        long long took = 0;
        while (!(line = TakeLine(rest)).empty()) {
            const std::string_view key = TakeField(line, ':');
            const std::string_view value =
                line.substr(std::min(line.find_first_not_of(' '), line.size()));
            if (SameTicker(key, "Content-Type")) {
                answer.contentType = value;
            } else if (SameTicker(key, "Fault")) {
                answer.fault = value;
            } else if (SameTicker(key, "Retry-After")) {
                answer.retryAfter = value;
            } else if (SameTicker(key, "Took")) {
                std::from_chars(value.data(), value.data() + value.size(), took);
            }
        }
        if (m_speed > 0) {
            std::this_thread::sleep_for(std::min<duration<double>>(
                duration<double>(static_cast<double>(took) / 1000 / m_speed), request.timeout));
        }
        answer.body = rest;
        return answer;
    }

private:
    // The newest of all; at a speed, the newest of the time that it is by then in the recordings.
    const Recorded& Current(const std::vector<Recorded>& replies) const {
        if (m_speed <= 0) {
            return replies.back();
        }
        const duration<double, std::milli> passed = (steady_clock::now() - m_start) * m_speed;
        const auto later = std::ranges::upper_bound(
            replies, m_first + static_cast<long long>(passed.count()), {}, &Recorded::time);
        return later == replies.begin() ? replies.front() : *std::prev(later);
    }

    const double m_speed;
    const steady_clock::time_point m_start = steady_clock::now();
    long long m_first = 0;
    std::map<std::string, std::vector<Recorded>> m_replies;
};

class Recording final : public WebClient {
public:
    Recording(std::unique_ptr<WebClient> client, fs::path folder, std::vector<std::string> secrets,
              std::uintmax_t limit)
        : m_client(std::move(client)),
          m_folder(std::move(folder)),
          m_secrets(std::move(secrets)),
          m_limit(limit) {
        fs::create_directories(m_folder);
        for (const Recorded& recorded : RecordingsIn(m_folder)) {
            if (recorded.time != 0) {  // what is without one was brought here by somebody
                Keep(recorded.time, recorded.file);
            }
        }
        MakeRoom();
    }

    bool HasRecordings() const override { return true; }

    WebAnswer Fetch(const WebRequest& request) override {
        return Bring(request, [&] { return m_client->Fetch(request); });
    }

    WebAnswer Bring(const WebRequest& request, const std::function<WebAnswer()>& ask) override {
        const auto start = steady_clock::now();
        WebAnswer answer = ask();
        const auto took = duration_cast<milliseconds>(steady_clock::now() - start).count();
        std::string head = "HTTP/1.1 " + std::to_string(answer.status);
        for (const auto& [key, value] : {std::pair{"Content-Type", &answer.contentType},
                                         {"Retry-After", &answer.retryAfter},
                                         {"Fault", &answer.fault}}) {
            if (!value->empty()) {
                head.append("\r\n").append(key).append(": ").append(MessageText(*value));
            }
        }
        const std::string text = Masked(head + "\r\n\r\n" + answer.body, m_secrets);
        const std::scoped_lock lock(m_lock);
        const std::string name = PlainName(request.name);
        const std::size_t mark = std::hash<std::string>{}(text);
        const auto [last, isFirst] = m_last.try_emplace(name, mark);
        if (!isFirst && last->second == mark) {
            return answer;  // nothing new
        }
        last->second = 0;  // until it is there
        try {
            const auto now =
                duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
            const fs::path file =
                m_folder / (name + "@" + std::to_string(now) + std::string(ending));
            std::string whole = text;
            whole.insert(text.find("\r\n\r\n"), "\r\nTook: " + std::to_string(took));
            WriteWhole(file, whole);
            last->second = mark;
            Keep(now, file);
            MakeRoom();
        } catch (const std::exception& e) {
            std::cerr << "quoteserver: not recorded: " << e.what() << '\n';
        }
        return answer;
    }

private:
    // What it takes of the disk counts: a quote has a hundred bytes, and there are many of them.
    void Keep(long long time, const fs::path& file) {
        constexpr std::uintmax_t block = 4096;
        std::error_code error;
        const std::uintmax_t bytes = fs::file_size(file, error);
        const std::uintmax_t size = error ? 0 : (bytes + block - 1) / block * block;
        m_files.emplace(time, std::pair{file, size});
        m_size += size;
    }

    // The oldest go first.
    void MakeRoom() {
        while (m_size > m_limit && !m_files.empty()) {
            std::error_code error;
            const fs::path& file = m_files.begin()->second.first;
            fs::remove(file, error);
            const std::string name = file.filename().string();
            m_last.erase(name.substr(0, name.rfind('@')));  // its next one is new
            m_size -= m_files.begin()->second.second;
            m_files.erase(m_files.begin());
        }
    }

    std::unique_ptr<WebClient> m_client;
    fs::path m_folder;
    std::vector<std::string> m_secrets;
    const std::uintmax_t m_limit;
    std::mutex m_lock;  // of what follows
    std::multimap<long long, std::pair<fs::path, std::uintmax_t>> m_files;
    std::uintmax_t m_size = 0;
    std::map<std::string, std::size_t> m_last;  // of each name, which text
};

}  // namespace

std::string Masked(std::string text, const std::vector<std::string>& secrets) {
    // The longest first: another one may be a part of it. Services repeat them in JSON, and in
    // addresses.
    std::vector<std::string> all(secrets);
    for (const std::string& secret : secrets) {
        std::string escaped;
        for (const char c : secret) {
            escaped.append(c == '/' || c == '"' || c == '\\' ? "\\" : "").append(1, c);
        }
        all.push_back(std::move(escaped));
        all.push_back(vtdl::text::UrlEncode(secret, false));
    }
    std::ranges::sort(all, std::ranges::greater{}, &std::string::size);
    for (const std::string& secret : all) {
        for (std::size_t at = text.find(secret); !secret.empty() && at != std::string::npos;
             at = text.find(secret, at)) {
            text.replace(at, secret.size(), secret.size(), '*');
        }
    }
    return text;
}

std::unique_ptr<WebClient> ReplayClient(const fs::path& folder, double speed) {
    return std::make_unique<Replay>(folder, speed);
}

std::map<std::string, std::size_t> CountRecordings(const fs::path& folder) {
    std::map<std::string, std::size_t> counts;
    for (const Recorded& recorded : RecordingsIn(folder)) {
        ++counts[recorded.name.substr(0, recorded.name.find('.'))];
    }
    return counts;
}

std::unique_ptr<WebClient> RecordingClient(std::unique_ptr<WebClient> client, fs::path folder,
                                           std::vector<std::string> secrets, std::uintmax_t limit) {
    return std::make_unique<Recording>(std::move(client), std::move(folder), std::move(secrets),
                                       limit);
}

}  // namespace quoteserver::living
