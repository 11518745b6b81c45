#include "Output.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "Parameters.h"
#include "Values.h"

namespace vtdl::host {
namespace {

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// Counts characters, and keeps their bytes together.
std::string Fitted(std::string_view line, std::size_t columns) {
    std::size_t count = 0, end = 0;
    for (; end < line.size(); ++end) {
        if (IsContinuation(line[end])) continue;
        if (count == columns) break;
        ++count;
    }
    return std::string(line.substr(0, end)).append(columns - count, ' ');
}

}  // namespace

namespace fs = std::filesystem;

namespace {

// "{word}" at the front of a text; empty where there is none.
std::string_view MarkOf(std::string_view text) {
    const auto isInWord = [](char c) {
        return c == '_' || std::isalnum(static_cast<unsigned char>(c));
    };
    const auto* const end = std::find_if_not(text.begin() + 1, text.end(), isInWord);
    const auto length = static_cast<std::size_t>(end - text.begin());
    return length > 1 && end != text.end() && *end == '}' ? text.substr(0, length + 1)
                                                          : std::string_view();
}

bool IsTickerMark(std::string_view mark) { return SameName(mark, "{ticker}"); }

}  // namespace

bool HasTickerMark(const std::string& option, std::string_view name) {
    bool hasMark = false;
    for (std::size_t at = 0; (at = name.find('{', at)) != name.npos; ++at) {
        const std::string_view mark = MarkOf(name.substr(at));
        if (!mark.empty() && !IsTickerMark(mark))
            throw UsageError(option + ": " + std::string(mark) +
                             " is not known; a file's name may have {ticker}");
        hasMark |= !mark.empty();
    }
    return hasMark;
}

std::string FileNameFor(std::string_view name, std::string ticker) {
    std::ranges::replace_if(
        ticker,
        [](unsigned char c) {
            return c < ' ' || std::string_view("\\/:*?\"<>|").find(static_cast<char>(c)) !=
                                  std::string_view::npos;
        },
        '_');
    std::string file;
    while (!name.empty()) {
        const std::string_view mark = name.starts_with('{') ? MarkOf(name) : std::string_view();
        file += IsTickerMark(mark) ? ticker : std::string(1, name.front());
        name.remove_prefix(IsTickerMark(mark) ? mark.size() : 1);
    }
    return file;
}

std::string FormatOfFile(std::string_view name) {
    for (const char* const format : {"csv", "json"})
        if (SameName(name.substr(std::min(name.rfind('.'), name.size())),
                     std::string(".") + format))
            return format;
    return "table";
}

void WriteFile(const std::string& name, std::string_view content) {
    const fs::path file{std::u8string(name.begin(), name.end())};
    fs::path beside = file;
    beside += ".part";
    std::ofstream out(beside, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    std::error_code error;
    if (out) fs::rename(beside, file, error);
    if (out && !error) return;
    std::error_code ignored;
    fs::remove(beside, ignored);
    throw Failure(name + " cannot be written");
}

std::vector<std::string> Fitted(std::string_view text, std::size_t columns, std::size_t rows,
                                std::size_t covered) {
    std::vector<std::string> lines;
    while (!text.empty() && lines.size() < rows) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(Fitted(text.substr(0, end), columns));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (!text.empty() && !lines.empty()) lines.back() = Fitted("...", columns);
    while (lines.size() < std::min(covered, rows)) lines.emplace_back(columns, ' ');
    return lines;
}

std::string ProgressLine(std::string_view source, long percent, std::string_view statusText) {
    constexpr std::size_t barWidth = 25, lineWidth = 78;
    const auto done = static_cast<std::size_t>(std::clamp(percent, 0L, 100L));
    std::string number = std::to_string(done);
    number.insert(0, 3 - number.size(), ' ');
    const std::size_t filled = done * barWidth / 100;
    std::string line(source);
    line.append(" [").append(filled, '#').append(barWidth - filled, '.').append("] ");
    line.append(number).append("%");
    if (!statusText.empty()) line.append(" ").append(Printable(statusText));
    line.resize(std::min(line.size(), lineWidth));
    return line;
}

}  // namespace vtdl::host
