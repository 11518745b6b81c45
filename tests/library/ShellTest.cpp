// Starting programs and opening things through the real shell.

#include "shell/CShell.h"
#include "support/LibraryTest.h"

namespace vtdl::tests {
namespace {

class ShellTest : public LibraryTest {};

template <class Action>
std::wstring ErrorOf(Action&& action) {
    return ErrorFrom(L"Vestora Download Library.CShell", [&] { action(CShell()); });
}

TEST_F(ShellTest, MissingFilesAreReportedByNumberAndText) {
    const std::wstring notFound = L"80044679 File not found";
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.OpenDocument(L"none.txt"); }), notFound);
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.OpenFile(L"none.txt"); }), notFound);
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.ShowProperties(L"no", nullptr); }), notFound);
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.RunProgram(L"no", L"", true, L""); }),
              notFound);
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.OpenURL(L"vtdl-no-such-scheme:x"); }),
              L"none");
}

TEST_F(ShellTest, RunsProgramsInFoldersWithBlanksAndWaits) {
    CreateDirectoryA("my folder", nullptr);
    ASSERT_TRUE(CopyFileW(L"C:\\windows\\system32\\cmd.exe", L"my folder\\my shell.exe", TRUE));
    CShell().RunProgram(L"my folder\\my shell.exe", L"/c echo waited> opened.txt", true, L"");
    EXPECT_EQ(ReadAll("opened.txt").substr(0, 6), "waited") << "written when the call returns";
}

}  // namespace
}  // namespace vtdl::tests
