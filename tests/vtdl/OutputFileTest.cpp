#include "Output.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Values.h"

namespace vtdl::host {
namespace {

namespace fs = std::filesystem;

class OutputFile : public testing::Test {
protected:
    // One folder a test, and a build: the same test may run natively and under Wine at once.
    OutputFile()
        : m_folder(fs::path(TEST_FOLDER) /
                   testing::UnitTest::GetInstance()->current_test_info()->name()) {
        fs::remove_all(m_folder);
        fs::create_directories(m_folder);
    }

    std::string Name(const char* file) const { return (m_folder / fs::path(file)).string(); }

    std::string Content(const char* file) const {
        std::ifstream in(m_folder / fs::path(file), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::ptrdiff_t Files() const {
        return std::distance(fs::directory_iterator(m_folder), fs::directory_iterator());
    }

    fs::path m_folder;
};

TEST_F(OutputFile, IsNewOrReplacesTheOldOne) {
    WriteFile(Name("a.csv"), "old and longer\n");
    WriteFile(Name("a.csv"), "new\n");
    EXPECT_EQ(Content("a.csv"), "new\n");
    EXPECT_EQ(Files(), 1);
}

TEST_F(OutputFile, IsNamedAfterItsTicker) {
    EXPECT_EQ(FileNameFor("a.csv", "X"), "a.csv");
    EXPECT_EQ(FileNameFor("d/{ticker}-{Ticker}.csv", "^A/B:{ticker}"),
              "d/^A_B_{ticker}-^A_B_{ticker}.csv");
    EXPECT_TRUE(HasTickerMark("--output", "{TICKER}{.csv"));
    EXPECT_FALSE(HasTickerMark("--output", "{a b}{}.csv"));
    EXPECT_THROW(HasTickerMark("--output", "{ticker}-{date}.csv"), UsageError);
}

TEST_F(OutputFile, LeavesNothingWhenItFails) {
    fs::create_directory(m_folder / "taken");
    std::ofstream(m_folder / "taken" / "inside") << "x";
    EXPECT_THROW(WriteFile(Name("taken"), "text"), Failure);
    EXPECT_THROW(WriteFile(Name("missing/a.csv"), "text"), Failure);
    EXPECT_EQ(Files(), 1);
    EXPECT_TRUE(fs::exists(m_folder / "taken" / "inside"));
}

}  // namespace
}  // namespace vtdl::host
