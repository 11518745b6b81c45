// Holds the embedded type library against the published surface, written down here once more.
#include "automation/TypeInformation.h"

#include <gtest/gtest.h>
#include <itimer.h>
#include <vtdl.h>

#include <map>
#include <set>
#include <sstream>

#include "TypeDescriptions.h"
#include "support/LibraryTest.h"
#include "typelib/TypeLibraryFile.h"

namespace vtdl::tests {
namespace {

constexpr wchar_t enumerations[] =
    LR"(
vtdlPriceDataType
 vtdlPriceDataTypeNone 0
 vtdlPriceDataTypeStocks 1
 vtdlPriceDataTypeFutures 2
 vtdlPriceDataTypeOptions 4
 vtdlPriceDataTypeVolatility 8
 vtdlPriceDataTypeIndicies 16
 vtdlPriceDataTypeDividends 32
 vtdlPriceDataTypeCommodities 64
 vtdlPriceDataTypeCurrency 128
 vtdlPriceDataAny 255
 vtdlPriceDataTypeHistorical 256
 vtdlPriceDataTypeRealtime 512
 vtdlPriceDataTypeOptionsByUnderlying 65536
 vtdlPriceDataTypeOptionsByTicker 131072
vtdlParameterType
 vtdlParameterTypeNumber 1
 vtdlParameterTypeString 2
 vtdlParameterTypeList 3
 vtdlParameterTypeDate 4
 vtdlParameterTypeBool 5
 vtdlParameterTypeText 6
 vtdlParameterTypeDataFields 7
vtdlDataType
 vtdlDataTypeDate 1
 vtdlDataTypeDecimal 2
 vtdlDataTypeString 3
 vtdlDataTypeLong 4
vtdlSessionStatus
 vtdlSessionStatusNew 1
 vtdlSessionStatusBusy 2
 vtdlSessionStatusIdle 3
 vtdlSessionStatusDone 4
vtdlSessionErrorType
 vtdlSessionErrorNone 0
 vtdlSessionErrorDownload 1
 vtdlSessionErrorDDE 2
 vtdlSessionErrorOLE 3
 vtdlSessionErrorVB 4
 vtdlSessionErrorParsing 5
vtdlDDESessionType
 vtdlDDESessionTypeOneRequest 1
 vtdlDDESessionTypeByTimer 2
 vtdlDDESessionTypeHotAdvise 3
EErrXMLSettings
 eErrXMLSettings_NotInitialized -2147203823
 eErrXMLSettings_InvalidFileName -2147203822
 eErrXMLSettings_InvalidFileFormat -2147203821
 eErrXMLSettings_ParserError -2147203820
 eErrXMLSettings_UnableToSaveFile -2147203819
 eErrXMLSettings_ComponentFailure -2147203818
)";

// Members in slot order. "&" is by reference, "?" optional, [n] a prescribed dispatch identifier.
constexpr wchar_t interfaces[] =
    LR"(
_CManager
 get DataSources() _CDataSources
 method LockUpdate()
 method UnlockUpdate()
 method CheckForNewVersion() bool
_CDataSources
 method Add(CDaItem: &_CDataSource, VarKey: &variant?)
 method Remove(VarIndex: &variant)
 method Item[0](VarIndex: &variant) _CDataSource
 get Count() long
 method Clear()
 method NewEnum[-4]() unknown
_CDataSource
 get PriceDataType() vtdlPriceDataType
 get DataFields() _CDataFields
 get Description() string
 get Name() string
 get Parameters() _CParameters
 method Download(Session: &_CSession)
 method Abort()
 method Search(Parameters: &_CParameters) string
 method CreateSession() _CSession
 method Clone() _CDataSource
_CDataSourceYahooHitorical
 method SelectYahooInternalServer()
_CDataSourceYahooDividends
 method SelectYahooInternalServer()
_CDataSourceGoogleHitorical
_CDataSourceYahooRealTime
_CDataSourceYahooSnapShot
_CDataSourceYahooECNRealTime
_CDataSourceYahooOptions
_CDataSourcePCQuote
_CDataSourcePifin
_CDataSourceCBOE
_CDataSourceIVolatility
_CDataSourceINOExchanges
_CDataSourceINOFuturesList
_CDataSourceINOSnapShot
_CDataSourceINOOptions
_CDataSourceDDE
_CParameter
 get Editable() bool
 get DefaultValue() variant
 get AvailableValues() variant
 get ParameterType[0]() vtdlParameterType
 let ParameterType[0](vtdlParameterType)
 get Value() variant
 let Value(variant)
 set Value(variant)
 get Name() string
 method SaveValue(oSettings: &_CXMLSettings, Section: &string)
 method LoadValue(oSettings: &_CXMLSettings, Section: &string, Default: &string? = "")
_CParameters
 method Add(CPaItem: &_CParameter, VarKey: &variant?)
 method Remove(VarIndex: &variant)
 method Item[0](VarIndex: &variant) _CParameter
 get Count() long
 method Clear()
 method NewEnum[-4]() unknown
 method Exists(VarIndex: &variant) bool
 method SaveValues(oSettings: &_CXMLSettings, Section: &string)
 method LoadValues(oSettings: &_CXMLSettings, Section: &string)
_CDataField
 get Name() string
 let Name(string)
 get DataType() vtdlDataType
 let DataType(vtdlDataType)
 get Data() variant
 let Data(&variant)
_CDataFields
 method Add(CDaItem: &_CDataField, VarKey: &variant?)
 method Remove(VarIndex: &variant)
 method Item[0](VarIndex: &variant) _CDataField
 get Count() long
 method Clear()
 method NewEnum[-4]() unknown
 method Exists(VarIndex: &variant) bool
_CData
 get Values() _CParameters
_CSession
 get Error() vtdlSessionError
 get Status() vtdlSessionStatus
 get UserData() variant
 set UserData(variant)
 let UserData(variant)
 get Tag() variant
 let Tag(variant)
 set Tag(variant)
 set Progressor(_IProgressCallBack)
 get Progressor() _IProgressCallBack
 get ID() long
 get DataSource() _CDataSource
 set DataSource(_CDataSource)
 get Parameters() _CParameters
 method Start()
 get Data() _CData
 set Data(_CData)
 method NextTick()
 method Abort()
 method Done()
_CSessionDDE
 get HAResult() long
 get ConvID() long
 get SessionType() vtdlDDESessionType
 let SessionType(vtdlDDESessionType)
_CSessions
 method Add(CSeItem: &_CSession, VarKey: &variant?)
 method Remove(VarIndex: &variant)
 method Item[0](VarIndex: &variant) _CSession
 get Count() long
 method Clear()
 method NewEnum[-4]() unknown
 method Exists(VarIndex: &variant) bool
_IProgressCallBack
 method Start(Caller: &unknown)
 method Progress(Caller: &unknown, lPercent: long, sStatusText: &string)
 method DataReady(Caller: &unknown)
 method Done(Caller: &unknown, ErrNumber: long)
_CXMLSettings
 let FileName(string)
 get FileName() string
 let XMLString(string)
 get XMLString() string
 method DeleteKey(Section: string, Key: string)
 method DeleteSection(Section: &string)
 method EnumerateAllKeys(Section: &string, Keys: &string[]) long
 method EnumerateAllSections(Sections: &string[]) long
 method GetSetting(Section: &string, Key: &string, Default: &string? = "") string
 method LoadFile()
 method SaveFile(FileName: &string? = "")
 method SaveSetting(Section: string, Key: string, Value: string)
)";

// An object's interface is written without its pointer, as languages write it.
std::wstring TypeName(ITypeInfo* type, const TYPEDESC& description) {
    switch (description.vt) {
        case VT_I4:
            return L"long";
        case VT_BSTR:
            return L"string";
        case VT_BOOL:
            return L"bool";
        case VT_VARIANT:
            return L"variant";
        case VT_UNKNOWN:
            return L"unknown";
        case VT_SAFEARRAY:
            return TypeName(type, *description.lptdesc) + L"[]";
        case VT_USERDEFINED:
            return NameOf(Referred(type, description.hreftype));
        case VT_PTR: {
            const TYPEDESC& target = *description.lptdesc;
            const bool isObject =
                target.vt == VT_USERDEFINED &&
                AttributesOf(Referred(type, target.hreftype))->typekind == TKIND_DISPATCH;
            return (isObject ? L"" : L"&") + TypeName(type, target);
        }
        default:
            return L"(type " + std::to_wstring(description.vt) + L")";
    }
}

std::wstring ParameterText(ITypeInfo* type, const ELEMDESC& parameter) {
    std::wstring text = TypeName(type, parameter.tdesc);
    const USHORT flags = parameter.paramdesc.wParamFlags;
    const USHORT direction =
        text.starts_with(L"&") ? PARAMFLAG_FIN | PARAMFLAG_FOUT : PARAMFLAG_FIN;
    EXPECT_EQ(flags & (PARAMFLAG_FIN | PARAMFLAG_FOUT), direction) << text;
    if (flags & PARAMFLAG_FOPT) text += L"?";
    if (!(flags & PARAMFLAG_FHASDEFAULT)) return text;
    const VARIANT& value = parameter.paramdesc.pparamdescex->varDefaultValue;
    EXPECT_EQ(value.vt, VT_BSTR);
    return text + L" = \"" + TextOf(value) + L"\"";
}

std::wstring MemberText(ITypeInfo* type, const FUNCDESC& function) {
    std::vector<BSTR> names(static_cast<std::size_t>(function.cParams) + 1);
    UINT count = 0;
    type->GetNames(function.memid, names.data(), static_cast<UINT>(names.size()), &count);
    const std::map<INVOKEKIND, std::wstring> kinds{{INVOKE_FUNC, L"method "},
                                                   {INVOKE_PROPERTYGET, L"get "},
                                                   {INVOKE_PROPERTYPUT, L"let "},
                                                   {INVOKE_PROPERTYPUTREF, L"set "}};
    std::wstring text = L" " + kinds.at(function.invkind) + names[0];
    if (function.memid == DISPID_VALUE || function.memid == DISPID_NEWENUM)
        text += L"[" + std::to_wstring(function.memid) + L"]";
    text += L"(";
    std::wstring result;
    for (int i = 0; i < function.cParams; ++i) {
        const ELEMDESC& parameter = function.lprgelemdescParam[i];
        if (parameter.paramdesc.wParamFlags & PARAMFLAG_FRETVAL) {
            EXPECT_TRUE(parameter.paramdesc.wParamFlags & PARAMFLAG_FOUT);
            result = L" " + TypeName(type, *parameter.tdesc.lptdesc);
            continue;
        }
        const bool isNamed = function.invkind == INVOKE_FUNC;
        if (i > 0) text += L", ";
        if (isNamed) text += names.at(static_cast<std::size_t>(i) + 1) + std::wstring(L": ");
        text += ParameterText(type, parameter);
    }
    for (BSTR name : names) SysFreeString(name);
    return text + L")" + result + L"\n";
}

std::map<std::wstring, std::wstring> ExpectedInterfaces() {
    std::map<std::wstring, std::wstring> expected;
    std::wstring* members = nullptr;
    std::wistringstream lines(interfaces + 1);
    for (std::wstring line; std::getline(lines, line);) {
        if (line.starts_with(L"_")) members = &expected[line];
        *members += (line.starts_with(L"_") ? L"" : line) + std::wstring(L"\n");
    }
    return expected;
}

class TypeLibraryTest : public testing::Test {
protected:
    template <class Visit>
    void ForEachType(TYPEKIND kind, Visit&& visit) {
        for (UINT i = 0; i < m_library->GetTypeInfoCount(); ++i) {
            TYPEKIND found;
            Ptr<ITypeInfo> type;
            m_library->GetTypeInfoType(i, &found);
            m_library->GetTypeInfo(i, &type);
            if (found == kind) visit(type.GetInterfacePtr());
        }
    }

    ITypeLib* m_library = automation::TypeLibrary();
};

TEST_F(TypeLibraryTest, HasTheTitleVersionAndLocale) {
    BSTR name = nullptr, help = nullptr;
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(m_library->GetDocumentation(-1, &name, &help, nullptr, nullptr), S_OK);
    EXPECT_EQ(Taken(name), L"vtdl");
    EXPECT_EQ(Taken(help), L"Vestora Download Library");
    ASSERT_EQ(m_library->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->wMajorVerNum, 4);
    EXPECT_EQ(attributes->wMinorVerNum, 1);
    EXPECT_EQ(attributes->lcid, 0x409u);
    m_library->ReleaseTLibAttr(attributes);
}

TEST_F(TypeLibraryTest, HasTheEnumerationsAndTheirHelpStrings) {
    std::wstring text = L"\n";
    ForEachType(TKIND_ENUM, [&](ITypeInfo* type) {
        text += NameOf(type) + L"\n";
        for (UINT i = 0; i < AttributesOf(type)->cVars; ++i) {
            const auto member = VariableOf(type, i);
            const std::wstring name = NameOf(type, member->memid);
            EXPECT_EQ(HelpOf(type, member->memid), name);
            text += L" " + name + L" " + TextOf(*member->lpvarValue) + L"\n";
        }
    });
    EXPECT_EQ(text, enumerations);
}

TEST_F(TypeLibraryTest, HasTheRecord) {
    int records = 0;
    ForEachType(TKIND_RECORD, [&](ITypeInfo* type) {
        ++records;
        std::wstring text = NameOf(type);
        const auto attributes = AttributesOf(type);
        EXPECT_EQ(attributes->cbSizeInstance, sizeof(vtdlSessionError));
        EXPECT_NE(attributes->guid, GUID{});
        for (UINT i = 0; i < attributes->cVars; ++i) {
            const auto field = VariableOf(type, i);
            text += L", " + NameOf(type, field->memid) + L" " +
                    TypeName(type, field->elemdescVar.tdesc) + L" @" +
                    std::to_wstring(field->oInst);
        }
        EXPECT_EQ(text,
                  L"vtdlSessionError, ErrorType vtdlSessionErrorType @0, ErrorNumber long @4, "
                  L"ErrorDescription string @8, NewVersionAvailable bool @" +
                      std::to_wstring(8 + sizeof(BSTR)));
    });
    EXPECT_EQ(records, 1);
    EXPECT_EQ(sizeof(vtdlSessionError), sizeof(void*) == 8 ? 24u : 16u);
}

TEST_F(TypeLibraryTest, HasTheInterfacesInSlotOrder) {
    std::map<std::wstring, std::wstring> expected = ExpectedInterfaces();
    ForEachType(TKIND_DISPATCH, [&](ITypeInfo* type) {
        constexpr WORD expectedFlags = TYPEFLAG_FDUAL | TYPEFLAG_FHIDDEN | TYPEFLAG_FNONEXTENSIBLE;
        EXPECT_EQ(AttributesOf(type)->wTypeFlags & expectedFlags, expectedFlags) << NameOf(type);
        const Ptr<ITypeInfo> side = VtableSide(type);
        HREFTYPE base = 0;
        ASSERT_EQ(side->GetRefTypeOfImplType(0, &base), S_OK);
        EXPECT_EQ(NameOf(Referred(side, base)), L"IDispatch");
        std::wstring text = L"\n";
        for (UINT i = 0; i < AttributesOf(side)->cFuncs; ++i) {
            const auto function = FunctionOf(side, i);
            EXPECT_EQ(function->oVft, static_cast<SHORT>((7 + i) * sizeof(void*)));
            EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_HRESULT);
            text += MemberText(side, *function);
        }
        const auto entry = expected.extract(NameOf(type));
        EXPECT_EQ(text, entry.empty() ? L"(unexpected)" : entry.mapped()) << NameOf(type);
    });
    for (const auto& [name, members] : expected) ADD_FAILURE() << name << " is missing";
}

TEST_F(TypeLibraryTest, SharesDispatchIdentifiersAmongAccessorsOnly) {
    ForEachType(TKIND_DISPATCH, [&](ITypeInfo* type) {
        std::map<MEMBERID, std::set<INVOKEKIND>> kinds;
        std::map<std::wstring, MEMBERID> members;
        const Ptr<ITypeInfo> side = VtableSide(type);
        for (UINT i = 0; i < AttributesOf(side)->cFuncs; ++i) {
            const auto function = FunctionOf(side, i);
            const std::wstring name = NameOf(side, function->memid);
            EXPECT_TRUE(kinds[function->memid].insert(function->invkind).second) << name;
            EXPECT_EQ(members.emplace(name, function->memid).first->second, function->memid);
        }
        EXPECT_EQ(kinds.size(), members.size()) << NameOf(type);
    });
}

// What an object browser shows below each name.
TEST_F(TypeLibraryTest, EverythingHasAHelpString) {
    for (const TYPEKIND kind : {TKIND_DISPATCH, TKIND_COCLASS, TKIND_ENUM, TKIND_RECORD})
        ForEachType(kind, [&](ITypeInfo* type) {
            EXPECT_NE(HelpOf(type, MEMBERID_NIL), L"") << testing::PrintToString(NameOf(type));
            if (kind != TKIND_DISPATCH) return;
            const Ptr<ITypeInfo> side = VtableSide(type);
            for (UINT i = 0; i < AttributesOf(side)->cFuncs; ++i) {
                const MEMBERID member = FunctionOf(side, i)->memid;
                EXPECT_NE(HelpOf(side, member), L"")
                    << testing::PrintToString(NameOf(type) + L"." + NameOf(side, member));
            }
        });
}

TEST_F(TypeLibraryTest, HasTheClassesAndWhatTheyImplement) {
    // iTimer lives in a library that is found by its registration: here it stays a dash.
    const std::map<std::wstring, std::wstring> further{{L"CSession", L"iTimer _IProgressCallBack "},
                                                       {L"CSessionDDE", L"iTimer _CSession "}};
    std::set<std::wstring> names;
    ForEachType(TKIND_COCLASS, [&](ITypeInfo* type) {
        const std::wstring name = NameOf(type);
        const auto attributes = AttributesOf(type);
        constexpr WORD applicationObject = TYPEFLAG_FAPPOBJECT | TYPEFLAG_FPREDECLID;
        EXPECT_TRUE(attributes->wTypeFlags & TYPEFLAG_FCANCREATE) << name;
        EXPECT_EQ(attributes->wTypeFlags & applicationObject,
                  name == L"CParameter" ? applicationObject : 0)
            << name;
        std::wstring others;
        for (UINT i = 0; i < attributes->cImplTypes; ++i) {
            HREFTYPE reference = 0;
            int flags = 0;
            type->GetRefTypeOfImplType(i, &reference);
            type->GetImplTypeFlags(i, &flags);
            Ptr<ITypeInfo> implemented;
            type->GetRefTypeInfo(reference, &implemented);
            // iTimer lies in a library that is only found where it is registered.
            const std::wstring implementedName = implemented ? NameOf(implemented) : L"iTimer";
            EXPECT_EQ(flags, i == 0 ? IMPLTYPEFLAG_FDEFAULT : 0) << name;
            if (i == 0)
                EXPECT_EQ(implementedName, L"_" + name);
            else
                others += implementedName + L" ";
        }
        const bool isAdapter =
            name.starts_with(L"CDataSource") && name != L"CDataSource" && name != L"CDataSources";
        EXPECT_EQ(others, further.contains(name) ? further.at(name)
                          : isAdapter            ? L"_CDataSource "
                                                 : L"")
            << name;
        names.insert(L"_" + name);
    });
    std::set<std::wstring> expected;
    for (const auto& entry : ExpectedInterfaces()) expected.insert(entry.first);
    EXPECT_EQ(names, expected);
}

TEST_F(TypeLibraryTest, HasTheTimerCallbackInAResourceOfItsOwn) {
    const std::wstring second = automation::ModulePath() + L"\\2";
    Ptr<ITypeLib> library;
    ASSERT_EQ(LoadTypeLibEx(second.c_str(), REGKIND_NONE, &library), S_OK);
    Ptr<ITypeInfo> timer;
    ASSERT_EQ(library->GetTypeInfoOfGuid(__uuidof(iTimer), &timer), S_OK);
    ASSERT_EQ(AttributesOf(timer)->cFuncs, 1);
    EXPECT_EQ(MemberText(timer, *FunctionOf(timer, 0)), L" method Fire(elapsed: long)\n");
}

// Wine reads a library without the words that only the compiler writes; Windows uses them.
TEST_F(TypeLibraryTest, HasTheCompilersWordsButForWhatIsMeant) {
    using File = typelib::TypeLibraryFile;
    const auto folder = std::filesystem::path(automation::ModulePath()).parent_path();
    const File compiled(ReadAll(folder / "typelib/compiled.tlb"));
    const File finished(ReadAll(folder / "typelib/vtdl.tlb"));
    const auto expectSame = [&](const std::string& what, std::size_t from, std::size_t to,
                                std::initializer_list<std::size_t> words) {
        for (const std::size_t word : words)
            EXPECT_EQ(finished.Read(to + 4 * word), compiled.Read(from + 4 * word))
                << what << ", word " << word;
    };
    for (const File::Type& from : compiled.Types()) {
        if (from.name == "iTimer") continue;
        const File::Type& to = finished.Find(from.name);
        EXPECT_EQ(finished.Read<WORD>(to.at), compiled.Read<WORD>(from.at)) << from.name;
        expectSame(from.name, from.at, to.at, {2, 3, 4, 5, 6, 7, 8, 9, 10, 14, 16, 17, 18, 19, 20});
        expectSame(from.name, from.at, to.at, {22, 23, 24});
        if (from.name != "CParameter") expectSame(from.name, from.at, to.at, {12});
        ASSERT_EQ(to.members.size(), from.members.size()) << from.name;
        for (std::size_t i = 0; i < from.members.size(); ++i) {
            const File::Member &was = from.members[i], &is = to.members[i];
            const std::string what = from.name + "." + was.name;
            EXPECT_EQ(is.name, was.name);
            expectSame(what, was.at, is.at, {2, 3});
            if (!was.isFunction) continue;
            expectSame(what, was.at, is.at, {0, 1, 4, 5, 6});
            for (std::size_t n = compiled.Read<WORD>(was.at + 20); n > 0;
                 --n)  // the parameters' flags
                expectSame(what, was.at, is.at, {was.size / 4 - 3 * n + 2});
        }
    }
    for (const auto& [name, is] : finished.Names()) {
        const File::Name& was = compiled.Names().at(name);
        EXPECT_EQ(finished.Read<BYTE>(is.FlagsAt()), compiled.Read<BYTE>(was.FlagsAt())) << name;
        EXPECT_EQ(finished.Owner(is), compiled.Owner(was)) << name;
    }
}

}  // namespace
}  // namespace vtdl::tests
