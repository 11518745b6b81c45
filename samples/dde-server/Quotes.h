// The newest row of each data file as the fields of a quote.
#pragma once

#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "DataFolder.h"

namespace demo {

using Random = std::mt19937;

std::string UpperCase(std::string_view text);

class Quote {
public:
    // The rows' text is that of a data file. Throws std::runtime_error for a damaged or empty one.
    explicit Quote(std::string_view rows);

    // Nothing for an unknown field; names in any case.
    std::optional<std::string> Field(std::string_view name) const;

    // A trade that never happened: LAST moves by up to a thousandth. Names the fields that changed.
    std::vector<std::string> Move(Random& random);

private:
    void Set(const std::string& name, double value, std::vector<std::string>& changed);

    std::map<std::string, std::string> m_fields;
};

// The quotes that somebody asked for so far, by ticker; read once.
class Quotes {
public:
    explicit Quotes(quoteserver::DataFolder folder) : m_folder(std::move(folder)) {}

    // Null when the folder has no such ticker, or its file is damaged, which stderr is told.
    Quote* Find(std::string_view ticker);
    std::map<std::string, Quote>& Known() { return m_known; }

private:
    quoteserver::DataFolder m_folder;
    std::map<std::string, Quote> m_known;
};

}  // namespace demo
