#include "OutputFile.h"

#include <filesystem>
#include <fstream>

#include "Failure.h"

namespace vtdl::host {

namespace fs = std::filesystem;

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
