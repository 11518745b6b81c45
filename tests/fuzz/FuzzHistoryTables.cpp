// The tables of the finance service and of the futures service.

#include "Tables.h"
#include "replies/DelimitedRows.h"
#include "replies/GoogleTable.h"
#include "replies/PifinTable.h"

namespace {

using namespace vtdl::fuzz;
using namespace vtdl::replies;

template <class Parser>
void Check(Parser parser, std::span<const ColumnSpec> specs, std::string_view separators,
           std::string_view reply) {
    Columns columns(specs), cut(specs);
    Noting noting, ignored;
    parser(reply, columns, noting);
    const std::size_t header = reply.find('\n');
    if (header == std::string_view::npos) return Require(columns.Rows() == 0, "no rows, no lines");
    CheckRows(BelowHeader(WithoutFinalLineEnds(reply)), separators, columns, noting);
    parser(reply.substr(0, reply.size() / 2), cut, ignored);
    CheckSameRows(cut, columns);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view reply = Input(data, size).Rest();
    if (IsGoogleTable(reply)) Require(reply.size() >= 10, "a table has a header");
    if (IsPifinTable(reply)) Require(reply.starts_with("Date"), "a table has a header");
    Check(ParseGoogleTable, googleColumns, ",\t", reply);
    Check(ParsePifinTable, pifinColumns, "\t", reply);
    return 0;
}
