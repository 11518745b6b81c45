#include "automation/Arguments.h"

#include "automation/ComPtr.h"
#include "automation/Error.h"

namespace vtdl::automation {
namespace {

// The description of a called member, released with it.
class Function {
public:
    Function(ITypeInfo* type, DISPID member, WORD flags) : m_type(type) {
        for (UINT index = 0; SUCCEEDED(type->GetFuncDesc(index, &m_description)); ++index) {
            if (m_description->memid == member && (m_description->invkind & flags)) return;
            type->ReleaseFuncDesc(m_description);
            m_description = nullptr;
        }
        m_description = nullptr;
    }
    Function(const Function&) = delete;
    Function& operator=(const Function&) = delete;
    ~Function() {
        if (m_description) m_type->ReleaseFuncDesc(m_description);
    }

    const FUNCDESC* get() const { return m_description; }

private:
    ITypeInfo* m_type;
    FUNCDESC* m_description = nullptr;
};

IID InterfaceOf(ITypeInfo* type, const TYPEDESC& target) {
    if (target.vt == VT_UNKNOWN) return __uuidof(IUnknown);
    if (target.vt == VT_DISPATCH) return __uuidof(IDispatch);
    ComPtr<ITypeInfo> referred;
    TYPEATTR* attributes = nullptr;
    Check(type->GetRefTypeInfo(target.hreftype, referred.put()));
    Check(referred->GetTypeAttr(&attributes));
    const IID identifier = attributes->guid;
    referred->ReleaseTypeAttr(attributes);
    return identifier;
}

VARIANT MissingArgument() {
    VARIANT missing;
    missing.vt = VT_ERROR;
    missing.scode = DISP_E_PARAMNOTFOUND;
    return missing;
}

}  // namespace

ArgumentsByReference::ArgumentsByReference(ITypeInfo* type, DISPID member, WORD flags,
                                           const DISPPARAMS& parameters)
    : m_parameters(parameters),
      m_arguments(parameters.rgvarg, parameters.rgvarg + parameters.cArgs) {
    // Assignments take their value as it is, and have no other arguments here.
    if (parameters.cNamedArgs > 0) return;
    const Function function(type, member, flags);
    if (!function.get()) return;
    const std::size_t declared = static_cast<std::size_t>(function.get()->cParams);
    m_kept.reserve(2 * declared);  // a default, and its reference
    for (std::size_t i = 0; i < declared; ++i) {
        const ELEMDESC& parameter = function.get()->lprgelemdescParam[i];
        const bool hasDefault = parameter.paramdesc.wParamFlags & PARAMFLAG_FHASDEFAULT;
        if (i == m_arguments.size()) {
            if (!hasDefault) break;
            m_arguments.insert(m_arguments.begin(), MissingArgument());
        }
        VARIANT& argument = m_arguments[m_arguments.size() - 1 - i];  // in reverse order
        if (hasDefault && IsMissing(&argument)) argument = Keep(Variant(std::wstring_view(L"")));
        if (parameter.tdesc.vt == VT_PTR && !IsMissing(&argument))
            Adapt(type, *parameter.tdesc.lptdesc, argument);
    }
    m_parameters.cArgs = static_cast<UINT>(m_arguments.size());
    m_parameters.rgvarg = m_arguments.data();
}

void ArgumentsByReference::Adapt(ITypeInfo* type, const TYPEDESC& target, VARIANT& argument) {
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
            AdaptObject(InterfaceOf(type, target), target.vt, argument);
            return;
        case VT_PTR:
            if (target.lptdesc->vt == VT_USERDEFINED)
                AdaptObject(InterfaceOf(type, *target.lptdesc), VT_DISPATCH, argument);
            return;
        default:
            return;
    }
}

void ArgumentsByReference::AdaptText(VARIANT& argument) {
    if (argument.vt == (VT_BYREF | VT_BSTR)) return;
    const bool isTextVariable =
        argument.vt == (VT_BYREF | VT_VARIANT) && argument.pvarVal->vt == VT_BSTR;
    VARIANT& text = isTextVariable ? *argument.pvarVal : Keep(Converted(argument, VT_BSTR));
    argument.vt = VT_BYREF | VT_BSTR;
    argument.pbstrVal = &text.bstrVal;
}

void ArgumentsByReference::AdaptObject(REFIID interfaceId, VARTYPE type, VARIANT& argument) {
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
VARIANT& ArgumentsByReference::Keep(Variant value) {
    m_kept.push_back(std::move(value));
    return *m_kept.back().put();
}

}  // namespace vtdl::automation
