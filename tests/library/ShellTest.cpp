// Starting programs through the real shell.

#include "shell/CShell.h"
#include "support/LibraryTest.h"

namespace vtdl::tests {
namespace {

class ShellTest : public LibraryTest {};

TEST_F(ShellTest, RunsProgramsInFoldersWithBlanksAndWaits) {
    CreateDirectoryA("my folder", nullptr);
    const auto run = [] {
        CShell().RunProgram(L"my folder\\my shell.exe", L"/c echo waited> opened.txt", true, L"");
    };
    EXPECT_THROW(run(), automation::Error);
    ASSERT_TRUE(CopyFileW(L"C:\\windows\\system32\\cmd.exe", L"my folder\\my shell.exe", TRUE));
    run();
    EXPECT_EQ(ReadAll("opened.txt").substr(0, 6), "waited") << "written when the call returns";
}

}  // namespace
}  // namespace vtdl::tests
