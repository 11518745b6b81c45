#include "replies/Columns.h"

#include <gtest/gtest.h>

namespace vtdl::replies {
namespace {

constexpr ColumnSpec specs[] = {{L"A", ColumnType::date}, {L"B", ColumnType::decimal}};

TEST(Columns, KeepTheirRowsWhenTheyGrow) {
    Columns columns(specs);
    EXPECT_EQ(columns.Rows(), 0U);
    columns.AddRows(2);
    columns[0][1] = 5;
    columns[1][0] = 7;
    columns.AddRows(1000);
    EXPECT_EQ(columns.Rows(), 1002U);
    for (std::size_t row = 0; row < columns.Rows(); ++row) {
        EXPECT_EQ(columns[0][row], row == 1 ? 5 : 0);
        EXPECT_EQ(columns[1][row], row == 0 ? 7 : 0);
    }
}

TEST(Columns, OnePageTakesJustItsMemoryAndManyGrowInFewSteps) {
    Columns columns(specs);
    columns.AddRows(6081);
    EXPECT_EQ(columns[1].capacity(), 6081U);
    int steps = 0;
    for (int page = 0; page < 1000; ++page) {
        const double* before = columns[1].data();
        columns.AddRows(200);
        steps += columns[1].data() != before;
    }
    EXPECT_LE(steps, 6);  // 6,081 rows to 206,081: 34-fold
}

}  // namespace
}  // namespace vtdl::replies
