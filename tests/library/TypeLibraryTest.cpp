// Holds the embedded type library against a dump of it that was read with care: what is published
// is frozen. A dump that differs is left in the temporary folder.

#include <itimer.h>

#include <map>

#include "automation/TypeInformation.h"
#include "support/LibraryTest.h"
#include "support/TypeDescriptions.h"
#include "typelib/TypeLibraryFile.h"

namespace vtdl::tests {
namespace {

std::wstring GuidOf(ITypeInfo* type) {
    wchar_t text[40] = L"";
    StringFromGUID2(AttributesOf(type)->guid, text, ARRAYSIZE(text));
    return std::wstring(L" ") + text + L" " + std::to_wstring(AttributesOf(type)->wTypeFlags);
}

// An object's interface is written without its pointer, as languages write it; "&" is by reference.
std::wstring TypeName(ITypeInfo* type, const TYPEDESC& description) {
    static const std::map<VARTYPE, std::wstring> names{
        {VT_I4, L"long"},         {VT_BSTR, L"string"},     {VT_BOOL, L"bool"},
        {VT_VARIANT, L"variant"}, {VT_UNKNOWN, L"unknown"}, {VT_HRESULT, L"result"}};
    if (description.vt == VT_SAFEARRAY) return TypeName(type, *description.lptdesc) + L"[]";
    if (description.vt == VT_USERDEFINED) return NameOf(Referred(type, description.hreftype));
    if (description.vt != VT_PTR) return names.at(description.vt);
    const TYPEDESC& target = *description.lptdesc;
    const bool isObject = target.vt == VT_USERDEFINED &&
                          AttributesOf(Referred(type, target.hreftype))->typekind == TKIND_DISPATCH;
    return (isObject ? L"" : L"&") + TypeName(type, target);
}

std::wstring ParametersText(ITypeInfo* type, const FUNCDESC& function) {
    std::vector<BSTR> names(static_cast<std::size_t>(function.cParams) + 1);
    UINT count = 0;
    std::wstring text;
    type->GetNames(function.memid, names.data(), static_cast<UINT>(names.size()), &count);
    for (int i = 0; i < function.cParams; ++i) {
        const ELEMDESC& parameter = function.lprgelemdescParam[i];
        const BSTR name = names[static_cast<std::size_t>(i) + 1];
        text += (i ? L", " : L"") + std::wstring(name ? name : L"") + L": " +
                TypeName(type, parameter.tdesc) + L" " +
                std::to_wstring(parameter.paramdesc.wParamFlags);
        if (parameter.paramdesc.wParamFlags & PARAMFLAG_FHASDEFAULT)
            text += L" = \"" + TextOf(parameter.paramdesc.pparamdescex->varDefaultValue) + L"\"";
    }
    for (BSTR name : names) SysFreeString(name);
    return L"(" + text + L")";
}

std::wstring MembersText(ITypeInfo* type) {
    std::wstring text;
    for (UINT i = 0; i < AttributesOf(type)->cFuncs; ++i) {
        const auto function = FunctionOf(type, i);
        const wchar_t* kinds[] = {L"", L"method", L"get", L"", L"let", L"", L"", L"", L"set"};
        text += L"  " + std::to_wstring(function->oVft / static_cast<int>(sizeof(void*))) + L" " +
                kinds[function->invkind] + L" " + NameOf(type, function->memid) +
                ParametersText(type, *function) + L" " + Hexadecimal(function->memid) + L" " +
                std::to_wstring(function->wFuncFlags) + HelpOf(type, function->memid);
        EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_HRESULT);
    }
    return text;
}

std::wstring VariablesText(ITypeInfo* type) {
    std::wstring text;
    for (UINT i = 0; i < AttributesOf(type)->cVars; ++i) {
        const auto variable = VariableOf(type, i);
        const bool isConstant = variable->varkind == VAR_CONST;
        text += L"  " + NameOf(type, variable->memid) + L" " +
                (isConstant ? TextOf(*variable->lpvarValue)
                            : TypeName(type, variable->elemdescVar.tdesc)) +
                HelpOf(type, variable->memid);
    }
    return text;
}

std::wstring ImplementedText(ITypeInfo* type) {
    std::wstring text;
    for (int i = 0; i < AttributesOf(type)->cImplTypes; ++i) {
        int flags = 0;
        HREFTYPE reference = 0;
        Ptr<ITypeInfo> implemented;
        type->GetImplTypeFlags(static_cast<UINT>(i), &flags);
        type->GetRefTypeOfImplType(static_cast<UINT>(i), &reference);
        // iTimer lies in a library that is only found where it is registered.
        const bool isKnown = SUCCEEDED(type->GetRefTypeInfo(reference, &implemented));
        text += L"  " + (isKnown ? NameOf(implemented) : L"iTimer") + L" " +
                std::to_wstring(flags) + L"\n";
    }
    return text;
}

// The one record's layout is that of the header's.
void ExpectLayout(ITypeInfo* record) {
    std::vector<ULONG> offsets;
    for (UINT i = 0; i < AttributesOf(record)->cVars; ++i)
        offsets.push_back(VariableOf(record, i)->oInst);
    EXPECT_EQ(offsets, (std::vector<ULONG>{0, 4, 8, 8 + sizeof(void*)}));
    EXPECT_EQ(AttributesOf(record)->cbSizeInstance, sizeof(vtdlSessionError));
    EXPECT_EQ(sizeof(vtdlSessionError), sizeof(void*) == 8 ? 24u : 16u);
}

std::wstring Dump(ITypeLib* library) {
    TLIBATTR* attributes = nullptr;
    BSTR name = nullptr, help = nullptr;
    library->GetLibAttr(&attributes);
    library->GetDocumentation(-1, &name, &help, nullptr, nullptr);
    std::wstring text =
        L"library " + Taken(name) + L" " + std::to_wstring(attributes->wMajorVerNum) + L"." +
        std::to_wstring(attributes->wMinorVerNum) + L" locale " +
        Hexadecimal(static_cast<HRESULT>(attributes->lcid)) + L" \"" + Taken(help) + L"\"\n";
    library->ReleaseTLibAttr(attributes);
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        Ptr<ITypeInfo> type;
        library->GetTypeInfo(i, &type);
        const wchar_t* kinds[] = {L"enum", L"record", L"", L"interface", L"dispatch", L"class"};
        const TYPEKIND kind = AttributesOf(type)->typekind;
        text += kinds[kind] + (L" " + NameOf(type)) + GuidOf(type) + HelpOf(type);
        if (kind == TKIND_RECORD) ExpectLayout(type);
        if (kind == TKIND_DISPATCH)
            text += MembersText(Implemented(type));
        else
            text += VariablesText(type) + MembersText(type) +
                    (kind == TKIND_COCLASS ? ImplementedText(type) : L"");
    }
    return text;
}

TEST(TypeLibraryTest, IsAsPublished) {
    const std::wstring second = automation::ModulePath() + L"\\2";
    Ptr<ITypeLib> timer;
    ASSERT_EQ(LoadTypeLibEx(second.c_str(), REGKIND_NONE, &timer), S_OK);
    const std::wstring dump = Dump(automation::TypeLibrary()) + Dump(timer);
    const std::string text(dump.begin(), dump.end()),
        expected = ReadAll(VTDL_TEST_DATA "/vtdl.typelib.txt");
    if (text == expected) return;
    const auto differing =
        std::mismatch(text.begin(), text.end(), expected.begin(), expected.end());
    const auto file = std::filesystem::temp_directory_path() / "vtdl.typelib.txt";
    WriteAll(file, text);
    ADD_FAILURE() << "line " << 1 + std::count(text.begin(), differing.first, '\n') << " of "
                  << file;
}

// Wine reads a library without the words that only the compiler writes; Windows uses them.
TEST(TypeLibraryTest, HasTheCompilersWordsButForWhatIsMeant) {
    using File = typelib::TypeLibraryFile;
    const auto folder = std::filesystem::path(automation::ModulePath()).parent_path();
    const File compiled(ReadAll(folder / "typelib/compiled.tlb"));
    const File finished(ReadAll(folder / "typelib/vtdl.tlb"));
    const auto expectSame = [&](const std::string& what, std::size_t from, std::size_t to,
                                const std::vector<std::size_t>& words) {
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
            for (std::size_t n = compiled.Read<WORD>(was.at + 20); n > 0; --n)
                expectSame(what, was.at, is.at, {was.size / 4 - 3 * n + 2});  // a parameter's flags
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
