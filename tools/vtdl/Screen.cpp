#include "Screen.h"

#include <algorithm>

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

}  // namespace vtdl::host
