#include "DataFolder.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "Http.h"

namespace quoteserver {
namespace {

constexpr auto settled = std::chrono::seconds(2);
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

// "SPY.dividends" and "quotes" name files too, but not such of prices.
bool IsNameOfOtherData(std::string_view name) {
    return SameTicker(name, quotesName) ||
           std::ranges::any_of(std::array{dividendSuffix, optionSuffix, futuresSuffix, splitSuffix,
                                          quoteSuffix, chainSuffix, futuresChainSuffix, listSuffix},
                               [&](std::string_view suffix) {
                                   return name.size() >= suffix.size() &&
                                          SameTicker(name.substr(name.size() - suffix.size()),
                                                     suffix);
                               });
}

// Nothing without a path.
std::optional<DataFile> ReadFile(const std::filesystem::path& path) {
    if (path.empty()) {
        return std::nullopt;
    }
    DataFile file{path.filename().string(), {}};
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (in) {
        file.text.resize(static_cast<std::size_t>(in.tellg()));
        in.seekg(0);
        in.read(file.text.data(), static_cast<std::streamsize>(file.text.size()));
        file.text.resize(static_cast<std::size_t>(in.gcount()));
    }
    if (!in.is_open() || in.bad()) {
        throw std::runtime_error(file.name + " cannot be read");
    }
    return file;
}

}  // namespace

// The names of a folder, read again when it has changed, and for a name that is not among them. A
// ticker is compared with the names and never becomes a path itself. So nothing outside is reached,
// no device of Windows (CON.csv) is opened, and case does not matter anywhere.
class FolderNames {
public:
    explicit FolderNames(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    // Empty when there is no such file.
    std::filesystem::path Find(const std::string& name) {
        const std::string key = Lower(name);
        std::error_code error;
        if (const auto found = m_names.find(key);
            found != m_names.end() && std::filesystem::is_regular_file(found->second, error)) {
            return found->second;
        }
        if (!IsKnown()) {
            Scan();
        }
        const auto found = m_names.find(key);
        return found == m_names.end() ? std::filesystem::path() : found->second;
    }

private:
    using Time = std::filesystem::file_time_type;

    // A change right after the last look may have left the folder's time as it was.
    bool IsKnown() const {
        std::error_code error;
        const Time changed = std::filesystem::last_write_time(m_folder, error);
        return !error && changed == m_changed && m_looked - changed > settled;
    }

    void Scan() {
        std::error_code error;
        m_looked = Time::clock::now();
        m_changed = std::filesystem::last_write_time(m_folder, error);
        m_names.clear();
        for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
            const std::filesystem::path file = entry.path().filename();
            const auto& name = file.native();
            // A folder may also hold names that have no narrow form.
            const bool isNarrow =
                std::ranges::all_of(name, [](auto c) { return c > 0 && c < 128; });
            if (isNarrow && entry.is_regular_file()) {
                m_names.emplace(Lower(std::string(name.begin(), name.end())), entry.path());
            }
        }
    }

    std::filesystem::path m_folder;
    Time m_changed{}, m_looked{};  // the folder, and at the folder
    std::unordered_map<std::string, std::filesystem::path> m_names;
};

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

bool NamesPrices(std::string_view ticker) {
    return !IsNameOfOtherData(std::string(ticker).append(priceSuffix));
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

DataFolder::DataFolder(const std::filesystem::path& folder)
    : m_own(std::make_shared<FolderNames>(folder)) {
    if (!std::filesystem::is_directory(folder)) {
        throw std::runtime_error("there is no data folder " + folder.string());
    }
}

DataFolder::DataFolder(const std::filesystem::path& folder, const std::filesystem::path& store) {
    if (!folder.empty()) {
        *this = DataFolder(folder);
    }
    m_store = std::make_shared<FolderNames>(store);
}

std::filesystem::path DataFolder::PathOf(std::string_view ticker, std::string_view suffix) const {
    std::filesystem::path path;
    if (m_own) {
        path = m_own->Find(std::string(ticker).append(suffix));
    }
    if (path.empty() && m_store) {
        path = m_store->Find(FileNameOf(ticker).append(suffix));
    }
    return path;
}

std::string DataFolder::StampOf(std::string_view ticker) const {
    std::string stamp;
    for (const std::string_view suffix : {priceSuffix, dividendSuffix, splitSuffix}) {
        const std::filesystem::path path = PathOf(ticker, suffix);
        if (path.empty()) {
            continue;
        }
        std::error_code error;
        const auto time = std::filesystem::last_write_time(path, error);
        const auto size = std::filesystem::file_size(path, error);
        // What was written a moment ago may be written again without a later time.
        const bool isSettled = std::filesystem::file_time_type::clock::now() - time > settled;
        if (error || !isSettled) {
            return {};
        }
        stamp.append(path.string()).append(std::to_string(time.time_since_epoch().count()));
        stamp.append(1, ' ').append(std::to_string(size)).append(1, '\n');
    }
    return stamp;
}

std::optional<DataFile> DataFolder::Find(std::string_view ticker, std::string_view suffix) const {
    return ReadFile(PathOf(ticker, suffix));
}

bool DataFolder::Has(std::string_view ticker, std::string_view suffix) const {
    const bool isOther = suffix == priceSuffix && !NamesPrices(ticker);
    return !isOther && !PathOf(ticker, suffix).empty();
}

std::optional<DataFile> DataFolder::Prices(std::string_view ticker) const {
    return Has(ticker, priceSuffix) ? Find(ticker, priceSuffix) : std::nullopt;
}

std::optional<DataFile> DataFolder::Dividends(std::string_view ticker) const {
    return Find(ticker, dividendSuffix);
}

std::optional<DataFile> DataFolder::Options(std::string_view ticker) const {
    return Find(ticker, optionSuffix);
}

std::optional<DataFile> DataFolder::Futures(std::string_view ticker) const {
    return Find(ticker, futuresSuffix);
}

std::optional<DataFile> DataFolder::Splits(std::string_view ticker) const {
    const bool isOwn = m_own && !m_own->Find(std::string(ticker).append(priceSuffix)).empty();
    const auto& folder = isOwn ? m_own : m_store;
    const std::string name = isOwn ? std::string(ticker) : FileNameOf(ticker);
    return folder ? ReadFile(folder->Find(name + std::string(splitSuffix))) : std::nullopt;
}

std::optional<DataFile> DataFolder::Quote(std::string_view ticker) const {
    return m_store ? ReadFile(m_store->Find(FileNameOf(ticker).append(quoteSuffix))) : std::nullopt;
}

std::optional<DataFile> DataFolder::Quotes() const { return Read(std::string(quotesName)); }

std::optional<DataFile> DataFolder::Read(const std::string& name) const {
    return m_own ? ReadFile(m_own->Find(name)) : std::nullopt;
}

}  // namespace quoteserver
