#pragma once
// Reading type information.

#include <functional>
#include <memory>

#include "support/Com.h"

namespace vtdl::tests {

using TypeAttributes = std::unique_ptr<TYPEATTR, std::function<void(TYPEATTR*)>>;
using FunctionDescription = std::unique_ptr<FUNCDESC, std::function<void(FUNCDESC*)>>;
using VariableDescription = std::unique_ptr<VARDESC, std::function<void(VARDESC*)>>;

inline TypeAttributes AttributesOf(ITypeInfo* type) {
    TYPEATTR* attributes = nullptr;
    _com_util::CheckError(type->GetTypeAttr(&attributes));
    return {attributes, [type](TYPEATTR* held) { type->ReleaseTypeAttr(held); }};
}

inline FunctionDescription FunctionOf(ITypeInfo* type, UINT index) {
    FUNCDESC* function = nullptr;
    _com_util::CheckError(type->GetFuncDesc(index, &function));
    return {function, [type](FUNCDESC* held) { type->ReleaseFuncDesc(held); }};
}

inline VariableDescription VariableOf(ITypeInfo* type, UINT index) {
    VARDESC* variable = nullptr;
    _com_util::CheckError(type->GetVarDesc(index, &variable));
    return {variable, [type](VARDESC* held) { type->ReleaseVarDesc(held); }};
}

inline std::wstring NameOf(ITypeInfo* type, MEMBERID member = MEMBERID_NIL) {
    BSTR name = nullptr;
    _com_util::CheckError(type->GetDocumentation(member, &name, nullptr, nullptr, nullptr));
    return Taken(name);
}

inline std::wstring HelpOf(ITypeInfo* type, MEMBERID member = MEMBERID_NIL) {
    BSTR help = nullptr;
    _com_util::CheckError(type->GetDocumentation(member, nullptr, &help, nullptr, nullptr));
    return Taken(help);
}

inline Ptr<ITypeInfo> Referred(ITypeInfo* type, HREFTYPE reference) {
    Ptr<ITypeInfo> referred;
    _com_util::CheckError(type->GetRefTypeInfo(reference, &referred));
    return referred;
}

/// A dual interface's vtable side.
inline Ptr<ITypeInfo> VtableSide(ITypeInfo* type) {
    HREFTYPE reference = 0;
    _com_util::CheckError(type->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference));
    return Referred(type, reference);
}

}  // namespace vtdl::tests
