#include "DataFolder.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace quoteserver {
namespace {

TEST(DataFolder, FindsTickersWhateverTheirCase) {
    const DataFolder folder{SAMPLE_DATA};
    for (const char* ticker : {"AAPL", "aapl", "^VIX", "^vix"}) {
        const auto file = folder.Prices(ticker);
        ASSERT_TRUE(file) << ticker;
        EXPECT_TRUE(file->text.starts_with("Date,Open")) << ticker;
    }
    const auto dividends = folder.Dividends("spy");
    ASSERT_TRUE(dividends);
    EXPECT_EQ(dividends->name, "SPY.dividends.csv");
}

TEST(DataFolder, HasNothingForOtherNames) {
    const DataFolder folder{SAMPLE_DATA};
    for (const char* ticker : {"AAP", "AAPL2", "SPY", "SPY.Dividends", "", "../data/AAPL", "./AAPL",
                               SAMPLE_DATA "/AAPL"}) {
        EXPECT_FALSE(folder.Prices(ticker)) << ticker;
    }
    EXPECT_FALSE(folder.Dividends("AAPL"));
    EXPECT_THROW(DataFolder{SAMPLE_DATA "/AAPL.csv"}, std::runtime_error);
}

}  // namespace
}  // namespace quoteserver
