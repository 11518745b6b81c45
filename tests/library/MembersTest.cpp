// Calls every member of every class: by its slot, by name with values, and by name with references
// to variables, as scripts pass them.
#include <map>
#include <set>

#include "TypeDescriptions.h"
#include "automation/TypeInformation.h"
#include "support/LibraryTest.h"
#include "support/LoopbackServer.h"

namespace vtdl::tests {
namespace {

constexpr WORD get = DISPATCH_PROPERTYGET, let = DISPATCH_PROPERTYPUT,
               set = DISPATCH_PROPERTYPUTREF, method = DISPATCH_METHOD;

// An argument "new X" stands for an object, "settings" for a loaded settings store, "array" for an
// array that is to be filled. The expectation "*" is any value, "object" a reference, "nothing" a
// null one.
struct Step {
    const wchar_t* member;
    WORD kind;
    std::vector<_variant_t> arguments;
    std::wstring expected = L"";
};
using Script = std::vector<Step>;

Script Collection(const wchar_t* element, bool hasExists) {
    const std::wstring item = std::wstring(L"new ") + element;
    Script script{{L"Add", method, {item.c_str(), L"a"}},
                  {L"Add", method, {item.c_str()}},
                  {L"Count", get, {}, L"2"},
                  {L"Item", method, {L"A"}, L"object"},
                  {L"NewEnum", method, {}, L"object"},
                  {L"Remove", method, {L"A"}},
                  {L"Count", get, {}, L"1"},
                  {L"Clear", method, {}},
                  {L"Count", get, {}, L"0"}};
    if (hasExists) script.push_back({L"Exists", method, {L"A"}, L"False"});
    return script;
}

const Script dataSource{{L"Name", get, {}, L"*"},
                        {L"Description", get, {}, L"*"},
                        {L"PriceDataType", get, {}, L"*"},
                        {L"DataFields", get, {}, L"*"},
                        {L"Parameters", get, {}, L"object"},
                        {L"Search", method, {L"new CParameters"}, L"error 80004001"},
                        {L"CreateSession", method, {}, L"object"},
                        {L"Clone", method, {}, L"object"},
                        {L"Download", method, {L"new CSession"}},
                        {L"Abort", method, {}}};

std::map<std::wstring, Script> Scripts() {
    std::map<std::wstring, Script> scripts{
        {L"CManager",
         {{L"DataSources", get, {}, L"object"},
          {L"LockUpdate", method, {}},
          {L"UnlockUpdate", method, {}},
          {L"CheckForNewVersion", method, {}, L"False"}}},
        {L"CDataSources", Collection(L"CDataSource", false)},
        {L"CDataFields", Collection(L"CDataField", true)},
        {L"CSessions", Collection(L"CSession", true)},
        {L"CParameters", Collection(L"CParameter", true)},
        {L"CParameter",
         {{L"Editable", get, {}, L"True"},
          {L"DefaultValue", get, {}, L""},
          {L"AvailableValues", get, {}, L""},
          {L"ParameterType", let, {4L}},
          {L"ParameterType", get, {}, L"4"},
          {L"Value", let, {L"text"}},
          {L"Value", get, {}, L"text"},
          {L"SaveValue", method, {L"settings", L"S"}},
          {L"LoadValue", method, {L"settings", L"S"}},
          {L"Value", get, {}, L""},
          {L"LoadValue", method, {L"settings", L"S", L"default"}},
          {L"Value", get, {}, L"default"},
          {L"Value", set, {L"new CData"}},
          {L"Value", get, {}, L"object"},
          {L"Name", get, {}, L""}}},
        {L"CDataField",
         {{L"Name", let, {L"CLOSE"}},
          {L"Name", get, {}, L"CLOSE"},
          {L"DataType", let, {2L}},
          {L"DataType", get, {}, L"2"},
          {L"Data", let, {1.5}},
          {L"Data", get, {}, L"1.5"}}},
        {L"CData", {{L"Values", get, {}, L"object"}}},
        {L"CSession",
         {{L"Error", get, {}, L"record"},
          {L"Status", get, {}, L"1"},
          {L"UserData", let, {7L}},
          {L"UserData", get, {}, L"7"},
          {L"UserData", set, {L"new CData"}},
          {L"UserData", get, {}, L"object"},
          {L"Tag", let, {L"tag"}},
          {L"Tag", get, {}, L"tag"},
          {L"Tag", set, {L"new CData"}},
          {L"Tag", get, {}, L"object"},
          {L"Progressor", get, {}, L"nothing"},
          {L"Progressor", set, {L"new CSession"}},
          {L"Progressor", get, {}, L"object"},
          {L"ID", get, {}, L"*"},
          {L"DataSource", get, {}, L"nothing"},
          {L"Start", method, {}, L"error 80070057"},
          {L"NextTick", method, {}, L"error 80070057"},
          {L"Abort", method, {}, L"error 80070057"},
          {L"DataSource", set, {L"new CDataSource"}},
          {L"DataSource", get, {}, L"object"},
          {L"Parameters", get, {}, L"object"},
          {L"Data", get, {}, L"nothing"},
          {L"Data", set, {L"new CData"}},
          {L"Data", get, {}, L"object"},
          {L"Start", method, {}},
          {L"NextTick", method, {}},
          {L"Abort", method, {}},
          {L"Done", method, {}},
          {L"Status", get, {}, L"4"}}},
        {L"CSessionDDE",
         {{L"SessionType", get, {}, L"0"},
          {L"SessionType", let, {2L}},
          {L"SessionType", get, {}, L"2"},
          {L"ConvID", get, {}, L"0"},
          {L"HAResult", get, {}, L"0"}}},
        {L"IProgressCallBack",
         {{L"Start", method, {L"new CSession"}, L"error 80040064"},
          {L"Progress", method, {L"new CSession", 1L, L"text"}, L"error 80040064"},
          {L"DataReady", method, {L"new CSession"}, L"error 80040064"},
          {L"Done", method, {L"new CSession", 0L}, L"error 80040064"}}},
        {L"CXMLSettings",
         {{L"FileName", let, {L"members.xml"}},
          {L"FileName", get, {}, L"members.xml"},
          {L"LoadFile", method, {}},
          {L"XMLString", let, {L"<sections name='XML settings file'/>"}},
          {L"XMLString", get, {}, L"*"},
          {L"SaveSetting", method, {L"Section", L"Key", L"Value"}},
          {L"GetSetting", method, {L"SECTION", L"KEY"}, L"Value"},
          {L"GetSetting", method, {L"SECTION", L"other", L"default"}, L"default"},
          {L"EnumerateAllKeys", method, {L"section", L"array"}, L"1"},
          {L"EnumerateAllSections", method, {L"array"}, L"1"},
          {L"SaveFile", method, {}},
          {L"SaveFile", method, {L"copy.xml"}},
          {L"DeleteKey", method, {L"section", L"key"}},
          {L"EnumerateAllKeys", method, {L"section", L"array"}, L"0"},
          {L"DeleteSection", method, {L"section"}},
          {L"EnumerateAllSections", method, {L"array"}, L"0"}}}};
    Script parameters{{L"SaveValues", method, {L"settings", L"S"}},
                      {L"LoadValues", method, {L"settings", L"S"}}};
    auto& known = scripts[L"CParameters"];
    known.insert(known.end(), parameters.begin(), parameters.end());
    Script& plain = scripts[L"CDataSource"] = dataSource;
    for (const std::size_t at : {0, 1}) plain[at].expected = L"";
    plain[4].expected = L"nothing";
    return scripts;
}

IID DefaultInterface(REFCLSID classId) {
    const Ptr<ITypeInfo> type(automation::TypeInformation(classId), false);
    HREFTYPE reference = 0;
    _com_util::CheckError(type->GetRefTypeOfImplType(0, &reference));
    return AttributesOf(Referred(type, reference))->guid;
}

_variant_t Actual(const _variant_t& argument) {
    if (argument.vt != VT_BSTR) return argument;
    const std::wstring text = argument.bstrVal;
    if (text.starts_with(L"new ")) return _variant_t(New(text.substr(4)).GetInterfacePtr());
    if (text != L"settings") return argument;
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    settings->put_XMLString(_bstr_t(L"<sections name='XML settings file'/>"));
    return _variant_t(static_cast<IDispatch*>(settings));
}

std::wstring ResultText(HRESULT hr, const _variant_t& value) {
    if (FAILED(hr)) {
        wchar_t text[20];
        swprintf(text, ARRAYSIZE(text), L"error %08lX", hr);
        return text;
    }
    if (value.vt == VT_RECORD) return L"record";
    if (value.vt == VT_DISPATCH || value.vt == VT_UNKNOWN)
        return value.punkVal ? L"object" : L"nothing";
    return TextOf(value);
}

/// Calls a slot with arguments of exactly the types that its description asks for.
class SlotCall {
public:
    SlotCall(ITypeInfo* type, const FUNCDESC& function, const std::vector<_variant_t>& arguments)
        : m_function(function), m_values(arguments) {
        m_values.resize(static_cast<std::size_t>(function.cParams), _variant_t());
        m_array = SafeArrayCreateVector(VT_BSTR, 0, 0);
        for (int i = 0; i < function.cParams; ++i) {
            const ELEMDESC& parameter = function.lprgelemdescParam[i];
            if (parameter.paramdesc.wParamFlags & PARAMFLAG_FRETVAL)
                m_resultType = ResultType(type, *parameter.tdesc.lptdesc);
            else
                m_native.push_back(
                    Native(type, parameter.tdesc, m_values[static_cast<std::size_t>(i)]));
        }
    }
    ~SlotCall() { SafeArrayDestroy(m_array); }

    HRESULT Run(IUnknown* face, bool withResult, _variant_t& result) {
        std::vector<VARIANT> native = m_native;
        vtdlSessionError record{};
        if (m_resultType != VT_EMPTY) {
            void* storage = m_resultType == VT_VARIANT  ? static_cast<void*>(&result)
                            : m_resultType == VT_RECORD ? static_cast<void*>(&record)
                                                        : &result.lVal;
            native.push_back(Address(withResult ? storage : nullptr));
        }
        std::vector<VARTYPE> types;
        std::vector<VARIANTARG*> pointers;
        for (VARIANT& argument : native) {
            types.push_back(m_takesVariant ? static_cast<VARTYPE>(VT_VARIANT) : argument.vt);
            pointers.push_back(&argument);
        }
        _variant_t answer;
        _com_util::CheckError(DispCallFunc(face, static_cast<ULONG_PTR>(m_function.oVft),
                                           CC_STDCALL, VT_I4, static_cast<UINT>(native.size()),
                                           types.data(), pointers.data(), &answer));
        if (withResult && m_resultType == VT_RECORD) {
            result = L"record";
            SysFreeString(record.ErrorDescription);
        } else if (withResult && m_resultType != VT_EMPTY && m_resultType != VT_VARIANT) {
            result.vt = m_resultType;
        }
        return answer.lVal;
    }

    bool HasResult() const { return m_resultType != VT_EMPTY; }

private:
    static VARIANT Number(LONG value) {
        VARIANT number;
        number.vt = VT_I4;
        number.lVal = value;
        return number;
    }

    static VARIANT Address(const void* place) {
        VARIANT number;
        number.vt = sizeof place == sizeof number.llVal ? VT_I8 : VT_I4;
        number.llVal = reinterpret_cast<LONG_PTR>(place);
        return number;
    }

    static VARTYPE ResultType(ITypeInfo* type, const TYPEDESC& description) {
        if (description.vt == VT_PTR) return VT_DISPATCH;
        if (description.vt != VT_USERDEFINED) return description.vt;
        const auto referred = Referred(type, description.hreftype);
        return AttributesOf(referred)->typekind == TKIND_RECORD ? VT_RECORD : VT_I4;
    }

    static IUnknown* FaceOf(ITypeInfo* type, const TYPEDESC& target, _variant_t& value) {
        IUnknown* face = nullptr;
        const IID id = AttributesOf(Referred(type, target.hreftype))->guid;
        _com_util::CheckError(value.punkVal->QueryInterface(id, reinterpret_cast<void**>(&face)));
        value = _variant_t(face, false);
        return face;
    }

    VARIANT Native(ITypeInfo* type, const TYPEDESC& description, _variant_t& value) {
        m_takesVariant = description.vt == VT_VARIANT;  // then it is the only parameter
        if (m_takesVariant) return value;
        if (description.vt != VT_PTR) return description.vt == VT_BSTR ? value : Number(value.lVal);
        const TYPEDESC& target = *description.lptdesc;
        const bool isMissing = value.vt == VT_EMPTY;
        switch (target.vt) {
            case VT_SAFEARRAY:
                return Address(&m_array);
            case VT_USERDEFINED:
                return Address(FaceOf(type, target, value));
            case VT_PTR:
                FaceOf(type, *target.lptdesc, value);
                return Address(&value.punkVal);
            case VT_VARIANT:
                return Address(isMissing ? nullptr : &value);
            default:
                return Address(isMissing ? nullptr : &value.bstrVal);
        }
    }

    const FUNCDESC& m_function;
    std::vector<_variant_t> m_values;
    std::vector<VARIANT> m_native;
    SAFEARRAY* m_array;
    bool m_takesVariant = false;
    VARTYPE m_resultType = VT_EMPTY;
};

class MembersTest : public LibraryTest {
protected:
    using Members = std::set<std::pair<MEMBERID, INVOKEKIND>>;

    MembersTest() {
        std::vector<std::array<std::string, 3>> hosts;
        for (const char* service : {"yahoo.chart", "yahoo.quotes", "google.finance", "pcquote",
                                    "pifin", "cboe", "ino", "ivolatility", "vestora"})
            hosts.push_back({"hosts", service, m_nobody.Host()});
        WriteSettings(hosts);
    }

    void RunByName(const std::wstring& className, const Script& script, bool byReference) {
        const Ptr<IDispatch> object = New(className);
        EXPECT_EQ(Invoke(object, L"NoSuchMember", DISPATCH_METHOD, {}).hr, DISP_E_UNKNOWNNAME);
        for (const Step& step : script) {
            SAFEARRAY* array = SafeArrayCreateVector(VT_BSTR, 0, 0);
            std::vector<_variant_t> values, passed;
            for (const _variant_t& argument : step.arguments) values.push_back(Actual(argument));
            for (_variant_t& value : values) {
                VARIANT argument = value;
                const bool isArray = value.vt == VT_BSTR && std::wstring(L"array") == value.bstrVal;
                if (isArray) {
                    argument.vt = VT_BYREF | VT_ARRAY | VT_BSTR;
                    argument.pparray = &array;
                } else if (byReference) {
                    argument.vt = VT_BYREF | VT_VARIANT;
                    argument.pvarVal = &value;
                }
                passed.push_back(argument);
            }
            SCOPED_TRACE(step.member);
            const Called called = Invoke(object, step.member, step.kind, passed);
            Check(className, step, ResultText(called.hr, called.value));
            SafeArrayDestroy(array);
        }
    }

    void RunBySlot(const std::wstring& className, const Script& script, ITypeInfo* dispatch,
                   Members& called) {
        const Ptr<ITypeInfo> type = VtableSide(dispatch);
        const Ptr<IDispatch> object = New(className);
        Ptr<IUnknown> face;
        object->QueryInterface(AttributesOf(type)->guid, reinterpret_cast<void**>(&face));
        ASSERT_TRUE(face) << className;
        for (const Step& step : script) {
            const auto function = Find(type, step);
            ASSERT_TRUE(function) << step.member;
            called.emplace(function->memid, function->invkind);
            std::vector<_variant_t> arguments;
            for (const _variant_t& argument : step.arguments) arguments.push_back(Actual(argument));
            SlotCall call(type, *function, arguments);
            _variant_t result;
            if (call.HasResult() && !step.expected.starts_with(L"error")) {
                EXPECT_EQ(call.Run(face, false, result), E_POINTER) << className << step.member;
            }
            const HRESULT hr = call.Run(face, true, result);
            Check(className, step, ResultText(hr, result));
        }
    }

    static void Check(const std::wstring& className, const Step& step, const std::wstring& result) {
        const bool isAny = step.expected == L"*" && result != L"" && !result.starts_with(L"error");
        EXPECT_EQ(result, isAny ? result : step.expected) << className << L"." << step.member;
    }

    static FunctionDescription Find(ITypeInfo* type, const Step& step) {
        for (UINT i = 0; i < AttributesOf(type)->cFuncs; ++i) {
            auto function = FunctionOf(type, i);
            if (function->invkind == step.kind && NameOf(type, function->memid) == step.member)
                return function;
        }
        return {};
    }

    ClosedPort m_nobody;
};

TEST_F(MembersTest, AnswerInEveryWayOfCalling) {
    const std::map<std::wstring, Script> scripts = Scripts();
    for (const automation::ClassEntry& entry : automation::ClassTable()) {
        const bool isAdapter = std::wstring_view(entry.name).starts_with(L"CDataSource") &&
                               !scripts.contains(entry.name);
        const Ptr<ITypeInfo> type(
            automation::TypeInformation(isAdapter ? __uuidof(_CDataSource)
                                                  : DefaultInterface(entry.identifier)),
            false);
        const auto known = scripts.find(entry.name);
        if (!isAdapter && known == scripts.end()) {
            ADD_FAILURE() << entry.name << " has no script";
            continue;
        }
        const Script& script = isAdapter ? dataSource : known->second;
        Members called, all;
        RunBySlot(entry.name, script, type, called);
        RunByName(entry.name, script, false);
        RunByName(entry.name, script, true);
        const Ptr<ITypeInfo> side = VtableSide(type);
        for (UINT i = 0; i < AttributesOf(side)->cFuncs; ++i)
            all.emplace(FunctionOf(side, i)->memid, FunctionOf(side, i)->invkind);
        EXPECT_EQ(called, all) << entry.name << ": not every member was called";
    }
}

}  // namespace
}  // namespace vtdl::tests
