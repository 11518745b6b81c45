#include "automation/LateCall.h"

#include <algorithm>

#include "automation/ComPtr.h"
#include "automation/Error.h"

namespace vtdl::automation {
namespace {

constexpr WORD assigning = DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF;

VARIANT MissingArgument() {
    VARIANT missing;
    missing.vt = VT_ERROR;
    missing.scode = DISP_E_PARAMNOTFOUND;
    return missing;
}

}  // namespace

bool HasNullReference(const DISPPARAMS& parameters) noexcept {
    for (UINT i = 0; i < parameters.cArgs; ++i) {
        const VARIANT* argument = &parameters.rgvarg[i];
        if (argument->vt == (VT_BYREF | VT_VARIANT)) {
            if (!argument->pvarVal) return true;
            argument = argument->pvarVal;
        }
        if ((argument->vt & VT_BYREF) && !argument->byref) return true;
    }
    return false;
}

LateCall::LateCall(ITypeInfo* type, DISPID member, WORD flags, const DISPPARAMS& parameters)
    : m_type(type),
      m_member(member),
      m_flags(flags),
      m_parameters(parameters),
      m_arguments(parameters.rgvarg, parameters.rgvarg + parameters.cArgs) {
    FindFunction();
    // An assignment's only argument has a name of its own and is taken as it is.
    if (!m_function || (m_function->invkind & assigning)) return;
    try {
        if (parameters.cNamedArgs > 0) PlaceNamed(parameters);
    } catch (...) {
        m_type->ReleaseFuncDesc(m_function);  // what is not made has no destructor
        throw;
    }
    m_parameters = {m_arguments.data(), nullptr, static_cast<UINT>(m_arguments.size()), 0};
}

LateCall::~LateCall() {
    if (m_function) m_type->ReleaseFuncDesc(m_function);
}

void LateCall::FindFunction() {
    for (UINT index = 0; SUCCEEDED(m_type->GetFuncDesc(index, &m_function)); ++index) {
        if (m_function->memid == m_member && (m_function->invkind & m_flags) &&
            !(m_function->wFuncFlags & FUNCFLAG_FRESTRICTED))
            return;
        m_type->ReleaseFuncDesc(m_function);
    }
    m_function = nullptr;
}

// The named ones come first, each under its parameter's index.
void LateCall::PlaceNamed(const DISPPARAMS& given) {
    const auto declared = static_cast<std::size_t>(m_function->cParams);
    const std::size_t byPosition = given.cArgs - given.cNamedArgs;
    std::size_t count = byPosition;
    for (UINT i = 0; i < given.cNamedArgs; ++i) {
        const auto place = static_cast<std::size_t>(given.rgdispidNamedArgs[i]);
        if (place < byPosition || place >= declared) Check(DISP_E_PARAMNOTFOUND);
        count = std::max(count, place + 1);
    }
    m_arguments.assign(count, MissingArgument());
    for (std::size_t i = 0; i < byPosition; ++i)
        m_arguments[count - 1 - i] = given.rgvarg[given.cArgs - 1 - i];
    for (UINT i = 0; i < given.cNamedArgs; ++i)
        m_arguments[count - 1 - static_cast<std::size_t>(given.rgdispidNamedArgs[i])] =
            given.rgvarg[i];
}

HRESULT LateCall::Make(void* object, LCID locale, VARIANT* result, EXCEPINFO* exception,
                       UINT* badArgument) {
    if (!m_function) return DISP_E_MEMBERNOTFOUND;
    if (IsIndexed()) return MakeIndexed(object, locale, result, exception, badArgument);
    if (m_parameters.cArgs > static_cast<UINT>(m_function->cParams)) return DISP_E_BADPARAMCOUNT;
    if (!(m_function->invkind & assigning)) AdaptAll();
    return m_type->Invoke(object, m_member, m_flags, &m_parameters, result, exception, badArgument);
}

// "session.Data(1)": the index is meant for the object that the property holds.
bool LateCall::IsIndexed() const noexcept {
    if (m_function->invkind != INVOKE_PROPERTYGET || m_function->cParams > 0) return false;
    const TYPEDESC& type = m_function->elemdescFunc.tdesc;
    return m_parameters.cArgs > 0 && (type.vt == VT_VARIANT || type.vt == VT_PTR);
}

// The platform's dispatcher would look into the object without asking whether there is one.
HRESULT LateCall::MakeIndexed(void* object, LCID locale, VARIANT* result, EXCEPINFO* exception,
                              UINT* badArgument) {
    DISPPARAMS none{};
    Variant value;
    const HRESULT hr = m_type->Invoke(object, m_member, DISPATCH_PROPERTYGET, &none, value.put(),
                                      exception, badArgument);
    if (FAILED(hr)) return hr;
    if (!value.IsObject()) return DISP_E_BADPARAMCOUNT;
    if (!value.get().punkVal) throw MakeRuntimeError(RuntimeError::objectNotSet);
    const auto indexed = Query<IDispatch>(value.get().punkVal);
    return indexed ? indexed->Invoke(DISPID_VALUE, GUID{}, locale, m_flags, &m_parameters, result,
                                     exception, badArgument)
                   : DISP_E_MEMBERNOTFOUND;
}

void LateCall::AdaptAll() {
    const auto declared = static_cast<std::size_t>(m_function->cParams);
    m_kept.reserve(2 * declared);  // a default, and its reference
    for (std::size_t i = 0; i < declared; ++i) {
        const ELEMDESC& parameter = m_function->lprgelemdescParam[i];
        const bool hasDefault = parameter.paramdesc.wParamFlags & PARAMFLAG_FHASDEFAULT;
        if (i == m_arguments.size()) {
            if (!hasDefault) break;
            m_arguments.insert(m_arguments.begin(), MissingArgument());
        }
        VARIANT& argument = m_arguments[m_arguments.size() - 1 - i];  // in reverse order
        if (hasDefault && IsMissing(&argument)) argument = Keep(Variant(std::wstring_view(L"")));
        if (parameter.tdesc.vt == VT_PTR && !IsMissing(&argument))
            Adapt(*parameter.tdesc.lptdesc, argument);
    }
    m_parameters.cArgs = static_cast<UINT>(m_arguments.size());
    m_parameters.rgvarg = m_arguments.data();
}

void LateCall::Adapt(const TYPEDESC& target, VARIANT& argument) {
    switch (target.vt) {
        case VT_VARIANT:
            if (argument.vt == (VT_BYREF | VT_VARIANT)) return;
            argument.pvarVal = &Keep(Variant(argument));
            argument.vt = VT_BYREF | VT_VARIANT;
            return;
        case VT_BSTR:
            AdaptText(argument);
            return;
        case VT_UNKNOWN:
        case VT_DISPATCH:
            AdaptObject(InterfaceOf(target), target.vt, argument);
            return;
        case VT_PTR:
            if (target.lptdesc->vt == VT_USERDEFINED)
                AdaptObject(InterfaceOf(*target.lptdesc), VT_DISPATCH, argument);
            return;
        default:
            return;
    }
}

void LateCall::AdaptText(VARIANT& argument) {
    if (argument.vt == (VT_BYREF | VT_BSTR)) return;
    const bool isTextVariable =
        argument.vt == (VT_BYREF | VT_VARIANT) && argument.pvarVal->vt == VT_BSTR;
    VARIANT& text = isTextVariable ? *argument.pvarVal : Keep(Converted(argument, VT_BSTR));
    argument.vt = VT_BYREF | VT_BSTR;
    argument.pbstrVal = &text.bstrVal;
}

void LateCall::AdaptObject(REFIID interfaceId, VARTYPE type, VARIANT& argument) {
    const Variant value(argument);
    if (!value.IsObject()) throw MakeRuntimeError(RuntimeError::typeMismatch);
    Variant face;
    if (IUnknown* object = value.get().punkVal) {
        void* found = nullptr;
        if (FAILED(object->QueryInterface(interfaceId, &found)))
            throw MakeRuntimeError(RuntimeError::typeMismatch);
        face.put()->punkVal = static_cast<IUnknown*>(found);
        face.put()->vt = type;
    }
    VARIANT& kept = Keep(std::move(face));
    argument.vt = static_cast<VARTYPE>(VT_BYREF | type);
    argument.ppunkVal = &kept.punkVal;
}

// The storage was reserved: references into it stay valid.
VARIANT& LateCall::Keep(Variant value) {
    m_kept.push_back(std::move(value));
    return *m_kept.back().put();
}

IID LateCall::InterfaceOf(const TYPEDESC& target) const {
    if (target.vt == VT_UNKNOWN) return __uuidof(IUnknown);
    if (target.vt == VT_DISPATCH) return __uuidof(IDispatch);
    ComPtr<ITypeInfo> referred;
    TYPEATTR* attributes = nullptr;
    Check(m_type->GetRefTypeInfo(target.hreftype, referred.put()));
    Check(referred->GetTypeAttr(&attributes));
    const IID identifier = attributes->guid;
    referred->ReleaseTypeAttr(attributes);
    return identifier;
}

}  // namespace vtdl::automation
