// The settings store over the real XML document and real files.

#include <map>
#include <random>
#include <set>
#include <thread>

#include "SaveLoop.h"
#include "automation/TypeInformation.h"
#include "automation/UniqueHandle.h"
#include "support/LibraryTest.h"
#include "settings/SharedSettings.h"

namespace vtdl::tests {
namespace {

constexpr char file[] = "s.xml";
constexpr char head[] = "<?xml version=\"1.0\"?>\r\n<sections name=\"XML settings file\">\r\n";

class SettingsTest : public LibraryTest {
protected:
    static Ptr<_CXMLSettings> NewStore() { return New<::CXMLSettings, _CXMLSettings>(); }

    // The number that loading gives, and 0 for success.
    static HRESULT Load(_CXMLSettings* store) {
        store->put_FileName(_bstr_t(L"s.xml"));
        return store->LoadFile();
    }

    Ptr<_CXMLSettings> Loaded() {
        auto store = NewStore();
        EXPECT_EQ(Load(store), S_OK);
        return store;
    }

    static std::wstring Read(_CXMLSettings* store, const wchar_t* section, const wchar_t* key) {
        _bstr_t sectionName(section), keyName(key), none(L"(default)");
        BSTR value = nullptr;
        const HRESULT hr =
            store->GetSetting(&sectionName.GetBSTR(), &keyName.GetBSTR(), &none.GetBSTR(), &value);
        return FAILED(hr) ? L"failed" : Taken(value);
    }

    static HRESULT Write(_CXMLSettings* store, const wchar_t* section, const wchar_t* key,
                         const wchar_t* value) {
        return store->SaveSetting(_bstr_t(section), _bstr_t(key), _bstr_t(value));
    }
};

TEST_F(SettingsTest, MissingAndEmptyFilesAreMade) {
    Loaded();
    EXPECT_EQ(ReadAll(file), std::string(head) + "</sections>\r\n");
    WriteAll(file, "");
    Loaded();
    EXPECT_EQ(ReadAll(file), std::string(head) + "</sections>\r\n");
}

TEST_F(SettingsTest, FilesThatAreNoSettingsAreReportedAndLeft) {
    const struct {
        const char* bytes;
        EErrXMLSettings error;
        const wchar_t* text;
    } cases[] = {
        {"<sections name=\"XML settings file\">", eErrXMLSettings_ParserError, L"XML parser error"},
        {"not xml at all", eErrXMLSettings_ParserError, L"XML parser error"},
        {"<Sections name=\"XML settings file\"/>", eErrXMLSettings_InvalidFileFormat,
         L"Invalid file format"},
        {"<sections/>", eErrXMLSettings_InvalidFileFormat, L"Invalid file format"},
        {"<sections name=\"mine\"><section name=\"a\"/></sections>",
         eErrXMLSettings_InvalidFileFormat, L"Invalid file format"},
    };
    for (const auto& test : cases) {
        WriteAll(file, test.bytes);
        {
            const auto store = NewStore();
            EXPECT_EQ(Load(store), static_cast<HRESULT>(test.error)) << test.bytes;
            const auto information = TakeErrorInformation();
            EXPECT_EQ(information.description, test.text);
            EXPECT_EQ(information.source, L"VTDL33.CXMLSettings");
            Write(store, L"a", L"k", L"v");
            store->SaveFile(nullptr);
        }
        EXPECT_EQ(ReadAll(file), test.bytes) << "it was overwritten";
    }
    WriteAll(file, "<sections title=\"XML SETTINGS FILE\"></sections>");
    EXPECT_TRUE(Loaded()) << "the attribute's name and the letters' case do not count";
}

TEST_F(SettingsTest, RefusesWhatIsTooLargeToParse) {
    const std::string large = head + std::string(17 << 20, ' ') + "</sections>";
    WriteAll(file, large);
    const auto store = NewStore();
    EXPECT_EQ(Load(store), static_cast<HRESULT>(eErrXMLSettings_ParserError));
    EXPECT_EQ(store->put_XMLString(_bstr_t(std::wstring(large.begin(), large.end()).c_str())),
              static_cast<HRESULT>(eErrXMLSettings_ParserError));
}

TEST_F(SettingsTest, ExternalEntitiesAndDefinitionsAreNotResolved) {
    WriteAll("secret.txt", "secret");
    WriteAll(file,
             "<!DOCTYPE sections [<!ENTITY e SYSTEM \"secret.txt\">]><sections name=\"XML settings "
             "file\"><section name=\"a\"><key name=\"k\">&e;</key></section></sections>");
    const auto store = NewStore();
    if (SUCCEEDED(Load(store))) {
        EXPECT_EQ(Read(store, L"a", L"k").find(L"secret"), std::wstring::npos);
    }
}

TEST_F(SettingsTest, KeepsValuesAsTheyAreAndNamesInLowerCase) {
    const std::map<std::wstring, std::wstring> values = {
        {L"Plain", L"MSFT"},
        {L"Markup", L"<a b=\"c\">&amp;'\"]]>"},
        {L"Blanks", L"  two  "},
        {L"Lines", L"a\nb"},
        {L"Letters", L"\u00e4\u0416\u4e2d"},
        {L"Tabs", L"\ta\t"},
        {L"Tabs only", L"\t\t"},
        {L"Breaks only", L"\n\n"},
        {L"Indented", L"\n\tb\n"},
        {L"Blank", L" "},
        {L"Start", L"  \u00e4"},
    };
    {
        const auto store = Loaded();
        for (const auto& [key, value] : values)
            EXPECT_EQ(Write(store, L"Yahoo", key.c_str(), value.c_str()), S_OK);
    }  // the last reference saves
    EXPECT_NE(ReadAll(file).find("<section name=\"yahoo\">"), std::string::npos) << ReadAll(file);
    const auto store = Loaded();
    for (const auto& [key, value] : values) EXPECT_EQ(Read(store, L"YAHOO", key.c_str()), value);

    Write(store, L"yahoo", L"plain", L"");
    EXPECT_EQ(Read(store, L"yahoo", L"plain"), L"MSFT") << "an empty value does not overwrite";
    Write(store, L"yahoo", L"new", L"");
    EXPECT_EQ(Read(store, L"yahoo", L"new"), L"(default)");
    EXPECT_EQ(Read(store, L"yahoo", L"it's"), L"failed") << "an apostrophe breaks the query";
    store->DeleteKey(_bstr_t(L"Yahoo"), _bstr_t(L"PLAIN"));
    EXPECT_EQ(Read(store, L"yahoo", L"plain"), L"(default)");
    store->DeleteSection(&_bstr_t(L"YAHOO").GetBSTR());
    EXPECT_EQ(Read(store, L"yahoo", L"lines"), L"(default)");
}

TEST_F(SettingsTest, PrettyPrintedTextReadsBackTheSame) {
    const auto store = NewStore();
    store->put_XMLString(_bstr_t(
        L"<sections name=\"XML settings file\"><section name=\"s\"><key "
        L"name=\"k\">v  w</key><key name=\"e\"/><key name=\"t\">\t</key></section></sections>"));
    BSTR text = nullptr;
    ASSERT_EQ(store->get_XMLString(&text), S_OK);
    const std::wstring printed = Taken(text);
    EXPECT_EQ(printed,
              L"<?xml version=\"1.0\"?><sections name=\"XML settings file\">\r\n\t<section "
              L"name=\"s\">\r\n\t\t<key name=\"k\">\r\n\t\t\tv  w\r\n\t\t</key>\r\n\t\t<key "
              L"name=\"e\">\r\n\t\t\r\n\t\t</key>\r\n\t\t<key "
              L"name=\"t\">\r\n\t\t\t\t\r\n\t\t</key>\r\n\t</section>\r\n</sections>\r\n");
    store->put_XMLString(_bstr_t(printed.c_str()));
    EXPECT_EQ(Read(store, L"s", L"k"), L"v  w");
    EXPECT_EQ(Read(store, L"s", L"e"), L"(default)");
    EXPECT_EQ(Read(store, L"s", L"t"), L"\t");
    store->get_XMLString(&text);
    EXPECT_EQ(Taken(text), printed) << "printing it again adds nothing";
}

TEST_F(SettingsTest, RefusesWhatIsNotLoadedOrNamed) {
    const auto store = NewStore();
    EXPECT_EQ(store->put_FileName(nullptr), static_cast<HRESULT>(eErrXMLSettings_InvalidFileName));
    EXPECT_EQ(store->LoadFile(), static_cast<HRESULT>(eErrXMLSettings_NotInitialized));
    EXPECT_EQ(Write(store, L"a", L"b", L"c"), static_cast<HRESULT>(eErrXMLSettings_NotInitialized));
    EXPECT_EQ(TakeErrorInformation().source, L"CXMLSettings.SaveSetting");
    EXPECT_EQ(Read(store, L"a", L"b"), L"failed");
    EXPECT_EQ(TakeErrorInformation().source, L"CXMLSettings.GetSetting");
    long count = 9;
    SAFEARRAY* names = nullptr;
    EXPECT_EQ(store->EnumerateAllSections(&names, &count),
              static_cast<HRESULT>(eErrXMLSettings_NotInitialized));
    EXPECT_EQ(TakeErrorInformation().source, L"CXMLSettings.SaveSetting") << "shared on purpose";
    EXPECT_EQ(store->DeleteKey(_bstr_t(L"a"), _bstr_t(L"b")), S_OK);
}

TEST_F(SettingsTest, WritesOnlyWhatChangedAndReportsWhatCannotBeWritten) {
    const auto store = Loaded();
    Write(store, L"a", L"k", L"v");
    EXPECT_EQ(store->SaveFile(nullptr), S_OK);
    DeleteFileA(file);
    Write(store, L"a", L"k", L"v");  // the same value
    EXPECT_EQ(store->SaveFile(nullptr), S_OK);
    EXPECT_EQ(ReadAll(file), "") << "nothing had changed";
    EXPECT_EQ(store->SaveFile(&_bstr_t(L"no such folder\\s.xml").GetBSTR()),
              static_cast<HRESULT>(eErrXMLSettings_UnableToSaveFile));
    EXPECT_EQ(store->SaveFile(&_bstr_t(L"copy.xml").GetBSTR()), S_OK);
    EXPECT_NE(ReadAll("copy.xml").find(">v<"), std::string::npos);

    const std::string before = ReadAll("copy.xml");
    SetFileAttributesA("copy.xml", FILE_ATTRIBUTE_READONLY);
    Write(store, L"a", L"k", L"other");
    EXPECT_EQ(store->SaveFile(&_bstr_t(L"copy.xml").GetBSTR()),
              static_cast<HRESULT>(eErrXMLSettings_UnableToSaveFile));
    EXPECT_EQ(ReadAll("copy.xml"), before);
    SetFileAttributesA("copy.xml", FILE_ATTRIBUTE_NORMAL);
    store->put_FileName(_bstr_t(L"other.xml"));
}

// Another process saves two contents in turns and is ended at any moment.
TEST_F(SettingsTest, EndingTheProcessLeavesTheOldFileOrTheNew) {
    std::set<std::string> contents;
    for (const auto& value : {std::wstring(3000, L'a'), std::wstring(70000, L'b')}) {
        const auto store = NewStore();
        store->put_FileName(_bstr_t(L"expected.xml"));
        store->LoadFile();
        Write(store, L"section", L"key", value.c_str());
        store->SaveFile(nullptr);
        contents.insert(ReadAll("expected.xml"));
    }
    ASSERT_EQ(contents.size(), 2u);

    std::mt19937 random(1);
    std::set<std::string> seen;
    for (int kill = 0; kill < 25; ++kill) {
        std::wstring command = L"\"" + automation::ModulePath() + L"\" --save-loop s.xml";
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        ASSERT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &process));
        // It has begun when the file is another one: a busy machine takes its time to start it.
        const auto size = [] {
            std::error_code none;
            return std::filesystem::file_size(file, none);
        };
        for (const auto before = size(); size() == before;) {
            ASSERT_EQ(WaitForSingleObject(process.hProcess, 1), DWORD{WAIT_TIMEOUT});
        }
        Sleep(random() % 40);
        TerminateProcess(process.hProcess, 0);
        WaitForSingleObject(process.hProcess, 5000);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        const std::string bytes = ReadAll(file);
        ASSERT_TRUE(contents.contains(bytes))
            << "after " << kill << ": " << bytes.size() << " bytes";
        seen.insert(bytes);
    }
    EXPECT_EQ(seen.size(), 2u) << "the loop was never interrupted where it mattered";
}

// A virus scanner or a cloud folder holds a file for a moment.
TEST_F(SettingsTest, WaitsForAFileThatIsHeldAndReportsOneThatStays) {
    for (const DWORD held : {120, 2000}) {
        auto store = Loaded();
        Write(store, L"a", L"k", std::to_wstring(held).c_str());
        std::thread holder;
        {
            const automation::FileHandle open(CreateFileA(file, GENERIC_READ, FILE_SHARE_READ,
                                                          nullptr, OPEN_EXISTING, 0, nullptr));
            HANDLE copy = nullptr;
            DuplicateHandle(GetCurrentProcess(), open.get(), GetCurrentProcess(), &copy, 0, FALSE,
                            DUPLICATE_SAME_ACCESS);
            holder = std::thread([copy, held] { Sleep(held), CloseHandle(copy); });
        }
        store = nullptr;
        holder.join();
        const bool isSaved = ReadAll(file).find(std::to_string(held)) != std::string::npos;
        EXPECT_EQ(isSaved, held == 120);
        EXPECT_EQ(TakeErrors(),
                  isSaved
                      ? L""
                      : L"-2147203819, (Unable to save the file) in vtdl.CXMLSettings.SaveFile\n");
    }
}

// The last one wins, with all that it holds.
TEST_F(SettingsTest, TwoStoresOnOneFileNeverLeaveHalf) {
    Loaded();
    const std::size_t sizes[] = {3000, 70000};
    std::vector<std::thread> savers;
    for (const std::size_t size : sizes)
        savers.emplace_back([size] {
            const std::wstring value(size, L'a');
            CoInitialize(nullptr);
            for (int i = 0; i < 30; ++i) {
                const auto store = NewStore();
                store->put_FileName(_bstr_t(L"s.xml"));
                store->LoadFile();
                Write(store, L"s", L"k", (value + std::to_wstring(i)).c_str());
                EXPECT_EQ(store->SaveFile(nullptr), S_OK);
            }
            CoUninitialize();
        });
    for (std::thread& saver : savers) saver.join();
    EXPECT_GT(Read(Loaded(), L"s", L"k").size(), 3000u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1)
        << "nothing else is left";
}

bool EverybodyMayRead(const wchar_t* fileName) {
    char buffer[1024];
    DWORD size = 0;
    BOOL isPresent = FALSE, isDefaulted = FALSE;
    PACL rights = nullptr;
    EXPECT_TRUE(
        GetFileSecurityW(fileName, DACL_SECURITY_INFORMATION, buffer, sizeof buffer, &size));
    EXPECT_TRUE(GetSecurityDescriptorDacl(buffer, &isPresent, &rights, &isDefaulted) && rights);
    alignas(SID) char everyone[SECURITY_MAX_SID_SIZE];
    size = sizeof everyone;
    EXPECT_TRUE(CreateWellKnownSid(WinWorldSid, nullptr, everyone, &size));
    for (DWORD i = 0; i < rights->AceCount; ++i) {
        ACCESS_ALLOWED_ACE* entry = nullptr;
        EXPECT_TRUE(GetAce(rights, i, reinterpret_cast<void**>(&entry)));
        const bool grants = entry->Header.AceType == ACCESS_ALLOWED_ACE_TYPE;
        if (grants && EqualSid(&entry->SidStart, everyone)) return true;
    }
    return false;
}

// A password may be in the library's own file, and in whatever is new; but a host's file keeps what
// the host granted. What waits under a temporary file's name is not written to.
TEST_F(SettingsTest, OnlyTheOwnAndNewFilesBecomeTheirUsersOwn) {
    WriteSettings({{"a", "b", "c"}});
    std::filesystem::copy_file("VTDL33.Settings.xml", file);
    ASSERT_TRUE(EverybodyMayRead(L"s.xml"));
    WriteAll("victim.txt", "untouched");
    const auto temporary = "s.xml." + std::to_string(GetCurrentProcessId()) + ".tmp";
    ASSERT_TRUE(CreateHardLinkA(temporary.c_str(), "victim.txt", nullptr));
    {
        const auto store = Loaded();
        Write(store, L"a", L"b", L"d");
        EXPECT_EQ(store->SaveFile(&_bstr_t(L"new.xml").GetBSTR()), S_OK);
    }
    EXPECT_NE(ReadAll(file).find(">d<"), std::string::npos);
    EXPECT_EQ(ReadAll("victim.txt"), "untouched");
    EXPECT_TRUE(EverybodyMayRead(L"s.xml"));
    EXPECT_FALSE(EverybodyMayRead(L"new.xml"));
    const auto made = NewStore();
    made->put_FileName(_bstr_t(L"made.xml"));
    ASSERT_EQ(made->LoadFile(), S_OK);
    EXPECT_FALSE(EverybodyMayRead(L"made.xml"));

    const auto shared = SharedSettings();
    LoadSharedSettings(*shared);
    Write(shared.get(), L"a", L"b", L"d");
    ASSERT_EQ(shared->SaveFile(nullptr), S_OK);
    EXPECT_FALSE(EverybodyMayRead(L"VTDL33.Settings.xml"));
}

}  // namespace
}  // namespace vtdl::tests
