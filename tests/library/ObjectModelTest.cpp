// Parameters, data fields, results, the plain data source, the manager, and the shared helpers.
#include "automation/SafeArray.h"
#include "objectmodel/CParameters.h"
#include "objectmodel/mGlobals.h"
#include "automation/DecimalSeparator.h"
#include "support/HostObjects.h"
#include "support/LibraryTest.h"
#include "support/LoopbackServer.h"

namespace vtdl::tests {
namespace {

Ptr<_CParameter> ItemOf(_CParameters* parameters, _variant_t index) {
    Ptr<_CParameter> found;
    EXPECT_EQ(parameters->Item(&index, &found), S_OK);
    return found;
}

_variant_t ValueOf(_CParameter* parameter) {
    _variant_t value;
    EXPECT_EQ(parameter->get_Value(&value), S_OK);
    return value;
}

std::wstring NameOf(_CParameter* parameter) {
    BSTR name = nullptr;
    EXPECT_EQ(parameter->get_Name(&name), S_OK);
    return Taken(name);
}

long CountOf(auto* collection) {
    long count = -1;
    EXPECT_EQ(collection->get_Count(&count), S_OK);
    return count;
}

_variant_t Doubles(std::initializer_list<double> numbers) {
    automation::NumberArray array(VT_R8, numbers.size());
    std::copy(numbers.begin(), numbers.end(), array.Values().begin());
    VARIANT owned = array.release().release();
    return _variant_t(owned, false);
}

using ParametersTest = LibraryTest;

TEST_F(ParametersTest, AreCreatedWhenTheyAreFirstAskedFor) {
    const auto parameters = New<::CParameters, _CParameters>();
    const auto symbol = ItemOf(parameters, L"symbol");
    EXPECT_EQ(NameOf(symbol), L"symbol");
    EXPECT_EQ(ItemOf(parameters, L"SYMBOL"), symbol);
    EXPECT_EQ(CountOf(parameters.GetInterfacePtr()), 1);

    // Numbers are names too; positions belong to Exists.
    VARIANT_BOOL exists = VARIANT_FALSE;
    _variant_t one(1L), two(2L);
    parameters->Exists(&two, &exists);
    EXPECT_EQ(exists, VARIANT_FALSE);
    const auto numbered = ItemOf(parameters, one);
    EXPECT_NE(numbered, symbol);
    EXPECT_EQ(NameOf(numbered), L"1");
    parameters->Exists(&two, &exists);
    EXPECT_EQ(exists, VARIANT_TRUE);
}

TEST_F(ParametersTest, WithoutEditableChangeNothingAndSucceed) {
    const auto parameter = automation::Make<vtdl::CParameter>();
    parameter->SetName(L"A");
    parameter->put_Value(_variant_t(1L));
    parameter->SetEditable(false);
    EXPECT_EQ(parameter->put_Value(_variant_t(2L)), S_OK);
    EXPECT_EQ(parameter->putref_Value(_variant_t(New(L"CData").GetInterfacePtr())), S_OK);
    EXPECT_EQ(parameter->put_ParameterType(vtdlParameterTypeDate), S_OK);
    parameter->SetName(L"B");
    parameter->SetDefaultValue(automation::Variant(std::wstring_view(L"x")));
    parameter->SetAvailableValues(automation::Variant(std::wstring_view(L"x")));
    EXPECT_EQ(TextOf(ValueOf(parameter.get())), L"1");
    EXPECT_EQ(NameOf(parameter.get()), L"A");
    const Ptr<IDispatch> late(parameter.get());
    EXPECT_EQ(TextOf(Get(late, L"DefaultValue")) + TextOf(Get(late, L"AvailableValues")), L"");
    EXPECT_EQ(TextOf(Get(late, L"ParameterType")), L"0");
    parameter->SetEditable(true);
    EXPECT_EQ(parameter->put_Value(_variant_t(2L)), S_OK);
    EXPECT_EQ(TextOf(ValueOf(parameter.get())), L"2");
}

TEST_F(ParametersTest, GoToTheSettingsAsTextAndComeBackAsText) {
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    settings->put_XMLString(_bstr_t(L"<sections name='XML settings file'/>"));
    const auto parameters = New<::CParameters, _CParameters>();
    ItemOf(parameters, L"Number")->put_Value(_variant_t(12L));
    ItemOf(parameters, L"Truth")->put_Value(_variant_t(true));
    ItemOf(parameters, L"Day")->put_Value(_variant_t(Day(2004, 1, 9), VT_DATE));
    _bstr_t section(L"S"), empty(L"EMPTY");
    _CXMLSettings* store = settings;
    ASSERT_EQ(parameters->SaveValues(&store, &section.GetBSTR()), S_OK);
    ItemOf(parameters, L"Number")->put_Value(_variant_t(13L));
    ItemOf(parameters, L"Unsaved")->put_Value(_variant_t(1.5));

    ASSERT_EQ(parameters->LoadValues(&store, &section.GetBSTR()), S_OK);
    const std::map<std::wstring, std::wstring> expected{
        {L"Number", L"12"}, {L"Truth", L"True"}, {L"Unsaved", L"1.5"}};
    for (const auto& [name, text] : expected) {
        EXPECT_EQ(ValueOf(ItemOf(parameters, name.c_str())).vt, VT_BSTR);
        EXPECT_EQ(TextOf(ValueOf(ItemOf(parameters, name.c_str()))), text);
    }
    EXPECT_EQ(TextOf(ValueOf(ItemOf(parameters, L"Day"))),
              TextOf(_variant_t(Day(2004, 1, 9), VT_DATE)));
    ASSERT_EQ(parameters->LoadValues(&store, &empty.GetBSTR()), S_OK);
    EXPECT_EQ(TextOf(ValueOf(ItemOf(parameters, L"Number"))), L"12");
}

TEST_F(ParametersTest, WithArraysOrObjectsCannotBeSaved) {
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    settings->put_XMLString(_bstr_t(L"<sections name='XML settings file'/>"));
    const auto parameter = New<::CParameter, _CParameter>();
    _CXMLSettings* store = settings;
    _bstr_t section(L"S");
    for (const _variant_t& value :
         {Doubles({1, 2}), _variant_t(New(L"CDataFields").GetInterfacePtr())}) {
        parameter->put_Value(value);
        EXPECT_EQ(parameter->SaveValue(&store, &section.GetBSTR()), S_OK);
        EXPECT_TRUE(TakeErrors().starts_with(L"13, (Type mismatch"));
    }
}

using DataFieldTest = LibraryTest;

TEST_F(DataFieldTest, HandsOutCopies) {
    const auto field = New<::CDataField, _CDataField>();
    _variant_t data = Doubles({1, 2, 3});
    ASSERT_EQ(field->put_Data(&data), S_OK);
    const auto change = [](const _variant_t& array) {
        *static_cast<double*>(V_ARRAY(&array)->pvData) = 99;
    };
    change(data);
    _variant_t copy;
    ASSERT_EQ(field->get_Data(&copy), S_OK);
    change(copy);
    const Ptr<IDispatch> late(field);
    EXPECT_EQ(TextOf(Get(late, L"Data", {0L})), L"1");
    EXPECT_EQ(TextOf(Get(late, L"Data", {2L})), L"3");
}

TEST_F(DataFieldTest, AnswersSingleEntriesToScripts) {
    const Ptr<IDispatch> field = New(L"CDataField");
    Put(field, L"Data", Doubles({1.5}));
    _variant_t index(0L), reference;
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = &index;
    EXPECT_EQ(TextOf(Get(field, L"Data", {reference})), L"1.5");
    EXPECT_EQ(Invoke(field, L"Data", DISPATCH_PROPERTYGET, {1L}).hr, HRESULT(0x800A0009));
    EXPECT_EQ(Invoke(field, L"Data", DISPATCH_PROPERTYGET, {-1L}).hr, HRESULT(0x800A0009));
    Put(field, L"Data", _variant_t(L"single"));
    EXPECT_EQ(Invoke(field, L"Data", DISPATCH_PROPERTYGET, {0L}).hr, HRESULT(0x800A000D));
    Put(field, L"Data", _variant_t());
    EXPECT_EQ(Get(field, L"Data").vt, VT_EMPTY);
}

using DataTest = LibraryTest;

TEST_F(DataTest, HasOneCollectionOfBlocks) {
    const auto data = New<::CData, _CData>();
    Ptr<_CParameters> values, again;
    data->get_Values(&values);
    data->get_Values(&again);
    EXPECT_EQ(values, again);
    EXPECT_EQ(CountOf(values.GetInterfacePtr()), 0);
    EXPECT_EQ(ValueOf(ItemOf(values, L"HISTORICAL")).vt, VT_EMPTY);
}

using DataSourceTest = LibraryTest;

TEST_F(DataSourceTest, DemonstratesProgress) {
    ProgressSink sink;
    const auto source = New<::CDataSource, _CDataSource>();
    Ptr<_CSession> session;
    ASSERT_EQ(source->CreateSession(&session), S_OK);
    session->putref_Progressor(&sink);
    ASSERT_EQ(session->Start(), S_OK);
    Events expected{L"Start"};
    for (int percent = 1; percent <= 100; ++percent)
        expected.push_back(L"Progress " + std::to_wstring(percent) + L" []");
    expected.insert(expected.end(), {L"DataReady", L"Done 0"});
    EXPECT_EQ(sink.events, expected);
}

class ManagerTest : public LibraryTest {
protected:
    ManagerTest() { WriteSettings({{"hosts", "vestora", m_web.Host()}}); }

    std::string m_version = "4.1.0";
    LoopbackServer m_web{[this](const std::string&) { return HttpReply(m_version); }};
};

TEST_F(ManagerTest, RegistersTheSourcesInOrder) {
    const auto manager = New<::CManager, _CManager>();
    Ptr<_CDataSources> sources;
    manager->get_DataSources(&sources);
    EXPECT_EQ(CountOf(sources.GetInterfacePtr()), 15);
    Ptr<IUnknown> unknown;
    sources->NewEnum(&unknown);
    std::wstring text;
    const Ptr<IEnumVARIANT> enumerator(unknown);
    for (_variant_t value; enumerator->Next(1, &value, nullptr) == S_OK; value.Clear()) {
        const Ptr<_CDataSource> source(value.pdispVal);
        BSTR name = nullptr, description = nullptr;
        source->get_Name(&name);
        source->get_Description(&description);
        Ptr<_CDataSource> found;
        _variant_t key(name);
        sources->Item(&key, &found);
        EXPECT_EQ(found, source);
        text += Taken(name) + L"|" + Taken(description) + L"\n";
    }
    EXPECT_EQ(text,
              L"INOEXCHANGES|INO Exchanges\n"
              L"INOOPTIONS|INO Options\n"
              L"INOSNAPSHOT|INO Snapshot price\n"
              L"INOFUTURESLIST|INO Futures list\n"
              L"YAHOOHIST|Yahoo! Finance. Historical data\n"
              L"YAHOOOPTIONS|Yahoo! Finance (Options)\n"
              L"YAHOODIVIDENDS|Yahoo! Finance. Historical dividends data\n"
              L"YAHOOREALTIME|Yahoo! Finance (realtime)\n"
              L"YAHOOECN|Yahoo! Finance (ecn - real time)\n"
              L"YAHOOSNAPSHOT|Yahoo! Finance (snapshot)\n"
              L"GOOGLEHIST|Google.Finance. Historical data\n"
              L"CBOE|CBOE\n"
              L"Pifin|PIFIN\n"
              L"IVOLATILITY|IVolatility\n"
              L"DDE|DDE\n");
}

TEST_F(ManagerTest, CountsUpdateLocksAcrossManagers) {
    const auto first = New<::CManager, _CManager>(), second = New<::CManager, _CManager>();
    first->UnlockUpdate();
    first->UnlockUpdate();
    second->LockUpdate();
    EXPECT_TRUE(UpdateLock::IsLocked());
    second->LockUpdate();
    first->UnlockUpdate();
    EXPECT_TRUE(UpdateLock::IsLocked());
    first->UnlockUpdate();
    EXPECT_FALSE(UpdateLock::IsLocked());
}

TEST_F(ManagerTest, SavesTheParametersInTheirSections) {
    { New<::CManager, _CManager>(); }
    const std::string file = ReadAll("VTDL33.Settings.xml");
    EXPECT_NE(file.find("<section name=\"yahoohist/parameters\"><key name=\"name\">Yahoo! Finance "
                        "(historical data)</key>"),
              std::string::npos)
        << file;
    EXPECT_NE(file.find("<section name=\"inoexchanges/parameters\">"), std::string::npos);
    EXPECT_NE(file.find(m_web.Host()), std::string::npos) << "the file's own values are gone";
}

TEST_F(ManagerTest, LeavesADamagedSettingsFileAsItIsAndHasItsSources) {
    WriteAll("VTDL33.Settings.xml", "<sections name='XML settings file'><section");
    EXPECT_EQ(TextOf(Get(GetObject(New(L"CManager"), L"DataSources"), L"Count")), L"15");
    EXPECT_EQ(ReadAll("VTDL33.Settings.xml"), "<sections name='XML settings file'><section");
    const std::wstring file = (std::filesystem::current_path() / L"VTDL33.Settings.xml").wstring();
    const std::wstring errors = TakeErrors();
    EXPECT_TRUE(errors.starts_with(L"-2147203820, (XML parser error: " + file +
                                   L") in vtdl.CManager.LoadSettings\n"))
        << errors;
}

TEST_F(ManagerTest, ComparesPublishedVersions) {
    const auto manager = New<::CManager, _CManager>();
    const std::map<std::string, bool> cases{
        {"4.1.0", false}, {"4.1.1", true},    {"4.2.0", true}, {"5.0.0", true},
        {"1.0.9", true},  {"3.1.0", false},   {"4.1", false},  {"9.9.9.9", false},
        {"", false},      {"4.1.1\r\n", true}};
    for (const auto& [version, isNewer] : cases) {
        m_version = version;
        VARIANT_BOOL result = VARIANT_FALSE;
        EXPECT_EQ(manager->CheckForNewVersion(&result), S_OK);
        EXPECT_EQ(result == VARIANT_TRUE, isNewer) << version;
    }
    EXPECT_EQ(m_web.TakePaths().front(), "GET /files/VTDL.version");
    m_version = "4.x.0";
    VARIANT_BOOL result = VARIANT_TRUE;
    EXPECT_EQ(manager->CheckForNewVersion(&result), S_OK);
    EXPECT_EQ(result, VARIANT_FALSE);
    EXPECT_TRUE(TakeErrors().starts_with(L"13, (Type mismatch"));
}

using HelpersTest = LibraryTest;

TEST_F(HelpersTest, FindTheThirdFriday) {
    EXPECT_EQ(mGlobals::ThirdFriday(Day(2004, 10, 1)), Day(2004, 10, 15));  // the 15th is a Friday
    EXPECT_EQ(mGlobals::ThirdFriday(Day(2005, 1, 31)), Day(2005, 1, 21));   // ... a Saturday
    EXPECT_EQ(mGlobals::ThirdFriday(Day(2004, 2, 29) + 0.9), Day(2004, 2, 20));
}

TEST_F(HelpersTest, NumberMonths) {
    const std::map<std::wstring, short> cases{{L"JANUARY", 1}, {L"jan", 1}, {L"Jan-05", 1},
                                              {L"dEc", 12},    {L"xyz", 0}, {L"", 0},
                                              {L"Ja", 0},      {L"anF", 0}};
    for (const auto& [name, number] : cases) EXPECT_EQ(mGlobals::GetMonthNumber(name), number);
}

TEST_F(HelpersTest, EncodeQueriesAndDropComments) {
    EXPECT_EQ(mGlobals::URLEncode(L"A B-\n", true), "A+B%2D%A");
    EXPECT_EQ(mGlobals::URLEncode(L"A B", false), "A%20B");
    EXPECT_EQ(mGlobals::DelCommentHtml("a<!-- x -->b"), "ab");
}

TEST_F(HelpersTest, AddDataFieldsOnce) {
    const auto fields = New<::CDataFields, _CDataFields>();
    EXPECT_EQ(mGlobals::AddDataField(fields, L"LAST", automation::Variant(std::wstring_view(L"1"))),
              S_OK);
    EXPECT_EQ(TakeErrors(), L"");
    EXPECT_EQ(mGlobals::AddDataField(fields, L"last", {}), S_OK);
    EXPECT_TRUE(TakeErrors().starts_with(L"457, "));
    EXPECT_EQ(CountOf(fields.GetInterfacePtr()), 1);
    const Ptr<IDispatch> late(fields);
    EXPECT_EQ(TextOf(Get(GetObject(late, L"Item", {L"LAST"}), L"DataType")), L"0");
}

TEST_F(HelpersTest, ConvertNumbersWithTheUsersSeparator) {
    DetermineDecimalSeparator();
    EXPECT_EQ(DecimalSeparator(), TextOf(_variant_t(0.1))[1]);
    EXPECT_EQ(ConvertNumber(L"12.25", L""), 12.25);
    EXPECT_THROW(ConvertNumber(L"n/a", L"here"), automation::Error);
}

}  // namespace
}  // namespace vtdl::tests
