#pragma once
// A call by name, made fit for the platform's dispatcher.

#include <vector>

#include "automation/Platform.h"
#include "automation/Variant.h"

namespace vtdl::automation {

/// True when an argument refers to nothing, which nobody may look into.
bool HasNullReference(const DISPPARAMS& parameters) noexcept;

/// One call of a member of a dual interface. Named arguments are put in their places. Each
/// by-reference parameter gets a reference of its exact type: script variables arrive as references
/// to variants, which the platform does not look into, and an object is asked for the parameter's
/// interface, so that none is taken for what it is not. What the callee writes to a text variable
/// reaches the script. A missing text is the empty default: Wine 8 would pass the default itself
/// where a reference to it is due.
class LateCall {
public:
    /// The parameters have no null references, and outlive the call. Throws DISP_E_PARAMNOTFOUND
    /// for a name that is no parameter's, or one's that has its argument by position.
    LateCall(ITypeInfo* type, DISPID member, WORD flags, const DISPPARAMS& parameters);
    LateCall(const LateCall&) = delete;
    LateCall& operator=(const LateCall&) = delete;
    ~LateCall();

    /// The arguments by position, in reverse order, as they were given.
    DISPPARAMS& Parameters() noexcept { return m_parameters; }

    /// Calls the object, which has the interface's methods. Throws the run-time errors 13 for an
    /// argument that does not fit and 91 for an index into an object that is not there.
    HRESULT Make(void* object, LCID locale, VARIANT* result, EXCEPINFO* exception,
                 UINT* badArgument);

private:
    void FindFunction();
    void PlaceNamed(const DISPPARAMS& given);
    bool IsIndexed() const noexcept;
    HRESULT MakeIndexed(void* object, LCID locale, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument);
    void AdaptAll();
    void Adapt(const TYPEDESC& target, VARIANT& argument);
    void AdaptText(VARIANT& argument);
    void AdaptObject(REFIID interfaceId, VARTYPE type, VARIANT& argument);
    VARIANT& Keep(Variant value);
    IID InterfaceOf(const TYPEDESC& target) const;

    ITypeInfo* const m_type;
    const DISPID m_member;
    const WORD m_flags;
    FUNCDESC* m_function = nullptr;  ///< null when the interface has no such member
    DISPPARAMS m_parameters;
    std::vector<VARIANT> m_arguments;  // borrowed, but for what m_kept owns
    std::vector<Variant> m_kept;
};

}  // namespace vtdl::automation
