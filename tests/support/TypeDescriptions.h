#pragma once
// Reading type information.

#include <functional>
#include <memory>

#include "support/Com.h"

namespace vtdl::tests {

template <class T>
using Description = std::unique_ptr<T, std::function<void(T*)>>;

inline Description<TYPEATTR> AttributesOf(ITypeInfo* type) {
    TYPEATTR* attributes = nullptr;
    _com_util::CheckError(type->GetTypeAttr(&attributes));
    return {attributes, [type](TYPEATTR* held) { type->ReleaseTypeAttr(held); }};
}

inline Description<FUNCDESC> FunctionOf(ITypeInfo* type, UINT index) {
    FUNCDESC* function = nullptr;
    _com_util::CheckError(type->GetFuncDesc(index, &function));
    return {function, [type](FUNCDESC* held) { type->ReleaseFuncDesc(held); }};
}

inline Description<VARDESC> VariableOf(ITypeInfo* type, UINT index) {
    VARDESC* variable = nullptr;
    _com_util::CheckError(type->GetVarDesc(index, &variable));
    return {variable, [type](VARDESC* held) { type->ReleaseVarDesc(held); }};
}

inline std::wstring NameOf(ITypeInfo* type, MEMBERID member = MEMBERID_NIL) {
    BSTR name = nullptr;
    _com_util::CheckError(type->GetDocumentation(member, &name, nullptr, nullptr, nullptr));
    return Taken(name);
}

inline Ptr<ITypeInfo> Referred(ITypeInfo* type, HREFTYPE reference) {
    Ptr<ITypeInfo> referred;
    _com_util::CheckError(type->GetRefTypeInfo(reference, &referred));
    return referred;
}

/// What a class implements; of a dual interface, under -1, its vtable side.
inline Ptr<ITypeInfo> Implemented(ITypeInfo* type, int index = -1) {
    HREFTYPE reference = 0;
    _com_util::CheckError(type->GetRefTypeOfImplType(static_cast<UINT>(index), &reference));
    return Referred(type, reference);
}

}  // namespace vtdl::tests
