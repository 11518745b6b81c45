// Collections, parameters, data fields, the plain data source, the manager.

#include <map>

#include "objectmodel/CParameters.h"
#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

class ObjectModelTest : public LibraryTest {
protected:
    ObjectModelTest() { WriteSettings({{"hosts", "vestora", m_web.Host()}}); }

    std::string m_version = "4.1.0";
    LoopbackServer m_web{[this](const std::string&) { return HttpReply(m_version); }};
};

_variant_t ValueOf(_CParameters* parameters, const wchar_t* name) {
    return Read(ItemOf(parameters, name), &_CParameter::get_Value);
}

TEST_F(ObjectModelTest, ParametersAreCreatedWhenTheyAreFirstAskedFor) {
    const auto parameters = New(L"CParameters");
    const auto symbol = GetObject(parameters, L"Item", {L"symbol"});
    EXPECT_EQ(TextOf(Get(symbol, L"Name")), L"symbol");
    EXPECT_EQ(GetObject(parameters, L"Item", {L"SYMBOL"}), symbol);
    EXPECT_EQ(TextOf(Get(GetObject(parameters, L"Item", {1L}), L"Name")), L"1") << "not a position";
}

TEST_F(ObjectModelTest, LockedParametersChangeNothingAndSucceed) {
    const auto parameter = automation::Make<vtdl::CParameter>();
    EXPECT_EQ(parameter->put_Value(_variant_t(L"A")), S_OK);
    parameter->SetEditable(false);
    EXPECT_EQ(parameter->put_Value(_variant_t(L"B")), S_OK);
    EXPECT_EQ(parameter->put_ParameterType(vtdlParameterTypeDate), S_OK);
    EXPECT_EQ(parameter->putref_Value(_variant_t(New(L"CData").GetInterfacePtr())), S_OK);
    EXPECT_EQ(Read(parameter.get(), &_CParameter::get_Value), _variant_t(L"A"));
    EXPECT_NE(Read(parameter.get(), &_CParameter::get_ParameterType), vtdlParameterTypeDate);
}

TEST_F(ObjectModelTest, ParametersGoToTheSettingsAsTextAndComeBackAsText) {
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    settings->put_XMLString(_bstr_t(L"<sections name='XML settings file'/>"));
    const auto parameters = New<::CParameters, _CParameters>();
    _bstr_t section(L"S"), empty(L"EMPTY");
    _CXMLSettings* store = settings;
    ItemOf(parameters, L"Number")->put_Value(_variant_t(12L));
    ItemOf(parameters, L"Truth")->put_Value(_variant_t(true));
    ASSERT_EQ(parameters->SaveValues(&store, &section.GetBSTR()), S_OK);
    ItemOf(parameters, L"Number")->put_Value(_variant_t(13L));
    ItemOf(parameters, L"Unsaved")->put_Value(_variant_t(1.5));
    for (_bstr_t* name : {&section, &empty}) {
        ASSERT_EQ(parameters->LoadValues(&store, &name->GetBSTR()), S_OK);
        EXPECT_EQ(ValueOf(parameters, L"Number"), _variant_t(L"12"));
        EXPECT_EQ(TextOf(ValueOf(parameters, L"Truth")), L"True");
        EXPECT_EQ(TextOf(ValueOf(parameters, L"Unsaved")), L"1.5");
    }
}

TEST_F(ObjectModelTest, DataFieldsHandOutCopiesAndSingleEntries) {
    const auto field = New(L"CDataField");
    _variant_t array, variable(2L);
    array.parray = SafeArrayCreateVector(VT_R8, 0, 3);
    array.vt = VT_ARRAY | VT_R8;
    const auto fill = [](const _variant_t& of, double first) {
        for (int i = 0; i < 3; ++i) static_cast<double*>(V_ARRAY(&of)->pvData)[i] = first + i;
    };
    fill(array, 1);
    Put(field, L"Data", array);
    fill(array, 98);
    fill(Get(field, L"Data"), 99);
    EXPECT_EQ(TextOf(Get(field, L"Data", {0L})), L"1");
    EXPECT_EQ(TextOf(Get(field, L"Data", {ReferenceTo(&variable)})), L"3");
    for (const long index : {3L, -1L})
        EXPECT_EQ(Invoke(field, L"Data", DISPATCH_PROPERTYGET, {index}).hr, HRESULT(0x800A0009));
    Put(field, L"Data", _variant_t(L"single"));
    EXPECT_EQ(Invoke(field, L"Data", DISPATCH_PROPERTYGET, {0L}).hr, HRESULT(0x800A000D));
}

TEST_F(ObjectModelTest, ManagerRegistersTheSourcesInOrder) {
    const auto manager = New(L"CManager"), sources = GetObject(manager, L"DataSources");
    long position = 0;
    for (const std::wstring& name :
         Split(L"INOEXCHANGES INOOPTIONS INOSNAPSHOT INOFUTURESLIST YAHOOHIST YAHOOOPTIONS "
               L"YAHOODIVIDENDS YAHOOREALTIME YAHOOECN YAHOOSNAPSHOT GOOGLEHIST CBOE Pifin "
               L"IVOLATILITY DDE",
               L' ')) {
        const auto source = GetObject(sources, L"Item", {++position});
        EXPECT_EQ(Get(source, L"Name"), _variant_t(name.c_str()));
        EXPECT_EQ(GetObject(sources, L"Item", {name.c_str()}), source);
    }
    EXPECT_EQ(Get(sources, L"Count"), _variant_t(position));
}

TEST_F(ObjectModelTest, SourcesKeepTheirParametersInTheSettings) {
    WriteSettings({{"yahoohist/parameters", "name", "Saved"}});
    {
        const auto manager = New(L"CManager");  // the store is written when its last user goes
        const auto prices = New<::CDataSourceYahooHitorical, _CDataSource>();
        const auto parameters = Read(prices, &_CDataSource::get_Parameters);
        ItemOf(parameters, L"MINE")->put_Value(_variant_t(L"kept"));
        const auto copied = Read(Read(prices, &_CDataSource::Clone), &_CDataSource::get_Parameters);
        // What a source says about itself cannot be edited, not in the file either.
        EXPECT_EQ(ValueOf(copied, L"NAME"), _variant_t(L"Yahoo! Finance (historical data)"));
        EXPECT_EQ(Get(copied, L"Exists", {L"MINE"}), _variant_t(false)) << "it has what was saved";
    }
    const std::string file = ReadAll("VTDL33.Settings.xml");
    EXPECT_NE(file.find("kept"), std::string::npos) << file;
    EXPECT_NE(file.find("yahoodividends/parameters"), std::string::npos) << file;
}

TEST_F(ObjectModelTest, VersionsAreCompared) {
    const auto manager = New(L"CManager");
    const std::map<std::string, bool> cases{
        {"4.1.0", false}, {"4.1.1\r\n", true}, {"5.0.0", true},  {"1.0.9", true},
        {"4.1", false},   {"9.9.9.9", false},  {"3.1.0", false}, {"4.x.0", false}};
    for (const auto& [version, isNewer] : cases) {
        m_version = version;
        EXPECT_EQ(Get(manager, L"CheckForNewVersion"), _variant_t(isNewer)) << version;
    }
    EXPECT_EQ(m_web.TakePaths().front(), "GET /files/VTDL.version");
    EXPECT_TRUE(TakeErrors().starts_with(L"13, (Type mismatch"));
}

// The four collections by one suite.

using Items = std::vector<IDispatch*>;

class CollectionsTest : public LibraryTest {
protected:
    /// Runs once for each collection, with its name and three items.
    template <class Test>
    void ForEach(Test&& test) {
        for (const std::wstring item :
             {L"CDataField", L"CSession", L"CDataSource", L"CParameter"}) {
            const auto collection = New(item + L"s");
            const auto first = New(item), second = New(item), third = New(item);
            SCOPED_TRACE(item);
            test(item + L"s", collection.GetInterfacePtr(), Items{first, second, third});
        }
    }
};

TEST_F(CollectionsTest, KeepOrderAndFindByKeyWithoutCase) {
    ForEach([](const std::wstring& name, IDispatch* collection, const Items& items) {
        const auto find = [&](const _variant_t& key) {
            return GetObject(collection, L"Item", {key}).GetInterfacePtr();
        };
        _variant_t variable(L"one");
        Get(collection, L"Add", {items[0], L"One"});
        Get(collection, L"Add", {items[1]});
        Get(collection, L"Add", {items[2], L"\u00e4\u0416"});
        EXPECT_EQ(Walk(EnumeratorOf(collection)), items);
        EXPECT_EQ(find(L"oNE"), items[0]);
        EXPECT_EQ(find(L"\u00c4\u0436"), items[2]);
        EXPECT_EQ(find(ReferenceTo(&variable)), items[0]);
        EXPECT_TRUE(name == L"CParameters" || find(2L) == items[1]) << "there, numbers are names";
        const std::pair<_variant_t, bool> keys[] = {
            {L"ONE", true}, {3L, true}, {0L, false}, {4L, false}};
        for (const auto& [key, exists] : keys) {
            if (name == L"CDataSources") break;
            EXPECT_EQ(Get(collection, L"Exists", {key}), _variant_t(exists));
        }
        Get(collection, L"Remove", {L"ONE"});
        const auto snapshot = EnumeratorOf(collection);
        EXPECT_EQ(find(L"\u00e4\u0416"), items[2]) << "after removing";
        Get(collection, L"Clear");
        EXPECT_EQ(Walk(snapshot), (Items{items[1], items[2]}));
        EXPECT_EQ(Get(collection, L"Count"), _variant_t(0L));
    });
}

// What fails inside a member goes to the error handler; the call succeeds and changes nothing.
TEST_F(CollectionsTest, FailuresGoToTheErrorHandler) {
    ForEach([](const std::wstring& name, IDispatch* collection, const Items& items) {
        const std::wstring invalid = L"5, (Invalid procedure call or argument) in vtdl." + name;
        Get(collection, L"Add", {items[0], L"key"});
        Get(collection, L"Add", {items[0], L"KEY"});
        EXPECT_EQ(TakeErrors(),
                  L"457, (This key is already associated with an element of this "
                  L"collection: KEY) in vtdl." +
                      name + L".Add\n");
        Get(collection, L"Remove", {2L});
        EXPECT_EQ(TakeErrors(), invalid + L".Remove\n");
        EXPECT_EQ(Get(collection, L"Count"), _variant_t(1L));
        if (name == L"CParameters") return;  // creates what is missing
        EXPECT_EQ(Get(collection, L"Item", {L"no"}).pdispVal, nullptr);
        EXPECT_EQ(TakeErrors(), invalid + L".Item\n");
    });
}

}  // namespace
}  // namespace vtdl::tests
