#include "Chain.h"

#include <algorithm>
#include <string_view>

#include "Names.h"

namespace vtdl::host {
namespace {

bool IsCalled(const Column& column, std::string_view name) { return SameName(column.name, name); }

const Column* Find(const Block& block, std::string_view name) {
    const auto found = std::ranges::find_if(
        block.columns, [&](const Column& column) { return IsCalled(column, name); });
    return found == block.columns.end() ? nullptr : &*found;
}

struct Side {
    const Column* strikes;
    const Column* expirations;

    explicit Side(const Block& block)
        : strikes(Find(block, "STRIKE")), expirations(Find(block, "EXPIRATION")) {}

    bool IsComplete() const { return strikes && expirations; }

    // What the library leaves in the arrays where the service has no option.
    bool IsEmptyAt(std::size_t row) const {
        const Value& strike = strikes->at(row);
        const Value& expiration = expirations->at(row);
        return (strike == Value{} || strike == Value{0.0}) &&
               (expiration == Value{} || expiration == Value{Date{0}});
    }
};

// The columns of one side but those of the series, filled row by row.
class SideColumns {
public:
    explicit SideColumns(const Block& block) {
        for (const Column& column : block.columns) {
            if (IsCalled(column, "STRIKE") || IsCalled(column, "EXPIRATION")) continue;
            m_sources.push_back(&column);
            columns.push_back({column.name, {}});
        }
    }

    void Add(std::size_t row, bool isEmpty) {
        for (std::size_t i = 0; i < columns.size(); ++i)
            columns[i].values.push_back(isEmpty ? Value{} : m_sources[i]->at(row));
    }

    std::vector<Column> columns;

private:
    std::vector<const Column*> m_sources;
};

}  // namespace

std::optional<Chain> ChainOf(const Block& calls, const Block& puts) {
    const Side call(calls), put(puts);
    const std::size_t rows = calls.Rows();
    if (!call.IsComplete() || !put.IsComplete() || rows == 0 || puts.Rows() != rows) return {};

    SideColumns left(calls), right(puts);
    Chain chain{{}, {{"STRIKE", {}}, {"EXPIRATION", {}}}, {}};
    for (std::size_t row = 0; row < rows; ++row) {
        const bool hasCall = !call.IsEmptyAt(row), hasPut = !put.IsEmptyAt(row);
        if (!hasCall && !hasPut) continue;
        const Side& known = hasCall ? call : put;
        if (hasCall && hasPut &&
            (call.strikes->at(row) != put.strikes->at(row) ||
             call.expirations->at(row) != put.expirations->at(row)))
            return {};
        left.Add(row, !hasCall);
        right.Add(row, !hasPut);
        chain.series[0].values.push_back(known.strikes->at(row));
        chain.series[1].values.push_back(known.expirations->at(row));
    }
    chain.calls = std::move(left.columns);
    chain.puts = std::move(right.columns);
    const auto ticker = std::ranges::find_if(
        chain.puts, [](const Column& column) { return IsCalled(column, "TICKER"); });
    if (ticker != chain.puts.end()) std::rotate(ticker, ticker + 1, chain.puts.end());
    return chain;
}

}  // namespace vtdl::host
