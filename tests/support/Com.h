#pragma once
// COM as a host in C++ uses it: smart pointers, getters, calls by name, and type information.

#include <windows.h>

#include <comdef.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

// The smart pointers' own comparisons are ambiguous for constant ones.
template <class Traits>
bool operator==(const _com_ptr_t<Traits>& a, const _com_ptr_t<Traits>& b) {
    return a.GetInterfacePtr() == b.GetInterfacePtr();
}
template <class Traits>
bool operator!=(const _com_ptr_t<Traits>& a, const _com_ptr_t<Traits>& b) {
    return !(a == b);
}

namespace vtdl::tests {

template <class I>
using Ptr = _com_ptr_t<_com_IIID<I, &__uuidof(I)>>;

/// The text, which is freed.
inline std::wstring Taken(BSTR text) {
    const _bstr_t owner(text, false);
    return text ? std::wstring(text, SysStringLen(text)) : std::wstring();
}

inline std::wstring TextOf(const _variant_t& value) {
    _variant_t text;
    if (FAILED(VariantChangeTypeEx(&text, const_cast<_variant_t*>(&value), LOCALE_USER_DEFAULT,
                                   VARIANT_ALPHABOOL, VT_BSTR)))
        return L"(type " + std::to_wstring(value.vt) + L")";
    return std::wstring(text.bstrVal, SysStringLen(text.bstrVal));
}

inline std::wstring Hexadecimal(HRESULT number) {
    wchar_t text[16];
    swprintf(text, std::size(text), L"%08lX", number);
    return text;
}

/// A variable of a script, as it is passed.
inline _variant_t ReferenceTo(VARIANT* variable) {
    _variant_t reference;
    reference.vt = VT_BYREF | VT_VARIANT;
    reference.pvarVal = variable;
    return reference;
}

template <class I, class T>
using Getter = HRESULT (STDMETHODCALLTYPE I::*)(T*);

/// What a member without arguments gives: a value, a text or an object.
template <class I, class T>
auto Read(std::type_identity_t<I>* object, Getter<I, T> get) {
    T value{};
    _com_util::CheckError(object ? (object->*get)(&value) : E_POINTER);
    if constexpr (std::is_same_v<T, BSTR>)
        return Taken(value);
    else if constexpr (std::is_same_v<T, VARIANT>)
        return _variant_t(value, false);
    else if constexpr (std::is_pointer_v<T>)
        return Ptr<std::remove_pointer_t<T>>(value, false);
    else
        return value;
}

/// What a call by name gave. A number stands for its failure: that of the exception, if there is
/// one.
struct Called {
    HRESULT hr = S_OK;
    _variant_t value;
    std::wstring source;
    std::wstring description;
};

/// Calls a member as script languages do.
inline Called Invoke(IDispatch* object, const wchar_t* member, WORD flags,
                     const std::vector<_variant_t>& arguments = {}) {
    Called called;
    auto* name = const_cast<LPOLESTR>(member);
    DISPID identifier = 0, assigned = DISPID_PROPERTYPUT;
    called.hr = object ? object->GetIDsOfNames(GUID{}, &name, 1, LOCALE_USER_DEFAULT, &identifier)
                       : E_POINTER;
    if (FAILED(called.hr)) return called;

    const std::vector<_variant_t> reversed(arguments.rbegin(), arguments.rend());
    const bool isAssignment = flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF);
    DISPPARAMS parameters{const_cast<_variant_t*>(reversed.data()),
                          isAssignment ? &assigned : nullptr, static_cast<UINT>(reversed.size()),
                          isAssignment ? 1u : 0u};
    EXCEPINFO exception{};
    called.hr = object->Invoke(identifier, GUID{}, LOCALE_USER_DEFAULT, flags, &parameters,
                               isAssignment ? nullptr : &called.value, &exception, nullptr);
    called.source = Taken(exception.bstrSource);
    called.description = Taken(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    if (called.hr == DISP_E_EXCEPTION) called.hr = exception.scode;
    return called;
}

inline _variant_t Get(IDispatch* object, const wchar_t* member,
                      const std::vector<_variant_t>& arguments = {}) {
    const Called called = Invoke(object, member, DISPATCH_PROPERTYGET | DISPATCH_METHOD, arguments);
    _com_util::CheckError(called.hr);
    return called.value;
}

inline void Put(IDispatch* object, const wchar_t* member, const _variant_t& value) {
    const bool isObject = value.vt == VT_DISPATCH || value.vt == VT_UNKNOWN;
    _com_util::CheckError(
        Invoke(object, member, isObject ? DISPATCH_PROPERTYPUTREF : DISPATCH_PROPERTYPUT, {value})
            .hr);
}

/// An object that a member answers.
inline Ptr<IDispatch> GetObject(IDispatch* object, const wchar_t* member,
                                const std::vector<_variant_t>& arguments = {}) {
    return Ptr<IDispatch>(static_cast<IDispatch*>(Get(object, member, arguments)), false);
}

inline Ptr<IEnumVARIANT> EnumeratorOf(IDispatch* collection) {
    return Ptr<IEnumVARIANT>(Get(collection, L"NewEnum").punkVal);
}

/// The rest of a collection's items, which it holds.
inline std::vector<IDispatch*> Walk(IEnumVARIANT* enumerator) {
    std::vector<IDispatch*> found;
    for (_variant_t item; enumerator->Next(1, &item, nullptr) == S_OK; item.Clear())
        found.push_back(item.pdispVal);
    return found;
}

/// The description that a failed call left on the thread.
inline std::wstring TakeDescription() {
    Ptr<IErrorInfo> information;
    BSTR description = nullptr;
    if (GetErrorInfo(0, &information) == S_OK) information->GetDescription(&description);
    return Taken(description);
}

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
