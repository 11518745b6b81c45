// Build tool: copies a type library compiled by widl and adds what widl cannot write (see
// vtdl.idl).
//
//     finish COMPILED.tlb TIMER.tlb FINISHED.tlb
//
// It uses the platform's own type-library reader and writer, so it runs on Windows or under Wine.
#include <windows.h>

#include <oleauto.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "TypeLibraryFile.h"

namespace vtdl {
namespace {

void Check(HRESULT hr, const char* what) {
    if (FAILED(hr)) {
        char text[200];
        std::snprintf(text, sizeof text, "%s failed: 0x%08lX", what, hr);
        throw std::runtime_error(text);
    }
}

// The tool ends after one library: what it holds is released by the system.
struct Names {
    BSTR name = nullptr;
    BSTR help = nullptr;
    DWORD helpContext = 0;
};

Names Documentation(ITypeInfo* type, MEMBERID member) {
    Names names;
    Check(type->GetDocumentation(member, &names.name, &names.help, &names.helpContext, nullptr),
          "GetDocumentation");
    return names;
}

class Finisher {
public:
    Finisher(ITypeLib* source, ITypeLib* timer, ICreateTypeLib2* target)
        : m_source(source), m_timer(timer), m_target(target) {}

    void Run() {
        CopyLibraryAttributes();
        const UINT count = m_source->GetTypeInfoCount();
        for (UINT index = 0; index < count; ++index) Declare(index);
        for (Type& type : m_types) Define(type);
        for (Type& type : m_types) Check(type.target->LayOut(), "LayOut");
        Check(m_target->SaveAllChanges(), "SaveAllChanges");
    }

private:
    struct Type {
        std::wstring name;
        ITypeInfo* source = nullptr;  // the vtable side of a dual interface
        TYPEATTR* attributes = nullptr;
        ICreateTypeInfo* target = nullptr;
    };

    void CopyLibraryAttributes() {
        TLIBATTR* attributes = nullptr;
        Check(m_source->GetLibAttr(&attributes), "GetLibAttr");
        Names names;
        Check(m_source->GetDocumentation(-1, &names.name, &names.help, nullptr, nullptr),
              "library");
        Check(m_target->SetGuid(attributes->guid), "SetGuid");
        Check(m_target->SetLcid(attributes->lcid), "SetLcid");
        Check(m_target->SetVersion(attributes->wMajorVerNum, attributes->wMinorVerNum),
              "SetVersion");
        Check(m_target->SetName(names.name), "SetName");
        Check(m_target->SetDocString(names.help), "SetDocString");
        m_source->ReleaseTLibAttr(attributes);
    }

    void Declare(UINT index) {
        ITypeInfo* info = nullptr;
        Check(m_source->GetTypeInfo(index, &info), "GetTypeInfo");
        const Names names = Documentation(info, MEMBERID_NIL);
        if (std::wstring_view(names.name) == L"iTimer") return;  // referenced, not repeated

        Type type;
        type.name = names.name;
        type.source = VtableSide(info);
        Check(type.source->GetTypeAttr(&type.attributes), "GetTypeAttr");
        Check(m_target->CreateTypeInfo(names.name, type.attributes->typekind, &type.target),
              "CreateTypeInfo");
        Check(type.target->SetGuid(type.attributes->guid), "SetGuid");
        if (names.help) Check(type.target->SetDocString(names.help), "SetDocString");
        Check(type.target->SetVersion(type.attributes->wMajorVerNum, type.attributes->wMinorVerNum),
              "SetVersion");
        m_types.push_back(type);
    }

    static ITypeInfo* VtableSide(ITypeInfo* info) {
        TYPEATTR* attributes = nullptr;
        Check(info->GetTypeAttr(&attributes), "GetTypeAttr");
        const bool dual = attributes->typekind == TKIND_DISPATCH;
        info->ReleaseTypeAttr(attributes);
        if (!dual) return info;
        HREFTYPE reference = 0;
        ITypeInfo* partner = nullptr;
        Check(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), "dual interface");
        Check(info->GetRefTypeInfo(reference, &partner), "GetRefTypeInfo");
        return partner;
    }

    void Define(Type& type) {
        WORD flags = type.attributes->wTypeFlags;
        if (type.name == L"CParameter") flags |= TYPEFLAG_FPREDECLID;
        for (UINT index = 0; index < type.attributes->cImplTypes; ++index) {
            HREFTYPE reference = 0;
            int implFlags = 0;
            Check(type.source->GetRefTypeOfImplType(index, &reference), "GetRefTypeOfImplType");
            Check(type.target->AddImplType(index, Mapped(type, reference)), "AddImplType");
            if (type.attributes->typekind != TKIND_COCLASS) continue;
            Check(type.source->GetImplTypeFlags(index, &implFlags), "GetImplTypeFlags");
            Check(type.target->SetImplTypeFlags(index, implFlags), "SetImplTypeFlags");
        }
        Check(type.target->SetTypeFlags(flags), "SetTypeFlags");
        for (UINT index = 0; index < type.attributes->cFuncs; ++index) CopyFunction(type, index);
        for (UINT index = 0; index < type.attributes->cVars; ++index) CopyVariable(type, index);
    }

    void CopyFunction(Type& type, UINT index) {
        FUNCDESC* function = nullptr;
        Check(type.source->GetFuncDesc(index, &function), "GetFuncDesc");
        MapTypes(type, function->elemdescFunc.tdesc);
        std::vector<PARAMDESCEX> defaults(static_cast<size_t>(function->cParams));
        for (int i = 0; i < function->cParams; ++i) {
            ELEMDESC& parameter = function->lprgelemdescParam[i];
            MapTypes(type, parameter.tdesc);
            if (!(parameter.paramdesc.wParamFlags & PARAMFLAG_FHASDEFAULT)) continue;
            PARAMDESCEX& value = defaults[static_cast<size_t>(i)];
            value.cBytes = sizeof value;
            V_VT(&value.varDefaultValue) = VT_BSTR;
            V_BSTR(&value.varDefaultValue) = SysAllocString(L"");
            parameter.paramdesc.pparamdescex = &value;
        }
        Check(type.target->AddFuncDesc(index, function), "AddFuncDesc");

        std::vector<BSTR> names(static_cast<size_t>(function->cParams) + 1);
        UINT count = 0;
        Check(type.source->GetNames(function->memid, names.data(), static_cast<UINT>(names.size()),
                                    &count),
              "GetNames");
        if (function->invkind & (INVOKE_PROPERTYPUT | INVOKE_PROPERTYPUTREF))
            count = static_cast<UINT>(function->cParams);  // the value assigned has no name
        Check(type.target->SetFuncAndParamNames(index, names.data(), count),
              "SetFuncAndParamNames");
        const Names texts = Documentation(type.source, function->memid);
        if (texts.help) Check(type.target->SetFuncDocString(index, texts.help), "SetFuncDocString");
    }

    void CopyVariable(Type& type, UINT index) {
        VARDESC* variable = nullptr;
        Check(type.source->GetVarDesc(index, &variable), "GetVarDesc");
        MapTypes(type, variable->elemdescVar.tdesc);
        const Names names = Documentation(type.source, variable->memid);
        Check(type.target->AddVarDesc(index, variable), "AddVarDesc");
        Check(type.target->SetVarName(index, names.name), "SetVarName");
        BSTR help = type.attributes->typekind == TKIND_ENUM ? names.name : names.help;
        if (help) Check(type.target->SetVarDocString(index, help), "SetVarDocString");
    }

    // Rewrites the references inside a type description from the source library to the target.
    void MapTypes(const Type& type, TYPEDESC& description) {
        switch (description.vt) {
            case VT_USERDEFINED:
                description.hreftype = Mapped(type, description.hreftype);
                break;
            case VT_PTR:
            case VT_SAFEARRAY:
                MapTypes(type, *description.lptdesc);
                break;
            default:
                break;
        }
    }

    HREFTYPE Mapped(const Type& type, HREFTYPE reference) {
        ITypeInfo* referred = nullptr;
        Check(type.source->GetRefTypeInfo(reference, &referred), "GetRefTypeInfo");
        const std::wstring name = Documentation(referred, MEMBERID_NIL).name;
        if (name == L"iTimer") Check(m_timer->GetTypeInfo(0, &referred), "iTimer");
        const auto own = std::find_if(m_types.begin(), m_types.end(), [&](const Type& candidate) {
            return candidate.name == name;
        });
        if (own != m_types.end())
            Check(own->target->QueryInterface(IID_ITypeInfo, reinterpret_cast<void**>(&referred)),
                  "ITypeInfo");
        HREFTYPE result = 0;
        Check(type.target->AddRefTypeInfo(referred, &result), "AddRefTypeInfo");
        return result;
    }

    ITypeLib* m_source;
    ITypeLib* m_timer;
    ICreateTypeLib2* m_target;
    std::vector<Type> m_types;
};

std::string ReadFile(const wchar_t* path) {
    FILE* file = _wfopen(path, L"rb");
    if (!file) throw std::runtime_error("a library cannot be opened");
    std::string bytes;
    char block[4096];
    while (const size_t count = std::fread(block, 1, sizeof block, file))
        bytes.append(block, count);
    std::fclose(file);
    return bytes;
}

// Wine's writer leaves words at 0 that its reader does without, and offers no calls that set them:
// the compiled library has them.
void CopyWords(const wchar_t* compiledPath, const wchar_t* finishedPath) {
    using File = typelib::TypeLibraryFile;
    const File compiled(ReadFile(compiledPath));
    File finished(ReadFile(finishedPath));
    for (const File::Type& to : finished.Types()) {
        const File::Type& from = compiled.Find(to.name);
        finished.Write(to.at, compiled.Read<WORD>(from.at));
        for (const auto word :
             {File::typeMemory, File::typeData, File::typeSize, File::typeInherited})
            finished.Write(to.at + 4 * word, compiled.Read(from.at + 4 * word));
        for (size_t index = 0; index < to.members.size(); ++index) {
            const File::Member& member = to.members[index];
            const File::Member& source = from.members.at(index);
            if (member.name != source.name) throw std::runtime_error("members in another order");
            const auto last = member.isFunction ? File::functionKind : File::memberPlace;
            for (size_t word = File::memberPlace; word <= last; ++word)
                finished.Write(member.at + 4 * word, compiled.Read(source.at + 4 * word));
        }
    }
    for (const auto& [name, to] : finished.Names()) {
        const File::Name& from = compiled.Names().at(name);
        const std::string owner = compiled.Owner(from);
        const bool isHere = finished.Has(owner);  // iTimer is not
        finished.Write(to.at, isHere ? finished.Find(owner).offset : -1);
        finished.Write(to.FlagsAt(), compiled.Read<BYTE>(from.FlagsAt()));
    }
    FILE* file = _wfopen(finishedPath, L"wb");
    const std::string& bytes = finished.Bytes();
    if (!file || std::fwrite(bytes.data(), bytes.size(), 1, file) != 1 || std::fclose(file) != 0)
        throw std::runtime_error("the finished library cannot be written");
}

ITypeLib* Load(const wchar_t* path) {
    ITypeLib* library = nullptr;
    Check(LoadTypeLibEx(path, REGKIND_NONE, &library), "LoadTypeLibEx");
    return library;
}

}  // namespace
}  // namespace vtdl

int wmain(int argc, wchar_t** argv) try {
    using namespace vtdl;
    if (argc != 4) throw std::runtime_error("usage: finish COMPILED.tlb TIMER.tlb FINISHED.tlb");
    ICreateTypeLib2* target = nullptr;
    constexpr SYSKIND system = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;
    Check(CreateTypeLib2(system, argv[3], &target), "CreateTypeLib2");
    Finisher finisher(Load(argv[1]), Load(argv[2]), target);
    finisher.Run();
    CopyWords(argv[1], argv[3]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "finish: %s\n", error.what());
    return 1;
}
