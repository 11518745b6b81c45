#include "replies/GoogleTable.h"

#include "replies/DelimitedRows.h"
#include "replies/ServiceDate.h"
#include "text/Ascii.h"

namespace vtdl::replies {
namespace {

struct TableFormat {
    static bool IsSeparator(char c) { return c == ',' || c == '\t'; }
    static DateRead ReadDate(const char* first, const char* last) {
        return ReadServiceDate(first, last);
    }
};

}  // namespace

bool IsGoogleTable(std::string_view reply) {
    return text::FindIgnoringCase(reply.substr(0, 30), "Date,Open,") != std::string_view::npos;
}

// The header is skipped whole, and with it the byte-order mark in front of it.
void ParseGoogleTable(std::string_view reply, Columns& columns, OddFieldReader& oddFields) {
    const std::string_view rows = BelowHeader(WithoutFinalLineEnds(reply));
    if (!rows.empty()) ParseRows<TableFormat>(rows, columns, oddFields);
}

}  // namespace vtdl::replies
