// Holds the embedded type library against a dump of it that was read with care: what is published
// is frozen.

#include <itimer.h>

#include <map>
#include <sstream>

#include "automation/TypeInformation.h"
#include "support/LibraryTest.h"
#include "typelib/TypeLibraryFile.h"

namespace vtdl::tests {
namespace {

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

std::wstring HelpOf(ITypeInfo* type, MEMBERID member = MEMBERID_NIL) {
    BSTR help = nullptr;
    _com_util::CheckError(type->GetDocumentation(member, nullptr, &help, nullptr, nullptr));
    return L" \"" + Taken(help) + L"\"\n";
}

void DumpMembers(std::wostream& out, ITypeInfo* type) {
    const wchar_t* kinds[] = {L"", L" method ", L" get ", L"", L" let ", L"", L"", L"", L" set "};
    for (UINT i = 0; i < AttributesOf(type)->cFuncs; ++i) {
        const auto function = FunctionOf(type, i);
        BSTR names[12]{};
        UINT count = 0;
        type->GetNames(function->memid, names, ARRAYSIZE(names), &count);
        out << L"  " << function->oVft / static_cast<int>(sizeof(void*)) << kinds[function->invkind]
            << Taken(names[0]) << L"(";
        for (int n = 0; n < function->cParams; ++n) {
            const ELEMDESC& parameter = function->lprgelemdescParam[n];
            out << (n ? L", " : L"") << Taken(names[n + 1]) << L": "
                << TypeName(type, parameter.tdesc) << L" " << parameter.paramdesc.wParamFlags;
            if (parameter.paramdesc.wParamFlags & PARAMFLAG_FHASDEFAULT)
                out << L" = \"" << TextOf(parameter.paramdesc.pparamdescex->varDefaultValue)
                    << L"\"";
        }
        out << L") " << Hexadecimal(function->memid) << L" " << function->wFuncFlags
            << HelpOf(type, function->memid);
        EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_HRESULT);
    }
}

void DumpType(std::wostream& out, ITypeInfo* type) {
    const wchar_t* kinds[] = {L"enum", L"record", L"", L"interface", L"dispatch", L"class"};
    const auto attributes = AttributesOf(type);
    wchar_t guid[40] = L"";
    StringFromGUID2(attributes->guid, guid, ARRAYSIZE(guid));
    out << kinds[attributes->typekind] << L" " << NameOf(type) << L" " << guid << L" "
        << attributes->wTypeFlags << HelpOf(type);
    if (attributes->typekind == TKIND_DISPATCH) return DumpMembers(out, Implemented(type));
    // The one record's layout is the header's.
    const std::size_t offsets[] = {0, offsetof(vtdlSessionError, ErrorNumber),
                                   offsetof(vtdlSessionError, ErrorDescription),
                                   offsetof(vtdlSessionError, NewVersionAvailable)};
    if (attributes->typekind == TKIND_RECORD) {
        EXPECT_EQ(attributes->cbSizeInstance, sizeof(vtdlSessionError));
    }
    for (UINT i = 0; i < attributes->cVars; ++i) {
        const auto variable = VariableOf(type, i);
        const bool isConstant = variable->varkind == VAR_CONST;
        out << L"  " << NameOf(type, variable->memid) << L" "
            << (isConstant ? TextOf(*variable->lpvarValue)
                           : TypeName(type, variable->elemdescVar.tdesc))
            << HelpOf(type, variable->memid);
        if (!isConstant) {
            EXPECT_EQ(variable->oInst, offsets[i]);
        }
    }
    DumpMembers(out, type);
    for (UINT i = 0; attributes->typekind == TKIND_COCLASS && i < attributes->cImplTypes; ++i) {
        int flags = 0;
        HREFTYPE reference = 0;
        Ptr<ITypeInfo> implemented;
        type->GetImplTypeFlags(i, &flags);
        type->GetRefTypeOfImplType(i, &reference);
        // iTimer lies in a library that is only found where it is registered.
        const bool isKnown = SUCCEEDED(type->GetRefTypeInfo(reference, &implemented));
        out << L"  " << (isKnown ? NameOf(implemented) : L"iTimer") << L" " << flags << L"\n";
    }
}

void Dump(std::wostream& out, ITypeLib* library) {
    TLIBATTR* attributes = nullptr;
    BSTR name = nullptr, help = nullptr;
    library->GetLibAttr(&attributes);
    library->GetDocumentation(-1, &name, &help, nullptr, nullptr);
    out << L"library " << Taken(name) << L" " << attributes->wMajorVerNum << L"."
        << attributes->wMinorVerNum << L" locale "
        << Hexadecimal(static_cast<HRESULT>(attributes->lcid)) << L" \"" << Taken(help) << L"\"\n";
    library->ReleaseTLibAttr(attributes);
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        Ptr<ITypeInfo> type;
        library->GetTypeInfo(i, &type);
        DumpType(out, type);
    }
}

TEST(TypeLibraryTest, IsAsPublished) {
    const std::wstring second = automation::ModulePath() + L"\\2";
    Ptr<ITypeLib> timer;
    ASSERT_EQ(LoadTypeLibEx(second.c_str(), REGKIND_NONE, &timer), S_OK);
    std::wostringstream out;
    Dump(out, automation::TypeLibrary());
    Dump(out, timer);
    const std::wstring dump = out.str();
    ExpectAsRecorded(std::string(dump.begin(), dump.end()), "vtdl.typelib.txt");
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
        // But for what points into the file.
        expectSame(from.name, from.at, to.at,
                   {2, 3, 4, 5, 6, 7, 8, 9, 10, 14, 16, 17, 18, 19, 20, 22, 23, 24});
        if (from.name != "CParameter") expectSame(from.name, from.at, to.at, {12});
        ASSERT_EQ(to.members.size(), from.members.size()) << from.name;
        for (std::size_t i = 0; i < from.members.size(); ++i) {
            const File::Member &was = from.members[i], &is = to.members[i];
            expectSame(was.name, was.at, is.at, {2, 3});
            if (!was.isFunction) continue;
            expectSame(was.name, was.at, is.at, {0, 1, 4, 5, 6});
            for (std::size_t n = compiled.Read<WORD>(was.at + 20); n > 0; --n)
                expectSame(was.name, was.at, is.at, {was.size / 4 - 3 * n + 2});  // its flags
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
