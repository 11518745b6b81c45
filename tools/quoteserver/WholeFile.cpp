#include "WholeFile.h"

#include <fstream>
#include <random>
#include <stdexcept>

namespace quoteserver {

void WriteWhole(const std::filesystem::path& file, std::string_view text) {
    static std::random_device random;
    const std::filesystem::path temporary =
        file.string() + "." + std::to_string(random()) + temporaryEnd;
    {
        std::ofstream out(temporary, std::ios::binary);
        out << text;
        if (!out.flush()) {
            throw std::runtime_error(temporary.string() + " cannot be written");
        }
    }
    std::error_code error;
    std::filesystem::rename(temporary, file, error);
    if (error) {
        std::filesystem::remove(temporary, error);
        throw std::runtime_error(file.string() + " cannot be replaced");
    }
}

}  // namespace quoteserver
