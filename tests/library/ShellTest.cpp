// Opening things through the real shell.

#include "automation/RegistryKey.h"
#include "shell/CShell.h"
#include "support/HostObjects.h"
#include "support/LibraryTest.h"

namespace vtdl::tests {
namespace {

constexpr char output[] = "opened.txt";

// A command of the shell, for the time of a test; what was there before comes back.
class ShellCommand {
public:
    ShellCommand(const std::wstring& key, const std::wstring& command)
        : m_key(L"SOFTWARE\\Classes\\" + key),
          m_before(automation::ReadText(HKEY_LOCAL_MACHINE, m_key, nullptr)) {
        Set(command);
    }
    ~ShellCommand() {
        if (m_before.empty())
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_key.c_str());
        else
            Set(m_before);
    }

private:
    void Set(const std::wstring& text) const {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, m_key.c_str(), nullptr, REG_SZ, text.c_str(),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }

    std::wstring m_key;
    std::wstring m_before;
};

// What a program that was started writes soon.
std::string Opened() {
    for (int attempt = 0; attempt < 100 && ReadAll(output).empty(); ++attempt) Sleep(50);
    Sleep(50);
    const std::string text = ReadAll(output);
    DeleteFileA(output);
    return text;
}

std::wstring Echo(const std::wstring& what) {
    wchar_t folder[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, folder);
    return L"cmd.exe /c echo " + what + L"> \"" + folder + L"\\opened.txt\"";
}

template <class Action>
std::wstring ErrorOf(Action&& action) {
    try {
        action(CShell());
        return L"none";
    } catch (const automation::Error& error) {
        EXPECT_EQ(error.Source(), L"Vestora Download Library.CShell");
        wchar_t number[20];
        swprintf(number, ARRAYSIZE(number), L"%08lX ", error.Code());
        return number + error.Description();
    }
}

class ShellTest : public LibraryTest {};

TEST_F(ShellTest, MissingFilesAreReportedByNumberAndText) {
    const std::wstring notFound = L"80044679 File not found";
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.OpenDocument(L"nothing here.txt"); }),
              notFound);
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.OpenFile(L"nothing.txt"); }), notFound);
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.ShowProperties(L"nothing", nullptr); }),
              notFound);
    for (const bool wait : {false, true})
        EXPECT_EQ(
            ErrorOf([&](const CShell& shell) { shell.RunProgram(L"no.exe", L"", wait, L""); }),
            notFound);
    const std::wstring tooLong(300, L'x');
    EXPECT_EQ(ErrorOf([&](const CShell& shell) { shell.OpenDocument(tooLong); }).substr(0, 31),
              L"80044687 CShell component failu");
}

TEST_F(ShellTest, AddressesNeverFailForWhatIsNotFound) {
    EXPECT_EQ(ErrorOf([](const CShell& shell) { shell.OpenURL(L"vtdl-no-such-scheme:x"); }),
              L"none");
}

TEST_F(ShellTest, RunsProgramsInFoldersWithBlanksAndWaits) {
    CreateDirectoryA("my folder", nullptr);
    ASSERT_TRUE(CopyFileW(L"C:\\windows\\system32\\cmd.exe", L"my folder\\my shell.exe", TRUE));
    CShell().RunProgram(L"my folder\\my shell.exe", L"/c echo waited> opened.txt", true, L"");
    EXPECT_EQ(ReadAll(output).substr(0, 6), "waited") << "it is written when the call returns";
    DeleteFileA(output);
    CShell().RunProgram(L"my folder\\my shell.exe", L"/c echo started> opened.txt", false, L"");
    EXPECT_EQ(Opened().substr(0, 7), "started");
    WriteAll("no program.exe", "text");
    EXPECT_EQ(
        ErrorOf([](const CShell& shell) { shell.RunProgram(L"no program.exe", L"", true, L""); }),
        L"80044685 Cannot create process");
}

TEST_F(ShellTest, OpensFilesWithTheVerbOfTheirType) {
    WriteAll("plain", "x");
    WriteAll("some file.vtdltest", "x");
    CShell().OpenFile(L"plain");               // no extension: nothing happens
    CShell().OpenFile(L"some file.vtdltest");  // no type: nothing happens
    const ShellCommand type(L".vtdltest", L"vtdltestfile");
    CShell().OpenFile(L"some file.vtdltest");  // no verb: nothing happens
    const ShellCommand command(L"vtdltestfile\\Shell\\Open\\command", Echo(L"\"%1\""));
    CShell().OpenFile(L"some file.vtdltest");
    EXPECT_NE(Opened().find("some file.vtdltest"), std::string::npos);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\vtdltestfile");
}

TEST_F(ShellTest, SendsMailThroughTheMailProgram) {
    const ShellCommand command(L"mailto\\shell\\open\\command", Echo(L"\"%1\""));
    CShell().SendMail(L"help@example.org", L"cc@example.org", L"subject", L"body");
    EXPECT_NE(Opened().find("mailto:help@example.org?subject=subject&cc=cc@example.org&body=body"),
              std::string::npos);
}

}  // namespace
}  // namespace vtdl::tests
