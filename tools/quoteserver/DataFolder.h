// The folder of data files, one a ticker. Files are read anew for each request, so that they can be
// edited while the server runs.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quoteserver {

struct DataFile {
    std::string name;
    std::string text;
};

// Letters, digits and the punctuation of real tickers (^VIX, BRK-B, AIR.PA, EURUSD=X).
bool IsTicker(std::string_view text);

// False where TICKER.csv would be a file of something else: SPY.dividends, quotes.
bool NamesPrices(std::string_view ticker);

// Case does not matter.
bool SameTicker(std::string_view left, std::string_view right);

// What the files of a ticker are called where the program makes them: Windows keeps names like CON
// to itself.
std::string FileNameOf(std::string_view ticker);

class FolderNames;

// Files of forms of our own: option chains of shares and of futures, and lists of what there is.
inline constexpr std::string_view chainSuffix = ".chain.csv";
inline constexpr std::string_view futuresChainSuffix = ".futures-chain.csv";
inline constexpr std::string_view listSuffix = ".list.csv";

// For one thread. Copies share what they know of the folder.
class DataFolder {
public:
    // Throws std::runtime_error unless the folder is there.
    explicit DataFolder(const std::filesystem::path& folder);
    // Two, of which the first one counts where it has a file. It may be empty: then there is none.
    DataFolder(const std::filesystem::path& folder, const std::filesystem::path& store);

    // Whether there is a file TICKER and this end of a name, such as ".dividends.csv"; reads none.
    bool Has(std::string_view ticker, std::string_view suffix) const;

    // Nothing when the folder has no such file; throws std::runtime_error if it cannot be read.
    std::optional<DataFile> Prices(std::string_view ticker) const;
    std::optional<DataFile> Dividends(std::string_view ticker) const;
    std::optional<DataFile> Options(std::string_view ticker) const;
    std::optional<DataFile> Futures(std::string_view ticker) const;
    // Of the folder that the prices are from.
    std::optional<DataFile> Splits(std::string_view ticker) const;
    // The quote that a living source gave.
    std::optional<DataFile> Quote(std::string_view ticker) const;
    // The quotes of all tickers.
    std::optional<DataFile> Quotes() const;
    // Changes whenever a file of the ticker's history does; empty while one has just changed.
    std::string StampOf(std::string_view ticker) const;
    // The file TICKER with this end of its name.
    std::optional<DataFile> Find(std::string_view ticker, std::string_view suffix) const;
    // A file by its name, in any case.
    std::optional<DataFile> Read(const std::string& name) const;

private:
    std::filesystem::path PathOf(std::string_view ticker, std::string_view suffix) const;

    std::shared_ptr<FolderNames> m_own, m_store;  // null: there is none
};

}  // namespace quoteserver
