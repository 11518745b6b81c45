// Parameters, data fields, the plain data source, the manager.

#include <map>

#include "automation/SafeArray.h"
#include "objectmodel/CParameters.h"
#include "objectmodel/mGlobals.h"
#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

class ObjectModelTest : public LibraryTest {
protected:
    ObjectModelTest() { WriteSettings({{"hosts", "vestora", m_web.Host()}}); }

    std::string m_version = "4.1.0";
    LoopbackServer m_web{[this](const std::string&) { return HttpReply(m_version); }};
};

_variant_t Doubles(std::initializer_list<double> numbers) {
    automation::NumberArray array(VT_R8, numbers.size());
    std::copy(numbers.begin(), numbers.end(), array.Values().begin());
    VARIANT owned = array.release().release();
    return _variant_t(owned, false);
}

std::wstring ValueText(_CParameters* parameters, const wchar_t* name) {
    return TextOf(Read(ItemOf(parameters, name), &_CParameter::get_Value));
}

TEST_F(ObjectModelTest, ParametersAreCreatedWhenTheyAreFirstAskedFor) {
    const auto parameters = New(L"CParameters");
    const auto symbol = GetObject(parameters, L"Item", {L"symbol"});
    EXPECT_EQ(TextOf(Get(symbol, L"Name")), L"symbol");
    EXPECT_EQ(GetObject(parameters, L"Item", {L"SYMBOL"}), symbol);
    // Numbers are names too; positions belong to Exists.
    EXPECT_EQ(Get(parameters, L"Exists", {2L}), _variant_t(false));
    EXPECT_EQ(TextOf(Get(GetObject(parameters, L"Item", {1L}), L"Name")), L"1");
    EXPECT_EQ(Get(parameters, L"Exists", {2L}), _variant_t(true));
}

TEST_F(ObjectModelTest, LockedParametersChangeNothingAndSucceed) {
    const auto parameter = automation::Make<vtdl::CParameter>();
    const Ptr<IDispatch> late(parameter.get());
    const auto state = [&] {
        std::wstring text;
        for (const wchar_t* name :
             {L"Name", L"Value", L"ParameterType", L"DefaultValue", L"AvailableValues"})
            text += TextOf(Get(late, name)) + L" ";
        return text;
    };
    for (const bool isEditable : {true, false}) {
        const automation::Variant text(std::wstring_view(isEditable ? L"A" : L"B"));
        parameter->SetName(isEditable ? L"A" : L"B");
        EXPECT_EQ(parameter->put_Value(_variant_t(isEditable ? 1L : 2L)), S_OK);
        EXPECT_EQ(parameter->put_ParameterType(vtdlParameterTypeDate), S_OK);
        parameter->SetDefaultValue(text);
        parameter->SetAvailableValues(text);
        EXPECT_EQ(state(), L"A 1 4 A A ");
        parameter->SetEditable(false);
        EXPECT_EQ(parameter->putref_Value(_variant_t(New(L"CData").GetInterfacePtr())), S_OK);
        EXPECT_EQ(parameter->put_ParameterType(vtdlParameterTypeBool), S_OK);
    }
    parameter->SetEditable(true);
    EXPECT_EQ(parameter->put_Value(_variant_t(2L)), S_OK);
    EXPECT_EQ(state(), L"A 2 4 A A ");
}

TEST_F(ObjectModelTest, ParametersGoToTheSettingsAsTextAndComeBackAsText) {
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    settings->put_XMLString(_bstr_t(L"<sections name='XML settings file'/>"));
    const auto parameters = New<::CParameters, _CParameters>();
    _bstr_t section(L"S"), empty(L"EMPTY");
    _CXMLSettings* store = settings;
    const _variant_t day(Day(2004, 1, 9), VT_DATE);
    ItemOf(parameters, L"Number")->put_Value(_variant_t(12L));
    ItemOf(parameters, L"Truth")->put_Value(_variant_t(true));
    ItemOf(parameters, L"Day")->put_Value(day);
    ASSERT_EQ(parameters->SaveValues(&store, &section.GetBSTR()), S_OK);
    ItemOf(parameters, L"Number")->put_Value(_variant_t(13L));
    ItemOf(parameters, L"Unsaved")->put_Value(_variant_t(1.5));
    for (_bstr_t* name : {&section, &empty}) {
        ASSERT_EQ(parameters->LoadValues(&store, &name->GetBSTR()), S_OK);
        EXPECT_EQ(Read(ItemOf(parameters, L"Number"), &_CParameter::get_Value).vt, VT_BSTR);
        EXPECT_EQ(ValueText(parameters, L"Number"), L"12");
        EXPECT_EQ(ValueText(parameters, L"Truth"), L"True");
        EXPECT_EQ(ValueText(parameters, L"Unsaved"), L"1.5");
        EXPECT_EQ(ValueText(parameters, L"Day"), TextOf(day));
    }
    ItemOf(parameters, L"Number")->put_Value(Doubles({1, 2}));
    EXPECT_EQ(ItemOf(parameters, L"Number")->SaveValue(&store, &section.GetBSTR()), S_OK);
    EXPECT_TRUE(TakeErrors().starts_with(L"13, (Type mismatch"));
}

TEST_F(ObjectModelTest, DataFieldsHandOutCopiesAndSingleEntries) {
    const auto field = New(L"CDataField");
    const auto change = [](const _variant_t& array) {
        *static_cast<double*>(V_ARRAY(&array)->pvData) = 99;
    };
    const _variant_t data = Doubles({1, 2, 3});
    Put(field, L"Data", data);
    change(data);
    change(Get(field, L"Data"));
    _variant_t variable(2L);
    EXPECT_EQ(TextOf(Get(field, L"Data", {0L})), L"1");
    EXPECT_EQ(TextOf(Get(field, L"Data", {ReferenceTo(&variable)})), L"3");
    for (const long index : {3L, -1L})
        EXPECT_EQ(Invoke(field, L"Data", DISPATCH_PROPERTYGET, {index}).hr, HRESULT(0x800A0009));
    Put(field, L"Data", _variant_t(L"single"));
    EXPECT_EQ(Invoke(field, L"Data", DISPATCH_PROPERTYGET, {0L}).hr, HRESULT(0x800A000D));
    Put(field, L"Data", _variant_t());
    EXPECT_EQ(Get(field, L"Data").vt, VT_EMPTY);
}

TEST_F(ObjectModelTest, ManagerRegistersTheSourcesInOrder) {
    const auto manager = New(L"CManager"), sources = GetObject(manager, L"DataSources");
    const Ptr<IEnumVARIANT> enumerator(Get(sources, L"NewEnum").punkVal);
    std::wstring names;
    for (_variant_t source; enumerator->Next(1, &source, nullptr) == S_OK; source.Clear()) {
        const _variant_t name = Get(source.pdispVal, L"Name");
        EXPECT_EQ(GetObject(sources, L"Item", {name}).GetInterfacePtr(), source.pdispVal);
        EXPECT_NE(TextOf(Get(source.pdispVal, L"Description")), L"");
        names += TextOf(name) + L" ";
    }
    EXPECT_EQ(names,
              L"INOEXCHANGES INOOPTIONS INOSNAPSHOT INOFUTURESLIST YAHOOHIST YAHOOOPTIONS "
              L"YAHOODIVIDENDS YAHOOREALTIME YAHOOECN YAHOOSNAPSHOT GOOGLEHIST CBOE Pifin "
              L"IVOLATILITY DDE ");
}

// Unlocking too often counts below zero, and the next lock starts from one.
TEST_F(ObjectModelTest, UpdateLocksCountAcrossManagers) {
    const auto first = New<::CManager, _CManager>(), second = New<::CManager, _CManager>();
    const std::pair<const char*, bool> steps[] = {{"UUL", true}, {"LU", true}, {"U", false}};
    for (const auto& [calls, isLocked] : steps) {
        for (const char* call = calls; *call; ++call)
            EXPECT_EQ(*call == 'L' ? second->LockUpdate() : first->UnlockUpdate(), S_OK);
        EXPECT_EQ(UpdateLock::IsLocked(), isLocked) << calls;
    }
}

TEST_F(ObjectModelTest, DamagedSettingsAreLeftAndReported) {
    const char damaged[] = "<sections name='XML settings file'><section";
    WriteAll("VTDL33.Settings.xml", damaged);
    EXPECT_EQ(TextOf(Get(GetObject(New(L"CManager"), L"DataSources"), L"Count")), L"15");
    EXPECT_EQ(ReadAll("VTDL33.Settings.xml"), damaged);
    const std::wstring file = (std::filesystem::current_path() / L"VTDL33.Settings.xml").wstring();
    EXPECT_TRUE(TakeErrors().starts_with(L"-2147203820, (XML parser error: " + file +
                                         L") in vtdl.CManager.LoadSettings\n"));
}

TEST_F(ObjectModelTest, SourcesKeepTheirParametersInTheSettings) {
    WriteSettings({{"yahoohist/parameters", "name", "Saved"}});
    // The store is written when its last user goes, which a manager is here.
    {
        const auto manager = New(L"CManager");
        const auto prices = New<::CDataSourceYahooHitorical, _CDataSource>();
        const auto clone = [&] {
            Ptr<_CDataSource> copy;
            EXPECT_EQ(prices->Clone(&copy), S_OK);
            return Read(copy, &_CDataSource::get_Parameters);
        };
        const auto parameters = Read(prices, &_CDataSource::get_Parameters);
        EXPECT_EQ(ValueText(parameters, L"DATASERVER"), L"YAHOO");
        // What a source says about itself cannot be edited, not in the file either.
        EXPECT_EQ(ValueText(clone(), L"NAME"), L"Yahoo! Finance (historical data)");
        // An entry that a host adds is kept with the others; a clone has what was last saved.
        ItemOf(parameters, L"MINE")->put_Value(_variant_t(L"kept"));
        EXPECT_EQ(Get(clone(), L"Exists", {L"MINE"}), _variant_t(false));
    }
    const std::string file = ReadAll("VTDL33.Settings.xml");
    EXPECT_NE(file.find("kept"), std::string::npos) << file;
    EXPECT_NE(file.find("yahoodividends/parameters"), std::string::npos) << file;
}

TEST_F(ObjectModelTest, VersionsAreCompared) {
    const auto manager = New(L"CManager");
    const std::map<std::string, bool> cases{{"4.1.0", false},   {"4.1.1", true},    {"4.2.0", true},
                                            {"5.0.0", true},    {"1.0.9", true},    {"4.1", false},
                                            {"9.9.9.9", false}, {"3.1.0", false},   {"", false},
                                            {"4.x.0", false},   {"4.1.1\r\n", true}};
    for (const auto& [version, isNewer] : cases) {
        m_version = version;
        EXPECT_EQ(Get(manager, L"CheckForNewVersion"), _variant_t(isNewer)) << version;
    }
    EXPECT_EQ(m_web.TakePaths().front(), "GET /files/VTDL.version");
    EXPECT_TRUE(TakeErrors().starts_with(L"13, (Type mismatch"));
}

}  // namespace
}  // namespace vtdl::tests
