// A request target ("/table.csv?s=AAPL&g=d") taken apart.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quoteserver {

// Keys and values, percent-decoded, in the order they came.
class Query {
public:
    explicit Query(std::string_view text = {});

    // The value of a key; empty when it is missing, which no service tells from an empty value.
    // A key given twice counts once, the first time.
    std::string_view value(std::string_view key) const;

    // The same for the first key that ends so: forms put the names of their parts in front.
    std::string_view valueOfKeyEnding(std::string_view keyEnd) const;

private:
    std::vector<std::pair<std::string, std::string>> m_fields;
};

// Its text says which key makes no sense.
class BadQuery : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Target {
    std::string path;
    Query query;
};

Target ParseTarget(std::string_view target);

}  // namespace quoteserver
