// Calls every member of every class by name, as tests/data/members.txt says: with values, and with
// variables, as scripts pass them.

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "automation/TypeInformation.h"
#include "support/LibraryTest.h"
#include "support/LoopbackServer.h"

namespace vtdl::tests {
namespace {

using Script = std::vector<std::wstring>;

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
                                    "pifin", "cboe", "vestora"})
            hosts.push_back({"hosts", service, m_nobody.Host()});
        WriteSettings(hosts);
    }

    /// Runs a script; the members that were called.
    static Members Run(const std::wstring& className, const Script& script, bool byReference) {
        static const std::map<std::wstring, WORD> kinds{{L"get", DISPATCH_PROPERTYGET},
                                                        {L"let", DISPATCH_PROPERTYPUT},
                                                        {L"set", DISPATCH_PROPERTYPUTREF},
                                                        {L"call", DISPATCH_METHOD}};
        Members called;
        const Ptr<IDispatch> object = New(className);
        for (const std::wstring& step : script) {
            SCOPED_TRACE(className + L": " + step);
            const std::size_t result = step.find(L" = ");
            std::wistringstream words(step.substr(0, result));
            std::wstring kind, name, argument;
            words >> kind >> name >> std::ws;
            std::vector<_variant_t> values, passed;
            SAFEARRAY* array = SafeArrayCreateVector(VT_BSTR, 0, 0);
            while (std::getline(words, argument, L',')) values.push_back(Argument(argument));
            for (_variant_t& value : values) {
                passed.push_back(byReference ? ReferenceTo(&value) : value);
                if (TextOf(value) != L"array") continue;
                passed.back().Clear();
                passed.back().vt = VT_BYREF | VT_ARRAY | VT_BSTR;
                passed.back().pparray = &array;
            }
            const WORD flags = kinds.at(kind);
            const std::wstring text = ResultText(Invoke(object, name.c_str(), flags, passed));
            const std::wstring expected = result == step.npos ? L"" : step.substr(result + 3);
            const bool isAny = expected == L"*" && text != L"" && !text.starts_with(L"error");
            EXPECT_EQ(text, isAny ? text : expected);
            SafeArrayDestroy(array);
            called.insert(name + std::to_wstring(flags));
        }
        return called;
    }

    ClosedPort m_nobody;
};

TEST_F(MembersTest, AnswerWithValuesAndWithVariables) {
    std::map<std::wstring, Script> scripts;
    std::wstring className, line;
    for (std::wifstream lines(VTDL_TEST_DATA "/members.txt"); std::getline(lines, line);)
        if (line.starts_with(L"  "))
            scripts[className].push_back(line.substr(2));
        else
            className = line;
    for (const automation::ClassEntry& entry : automation::ClassTable()) {
        const std::wstring name(entry.name);
        const bool isAdapter = name.starts_with(L"CDataSource") && !scripts.contains(name);
        const Script& script = scripts.at(isAdapter ? L"ADAPTER" : name);
        const Ptr<ITypeInfo> type(automation::TypeInformation(entry.identifier), false);
        const auto side = Implemented(Implemented(type, isAdapter ? 1 : 0));
        Members all;
        for (UINT i = 0; i < AttributesOf(side)->cFuncs; ++i) {
            const auto function = FunctionOf(side, i);
            all.insert(NameOf(side, function->memid) + std::to_wstring(function->invkind));
        }
        for (const bool byReference : {false, true})
            EXPECT_EQ(Run(name, script, byReference), all) << name;
    }
}

TEST_F(MembersTest, TextVariablesTakeWhatTheCalleeWrites) {
    _variant_t section(L"SECTION"), key(L"KEY"), text;
    text.vt = VT_BYREF | VT_BSTR;
    text.pbstrVal = &key.bstrVal;
    const Ptr<IDispatch> settings(Argument(L"settings"));
    EXPECT_EQ(TextOf(Get(settings, L"GetSetting", {ReferenceTo(&section), text})), L"");
    EXPECT_EQ(TextOf(section) + L" " + TextOf(key), L"section key") << "lower-cased, on purpose";
    EXPECT_EQ((New<::CSession, _CSession>()->get_Error(nullptr)), E_POINTER);
}

}  // namespace
}  // namespace vtdl::tests
