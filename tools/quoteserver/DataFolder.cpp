#include "DataFolder.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace quoteserver {
namespace {

constexpr std::string_view priceSuffix = ".csv";
constexpr std::string_view dividendSuffix = ".dividends.csv";
constexpr std::string_view optionSuffix = ".options.csv";
constexpr std::string_view futuresSuffix = ".futures.csv";
constexpr std::string_view quotesName = "quotes.csv";

bool IsAlphanumeric(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Only ASCII letters fold: tickers have no others.
template <typename Char>
Char Folded(Char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<Char>(c - 'A' + 'a') : c;
}

// Compares in the file system's own character type, for a folder may also hold names that have no
// narrow form.
bool SameName(const std::filesystem::path& file, std::string_view name) {
    using Unit = std::filesystem::path::value_type;
    return std::ranges::equal(file.native(), name, [](Unit left, char right) {
        return Folded(left) == static_cast<Unit>(Folded(right));
    });
}

// "SPY.dividends" and "quotes" name files too, but not such of prices.
bool IsNameOfOtherData(std::string_view name) {
    return SameTicker(name, quotesName) ||
           std::ranges::any_of(std::array{dividendSuffix, optionSuffix, futuresSuffix},
                               [&](std::string_view suffix) {
                                   return name.size() >= suffix.size() &&
                                          SameTicker(name.substr(name.size() - suffix.size()),
                                                     suffix);
                               });
}

std::string ReadAll(const std::filesystem::path& file, const std::string& name) {
    std::ifstream in(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in.is_open() || in.bad()) {
        throw std::runtime_error(name + " cannot be read");
    }
    return text;
}

}  // namespace

bool IsTicker(std::string_view text) {
    static constexpr std::string_view punctuation = "^.-=_$&!@#";
    constexpr std::size_t longest = 32;
    return !text.empty() && text.size() <= longest && text.find("..") == std::string_view::npos &&
           std::ranges::all_of(text, [](char c) {
               return IsAlphanumeric(c) || punctuation.find(c) != std::string_view::npos;
           });
}

bool SameTicker(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, {}, Folded<char>, Folded<char>);
}

DataFolder::DataFolder(std::filesystem::path folder) : m_folder(std::move(folder)) {
    if (!std::filesystem::is_directory(m_folder)) {
        throw std::runtime_error("there is no data folder " + m_folder.string());
    }
}

std::optional<DataFile> DataFolder::Prices(std::string_view ticker) const {
    const std::string name = std::string(ticker).append(priceSuffix);
    return IsNameOfOtherData(name) ? std::nullopt : Read(name);
}

std::optional<DataFile> DataFolder::Dividends(std::string_view ticker) const {
    return Read(std::string(ticker).append(dividendSuffix));
}

std::optional<DataFile> DataFolder::Options(std::string_view ticker) const {
    return Read(std::string(ticker).append(optionSuffix));
}

std::optional<DataFile> DataFolder::Futures(std::string_view ticker) const {
    return Read(std::string(ticker).append(futuresSuffix));
}

std::optional<DataFile> DataFolder::Quotes() const { return Read(std::string(quotesName)); }

// A ticker is compared with the names in the folder and never becomes a path itself. So nothing
// outside is reached, no device of Windows (CON.csv) is opened, and case does not matter anywhere.
std::optional<DataFile> DataFolder::Read(const std::string& name) const {
    for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
        if (SameName(entry.path().filename(), name) && entry.is_regular_file()) {
            std::string realName = entry.path().filename().string();
            std::string text = ReadAll(entry.path(), realName);
            return DataFile{std::move(realName), std::move(text)};
        }
    }
    return std::nullopt;
}

}  // namespace quoteserver
