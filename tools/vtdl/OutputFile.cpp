#include "OutputFile.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "Failure.h"
#include "Names.h"

namespace vtdl::host {

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

}  // namespace vtdl::host
