#include "OutputFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "Failure.h"

namespace vtdl::host {

namespace fs = std::filesystem;

std::string FileNameFor(std::string name, std::string ticker) {
    std::ranges::replace_if(
        ticker,
        [](unsigned char c) {
            return c < ' ' || std::string_view("\\/:*?\"<>|").find(static_cast<char>(c)) !=
                                  std::string_view::npos;
        },
        '_');
    for (std::size_t at = 0; (at = name.find(tickerMark, at)) != std::string::npos;
         at += ticker.size())
        name.replace(at, tickerMark.size(), ticker);
    return name;
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
