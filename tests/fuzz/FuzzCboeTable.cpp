// Option chains.

#include "Tables.h"
#include "replies/CboeTable.h"

namespace {

using namespace vtdl::fuzz;
using namespace vtdl::replies;

bool IsInside(std::string_view piece, std::string_view whole) {
    return piece.empty() || (piece.data() >= whole.data() &&
                             piece.data() + piece.size() <= whole.data() + whole.size());
}

void CheckTable(std::string_view reply) {
    Noting noting, ignored;
    const CboeTable table = ParseCboeTable(reply, noting);
    Require(table.calls.Rows() == table.puts.Rows(), "calls and puts are equally many");
    Require(!table.quote.first.empty() && !table.quote.second.empty(), "a line has a field");
    for (const Columns* side : {&table.calls, &table.puts})
        for (const std::string_view symbol : side->Texts(0))
            Require(IsInside(symbol, reply), "a symbol is a piece of the reply");
    for (const OddField& field : noting.fields) {
        Require(IsInside(field.text, reply), "an odd field is a piece of the reply");
        Require(field.row > 3 && field.row <= table.calls.Rows() + 3, "its line is told");
        Require(field.column > 0 && field.column < 9, "its column is told");
    }

    const std::size_t end = reply.rfind("\r\n", reply.size() / 2);
    if (end == std::string_view::npos) return;
    const CboeTable cut = ParseCboeTable(reply.substr(0, end + 2), ignored);
    const std::size_t rows = std::min(cut.calls.Rows(), table.calls.Rows());
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t column = 1; column < 9; ++column)
            Require(cut.calls[column][row] == table.calls[column][row] &&
                        cut.puts[column][row] == table.puts[column][row],
                    "rows before a cut are the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view reply = Input(data, size).Rest();
    CheckTable(reply);
    ParseCboeDate(reply);
    ParseCboeExpiry(reply);
    Require(IsInside(CboeSymbol(reply), reply), "a symbol is a piece of its description");
    return 0;
}
