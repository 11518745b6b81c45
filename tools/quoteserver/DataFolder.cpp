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
constexpr std::string_view quoteSuffix = ".quote.csv";
constexpr std::string_view splitSuffix = ".splits.csv";
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
           std::ranges::any_of(
               std::array{dividendSuffix, optionSuffix, futuresSuffix, splitSuffix, quoteSuffix},
               [&](std::string_view suffix) {
                   return name.size() >= suffix.size() &&
                          SameTicker(name.substr(name.size() - suffix.size()), suffix);
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

// A ticker is compared with the names in the folder and never becomes a path itself. So nothing
// outside is reached, no device of Windows (CON.csv) is opened, and case does not matter anywhere.
std::optional<DataFile> ReadFrom(const std::filesystem::path& folder, const std::string& name) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (SameName(entry.path().filename(), name) && entry.is_regular_file()) {
            std::string realName = entry.path().filename().string();
            std::string text = ReadAll(entry.path(), realName);
            return DataFile{std::move(realName), std::move(text)};
        }
    }
    return std::nullopt;
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

std::string FileNameOf(std::string_view ticker) {
    static constexpr std::array<std::string_view, 4> devices{"CON", "PRN", "AUX", "NUL"};
    const std::string_view base = ticker.substr(0, ticker.find('.'));
    const auto isSame = [&](std::string_view device) { return SameTicker(base, device); };
    const bool isPort =
        base.size() == 4 && base[3] >= '0' && base[3] <= '9' &&
        (SameTicker(base.substr(0, 3), "COM") || SameTicker(base.substr(0, 3), "LPT"));
    return std::string(isPort || std::ranges::any_of(devices, isSame) ? "_" : "").append(ticker);
}

DataFolder::DataFolder(std::filesystem::path folder) : m_folder(std::move(folder)) {
    if (!std::filesystem::is_directory(m_folder)) {
        throw std::runtime_error("there is no data folder " + m_folder.string());
    }
}

DataFolder::DataFolder(std::filesystem::path folder, std::filesystem::path store)
    : m_folder(std::move(folder)), m_store(std::move(store)) {
    if (!m_folder.empty()) {
        m_folder = DataFolder(std::move(m_folder)).m_folder;
    }
}

std::optional<DataFile> DataFolder::OfTicker(std::string_view ticker,
                                             std::string_view suffix) const {
    std::optional<DataFile> file;
    if (!m_folder.empty()) {
        file = ReadFrom(m_folder, std::string(ticker).append(suffix));
    }
    if (!file && !m_store.empty()) {
        file = ReadFrom(m_store, FileNameOf(ticker).append(suffix));
    }
    return file;
}

std::optional<DataFile> DataFolder::Prices(std::string_view ticker) const {
    return IsNameOfOtherData(std::string(ticker).append(priceSuffix))
               ? std::nullopt
               : OfTicker(ticker, priceSuffix);
}

std::optional<DataFile> DataFolder::Dividends(std::string_view ticker) const {
    return OfTicker(ticker, dividendSuffix);
}

std::optional<DataFile> DataFolder::Options(std::string_view ticker) const {
    return OfTicker(ticker, optionSuffix);
}

std::optional<DataFile> DataFolder::Futures(std::string_view ticker) const {
    return OfTicker(ticker, futuresSuffix);
}

std::optional<DataFile> DataFolder::Splits(std::string_view ticker) const {
    const bool isOwn =
        !m_folder.empty() && ReadFrom(m_folder, std::string(ticker).append(priceSuffix));
    return isOwn             ? ReadFrom(m_folder, std::string(ticker).append(splitSuffix))
           : m_store.empty() ? std::nullopt
                             : ReadFrom(m_store, FileNameOf(ticker).append(splitSuffix));
}

std::optional<DataFile> DataFolder::Quote(std::string_view ticker) const {
    return m_store.empty() ? std::nullopt
                           : ReadFrom(m_store, FileNameOf(ticker).append(quoteSuffix));
}

std::optional<DataFile> DataFolder::Quotes() const { return Read(std::string(quotesName)); }

std::optional<DataFile> DataFolder::Read(const std::string& name) const {
    return m_folder.empty() ? std::nullopt : ReadFrom(m_folder, name);
}

}  // namespace quoteserver
