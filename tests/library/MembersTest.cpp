// Calls every member of every class by name: with values, and with variables, as scripts pass them.

#include <map>
#include <set>

#include "automation/TypeInformation.h"
#include "support/LibraryTest.h"
#include "support/LoopbackServer.h"
#include "support/TypeDescriptions.h"

namespace vtdl::tests {
namespace {

// A step is "kind Member argument,argument = result". Kinds: get, let, set, call. An argument "new
// X" stands for an object, "settings" for a loaded store, "array" for an array that is to be
// filled. The result "*" is any value, "object" a reference, "nothing" a null one.
const std::wstring collection =
    L"call Add new ITEM,a|call Add new ITEM|get Count = 2|call Item A = object|call NewEnum = "
    L"object|call Remove A|get Count = 1|call Clear|get Count = 0";
const std::wstring collectionWithExists = collection + L"|call Exists A = False";
const std::wstring dataSource =
    L"get Name = *|get Description = *|get PriceDataType = *|get DataFields = *|get Parameters = "
    L"object|call Search new CParameters = error 80004001|call CreateSession = object|call Clone = "
    L"object|call Download new CSession|call Abort";

const std::map<std::wstring, std::wstring> scripts{
    {L"CManager",
     L"get DataSources = object|call LockUpdate|call UnlockUpdate|call CheckForNewVersion = False"},
    {L"CDataSources", collection},
    {L"CDataFields", collectionWithExists},
    {L"CSessions", collectionWithExists},
    {L"CParameters",
     collectionWithExists + L"|call SaveValues settings,S|call LoadValues settings,S"},
    {L"CParameter",
     L"get Editable = True|get DefaultValue|get AvailableValues|let ParameterType 4|get "
     L"ParameterType = 4|let Value text|get Value = text|call SaveValue settings,S|call LoadValue "
     L"settings,S|get Value|call LoadValue settings,S,default|get Value = default|set Value new "
     L"CData|get Value = object|get Name"},
    {L"CDataField",
     L"let Name CLOSE|get Name = CLOSE|let DataType 2|get DataType = 2|let Data 1.5|get Data = "
     L"1.5"},
    {L"CData", L"get Values = object"},
    {L"CDataSource",
     L"get Name|get Description|get PriceDataType = *|get DataFields = *|get Parameters = "
     L"nothing|call Search new CParameters = error 80004001|call CreateSession = object|call Clone "
     L"= object|call Download new CSession|call Abort"},
    {L"CSession",
     L"get Error = record|get Status = 1|let UserData 7|get UserData = 7|set UserData new "
     L"CData|get UserData = object|let Tag tag|get Tag = tag|set Tag new CData|get Tag = "
     L"object|get Progressor = nothing|set Progressor new CSession|get Progressor = object|get ID "
     L"= *|get DataSource = nothing|call Start = error 80070057|call NextTick = error "
     L"80070057|call Abort = error 80070057|set DataSource new CDataSource|get DataSource = "
     L"object|get Parameters = object|get Data = nothing|set Data new CData|get Data = object|call "
     L"Start|call NextTick|call Abort|call Done|get Status = 4"},
    {L"CSessionDDE",
     L"get SessionType = 0|let SessionType 2|get SessionType = 2|get ConvID = 0|get HAResult = 0"},
    {L"IProgressCallBack",
     L"call Start new CSession = error 80040064|call Progress new CSession,1,text = error "
     L"80040064|call DataReady new CSession = error 80040064|call Done new CSession,0 = error "
     L"80040064"},
    {L"CXMLSettings",
     L"let FileName members.xml|get FileName = members.xml|call LoadFile|let XMLString <sections "
     L"name='XML settings file'/>|get XMLString = *|call SaveSetting Section,Key,Value|call "
     L"GetSetting SECTION,KEY = Value|call GetSetting SECTION,other,default = default|call "
     L"EnumerateAllKeys section,array = 1|call EnumerateAllSections array = 1|call SaveFile|call "
     L"SaveFile copy.xml|call DeleteKey section,key|call EnumerateAllKeys section,array = 0|call "
     L"DeleteSection section|call EnumerateAllSections array = 0"}};

_variant_t Argument(const std::wstring& text) {
    if (text.starts_with(L"new ")) return _variant_t(New(text.substr(4)).GetInterfacePtr());
    if (iswdigit(text[0])) return _variant_t(_wtof(text.c_str()));
    if (text != L"settings") return _variant_t(text.c_str());
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    settings->put_XMLString(_bstr_t(L"<sections name='XML settings file'/>"));
    return _variant_t(static_cast<IDispatch*>(settings));
}

std::wstring ResultText(const Called& called) {
    if (FAILED(called.hr)) return L"error " + Hexadecimal(called.hr);
    if (called.value.vt == VT_RECORD) return L"record";
    if (called.value.vt != VT_DISPATCH && called.value.vt != VT_UNKNOWN)
        return TextOf(called.value);
    return called.value.punkVal ? L"object" : L"nothing";
}

class MembersTest : public LibraryTest {
protected:
    using Members = std::set<std::wstring>;

    MembersTest() {
        std::vector<std::array<std::string, 3>> hosts;
        for (const char* service : {"yahoo.chart", "yahoo.quotes", "google.finance", "pcquote",
                                    "pifin", "cboe", "ino", "ivolatility", "vestora"})
            hosts.push_back({"hosts", service, m_nobody.Host()});
        WriteSettings(hosts);
    }

    /// Runs a script; the members that were called.
    static Members Run(const std::wstring& className, std::wstring script, bool byReference) {
        static const std::map<std::wstring, WORD> kinds{{L"get", DISPATCH_PROPERTYGET},
                                                        {L"let", DISPATCH_PROPERTYPUT},
                                                        {L"set", DISPATCH_PROPERTYPUTREF},
                                                        {L"call", DISPATCH_METHOD}};
        for (std::size_t at; (at = script.find(L"ITEM")) != script.npos;)
            script.replace(at, 4, className.substr(0, className.size() - 1));
        Members called;
        const Ptr<IDispatch> object = New(className);
        EXPECT_EQ(Invoke(object, L"NoSuchMember", DISPATCH_METHOD).hr, DISP_E_UNKNOWNNAME);
        for (const std::wstring& step : Split(script, L'|')) {
            SCOPED_TRACE(className + L": " + step);
            const std::size_t result = step.find(L" = "), member = step.find(L' ') + 1;
            const std::wstring call = step.substr(0, result);
            const std::size_t end = std::min(call.find(L' ', member), call.size());
            const std::wstring kind = call.substr(0, member - 1);
            const std::wstring name = call.substr(member, end - member);
            std::vector<_variant_t> values, passed;
            SAFEARRAY* array = SafeArrayCreateVector(VT_BSTR, 0, 0);
            if (end < call.size())
                for (const std::wstring& argument : Split(call.substr(end + 1), L','))
                    values.push_back(Argument(argument));
            for (_variant_t& value : values) {
                passed.push_back(byReference ? ReferenceTo(&value) : value);
                if (TextOf(value) != L"array") continue;
                passed.back().Clear();
                passed.back().vt = VT_BYREF | VT_ARRAY | VT_BSTR;
                passed.back().pparray = &array;
            }
            const std::wstring text =
                ResultText(Invoke(object, name.c_str(), kinds.at(kind), passed));
            const std::wstring expected = result == step.npos ? L"" : step.substr(result + 3);
            const bool isAny = expected == L"*" && text != L"" && !text.starts_with(L"error");
            EXPECT_EQ(text, isAny ? text : expected);
            SafeArrayDestroy(array);
            called.insert(name + std::to_wstring(kinds.at(kind)));
        }
        return called;
    }

    ClosedPort m_nobody;
};

TEST_F(MembersTest, AnswerWithValuesAndWithVariables) {
    for (const automation::ClassEntry& entry : automation::ClassTable()) {
        const auto known = scripts.find(entry.name);
        const bool isAdapter =
            std::wstring_view(entry.name).starts_with(L"CDataSource") && known == scripts.end();
        ASSERT_TRUE(isAdapter || known != scripts.end()) << entry.name << " has no script";
        const std::wstring& script = isAdapter ? dataSource : known->second;
        const Ptr<ITypeInfo> type(automation::TypeInformation(entry.identifier), false);
        const auto side = Implemented(Implemented(type, isAdapter ? 1 : 0));
        Members all;
        for (UINT i = 0; i < AttributesOf(side)->cFuncs; ++i) {
            const auto function = FunctionOf(side, i);
            all.insert(NameOf(side, function->memid) + std::to_wstring(function->invkind));
        }
        EXPECT_EQ(Run(entry.name, script, false), all) << entry.name;
        EXPECT_EQ(Run(entry.name, script, true), all) << entry.name;
    }
}

TEST_F(MembersTest, TextVariablesTakeWhatTheCalleeWrites) {
    _variant_t section(L"SECTION"), key(L"KEY"), text;
    text.vt = VT_BYREF | VT_BSTR;
    text.pbstrVal = &key.bstrVal;
    const Ptr<IDispatch> settings(Argument(L"settings"));
    EXPECT_EQ(TextOf(Get(settings, L"GetSetting", {ReferenceTo(&section), text})), L"");
    EXPECT_EQ(TextOf(section) + L" " + TextOf(key), L"section key") << "lower-cased, on purpose";
}

TEST_F(MembersTest, NullResultsAreRefused) {
    const auto session = New<::CSession, _CSession>();
    EXPECT_EQ(session->get_Error(nullptr), E_POINTER);
    EXPECT_EQ(session->get_Parameters(nullptr), E_POINTER);
    EXPECT_EQ((New<::CParameter, _CParameter>()->get_Value(nullptr)), E_POINTER);
    EXPECT_EQ((New<::CManager, _CManager>()->CheckForNewVersion(nullptr)), E_POINTER);
    EXPECT_EQ((New<::CDataSourceCBOE, _CDataSource>()->get_Name(nullptr)), E_POINTER);
    EXPECT_EQ((New<::CXMLSettings, _CXMLSettings>()->get_FileName(nullptr)), E_POINTER);
}

}  // namespace
}  // namespace vtdl::tests
