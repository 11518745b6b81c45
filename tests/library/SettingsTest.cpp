// The settings store over the real XML document and real files.

#include <sddl.h>

#include <atomic>
#include <thread>

#include "settings/SharedSettings.h"
#include "support/LibraryTest.h"

namespace vtdl::tests {
namespace {

constexpr char file[] = "s.xml";
constexpr char head[] = "<?xml version=\"1.0\"?>\r\n<sections name=\"XML settings file\">\r\n";

Ptr<_CXMLSettings> NewStore() { return New<::CXMLSettings, _CXMLSettings>(); }

Ptr<_CXMLSettings> Loaded(HRESULT result = S_OK) {
    auto store = NewStore();
    store->put_FileName(_bstr_t(L"s.xml"));
    EXPECT_EQ(store->LoadFile(), result);
    return store;
}

std::wstring ValueOf(_CXMLSettings* store, const wchar_t* section, const wchar_t* key) {
    const Called called =
        Invoke(store, L"GetSetting", DISPATCH_METHOD, {section, key, L"(default)"});
    return FAILED(called.hr) ? L"failed: " + called.source : TextOf(called.value);
}

HRESULT Write(_CXMLSettings* store, const wchar_t* section, const wchar_t* key,
              const std::wstring& value) {
    return store->SaveSetting(_bstr_t(section), _bstr_t(key), _bstr_t(value.c_str()));
}

class SettingsTest : public LibraryTest {};

TEST_F(SettingsTest, FilesAreMadeOrReportedAndLeft) {
    const HRESULT parser = eErrXMLSettings_ParserError, format = eErrXMLSettings_InvalidFileFormat;
    const std::pair<std::string, HRESULT> cases[] = {
        {"not xml at all", parser},
        {"<Sections name=\"XML settings file\"/>", format},
        {"<sections name=\"mine\"><section name=\"a\"/></sections>", format},
        {"<sections title=\"XML SETTINGS FILE\"></sections>", S_OK},
        {"", S_OK},
    };
    for (const auto& [bytes, error] : cases) {
        SCOPED_TRACE(bytes.substr(0, 60));
        WriteAll(file, bytes);
        {
            const auto store = Loaded(error);
            Write(store, L"a", L"k", L"v");
            store->SaveFile(nullptr);
        }
        EXPECT_EQ(ReadAll(file) == bytes, error != S_OK);
    }
    std::filesystem::remove(file);
    Loaded();
    EXPECT_EQ(ReadAll(file), std::string(head) + "</sections>\r\n");
}

TEST_F(SettingsTest, ExternalEntitiesAreNotResolved) {
    WriteAll("secret.txt", "secret");
    WriteAll(file,
             "<!DOCTYPE sections [<!ENTITY e SYSTEM \"secret.txt\">]><sections name=\"XML settings "
             "file\"><section name=\"a\"><key name=\"k\">&e;</key></section></sections>");
    const auto store = Loaded();
    EXPECT_EQ(ValueOf(store, L"a", L"k").find(L"secret"), std::wstring::npos);
}

TEST_F(SettingsTest, KeepsValuesAsTheyAreAndNamesInLowerCase) {
    const auto values = Split(
        L"MSFT|<a b=\"c\">&amp;'\"]]>|  two  |a\nb|\u00e4\u0416\u4e2d|\ta\t|\t\t|\n\n|\n\tb\n| |  "
        L"\u00e4",
        L'|');
    for (const bool isRead : {false, true}) {
        const auto store = Loaded();  // the last reference saves
        for (std::size_t i = 0; i < values.size(); ++i) {
            const std::wstring key = L"Key" + std::to_wstring(i);
            if (!isRead) Write(store, L"Yahoo", key.c_str(), values[i]);
            EXPECT_EQ(ValueOf(store, L"YAHOO", key.c_str()), values[i]);
        }
    }
    EXPECT_NE(ReadAll(file).find("<section name=\"yahoo\">"), std::string::npos) << ReadAll(file);
    const auto store = Loaded();
    Write(store, L"yahoo", L"key0", L"");  // an empty value does not overwrite
    EXPECT_EQ(ValueOf(store, L"yahoo", L"key0"), L"MSFT");
    EXPECT_TRUE(ValueOf(store, L"a", L"it's").starts_with(L"failed")) << "it breaks the query";
    store->DeleteKey(_bstr_t(L"Yahoo"), _bstr_t(L"KEY0"));
    EXPECT_EQ(ValueOf(store, L"yahoo", L"key0"), L"(default)");
    store->DeleteSection(&_bstr_t(L"YAHOO").GetBSTR());
    EXPECT_EQ(ValueOf(store, L"yahoo", L"key1"), L"(default)");
}

TEST_F(SettingsTest, PrettyPrintedTextReadsBackTheSame) {
    const auto store = NewStore();
    const _bstr_t printed =
        L"<?xml version=\"1.0\"?><sections name=\"XML settings file\">\r\n\t<section "
        L"name=\"s\">\r\n"
        L"\t\t<key name=\"k\">\r\n\t\t\tv  w\r\n\t\t</key>\r\n\t</section>\r\n</sections>\r\n";
    store->put_XMLString(printed);
    EXPECT_EQ(Read(store, &_CXMLSettings::get_XMLString), std::wstring(printed));
    EXPECT_EQ(ValueOf(store, L"s", L"k"), L"v  w");
}

TEST_F(SettingsTest, WritesOnlyWhatChangedAndReportsWhatCannotBeWritten) {
    const HRESULT unable = eErrXMLSettings_UnableToSaveFile;
    const auto store = Loaded();
    Write(store, L"a", L"k", L"v");
    EXPECT_EQ(store->SaveFile(nullptr), S_OK);
    DeleteFileA(file);
    Write(store, L"a", L"k", L"v");  // the same value
    EXPECT_EQ(store->SaveFile(nullptr), S_OK);
    EXPECT_EQ(ReadAll(file), "") << "nothing had changed";
    EXPECT_EQ(store->SaveFile(&_bstr_t(L"no such folder\\s.xml").GetBSTR()), unable);
}

// What a manager has not saved yet is there when the next one comes.
TEST_F(SettingsTest, LaterUsersSeeWhatEarlierOnesChanged) {
    const auto first = New(L"CManager");
    Write(SharedSettings().get(), L"hosts", L"pifin", L"changed");
    New(L"CManager");
    EXPECT_EQ(ValueOf(SharedSettings().get(), L"hosts", L"pifin"), L"changed");
}

// Nobody overwrites what another has made and saved meanwhile, nor fails at it.
TEST_F(SettingsTest, MakersOfOneFileAtOnce) {
    for (int i = 0; i < 100; ++i) {
        std::filesystem::remove(file);
        std::atomic<int> ready = 0;
        const auto make = [&] {
            CoInitialize(nullptr);
            for (++ready; ready < 2;) continue;
            Write(Loaded(), L"a", L"k", L"v");
            CoUninitialize();
        };
        std::thread other(make);
        make();
        other.join();
        ASSERT_EQ(ValueOf(Loaded(), L"a", L"k"), L"v") << ReadAll(file);
    }
}

// A virus scanner or a cloud folder holds a file for a moment.
TEST_F(SettingsTest, WaitsForAFileThatIsHeldAndReportsOneThatStays) {
    const std::wstring report =
        L"-2147203819, (Unable to save the file) in vtdl.CXMLSettings.SaveFile\n";
    for (const auto& [held, reported] : {std::pair{60, std::wstring()}, {2000, report}}) {
        auto store = Loaded();
        Write(store, L"a", L"k", std::to_wstring(held));
        const HANDLE open =
            CreateFileA(file, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        std::thread holder([=, time = held] { Sleep(time), CloseHandle(open); });
        store = nullptr;
        holder.join();
        EXPECT_EQ(ReadAll(file).find(std::to_string(held)) == std::string::npos, held == 2000);
        EXPECT_EQ(TakeErrors(), reported);
    }
}

// By the access list's text.
bool EverybodyMayRead(const wchar_t* fileName) {
    BYTE security[4096];
    DWORD size = 0;
    LPWSTR text = nullptr;
    EXPECT_TRUE(
        GetFileSecurityW(fileName, DACL_SECURITY_INFORMATION, security, sizeof security, &size));
    EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(
        security, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
    const bool isOpen = wcsstr(text, L";;;WD)");
    LocalFree(text);
    return isOpen;
}

// A password may be in the library's own file, and in whatever is new; but a host's file keeps what
// the host granted.
TEST_F(SettingsTest, OnlyTheOwnAndNewFilesBecomeTheirUsersOwn) {
    WriteSettings({{"a", "b", "c"}});
    std::filesystem::copy_file("VTDL33.Settings.xml", file);
    ASSERT_TRUE(EverybodyMayRead(L"s.xml"));
    {
        const auto store = Loaded();
        Write(store, L"a", L"b", L"d");
        EXPECT_EQ(store->SaveFile(&_bstr_t(L"new.xml").GetBSTR()), S_OK);
    }
    EXPECT_NE(ReadAll(file).find(">d<"), std::string::npos);
    const auto shared = SharedSettings();
    LoadSharedSettings(*shared);
    Write(shared.get(), L"a", L"b", L"d");
    ASSERT_EQ(shared->SaveFile(nullptr), S_OK);
    EXPECT_TRUE(EverybodyMayRead(L"s.xml"));
    for (const wchar_t* own : {L"new.xml", L"VTDL33.Settings.xml"})
        EXPECT_FALSE(EverybodyMayRead(own)) << own;
}

}  // namespace
}  // namespace vtdl::tests
