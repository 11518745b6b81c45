#pragma once
// What late-bound hosts pass, made fit for the platform's dispatcher.

#include <vector>

#include "automation/Platform.h"
#include "automation/Variant.h"

namespace vtdl::automation {

/// The arguments of a call, each by-reference parameter with a reference of its exact type. Script
/// variables arrive as references to variants, which the platform does not look into; an object is
/// asked for the parameter's interface, so that none is taken for what it is not. What the callee
/// writes to a text variable reaches the script. A missing text is the empty default: Wine 8 would
/// pass the default itself where a reference to it is due.
class ArgumentsByReference {
public:
    /// Throws the run-time error 13 for an argument that does not fit.
    ArgumentsByReference(ITypeInfo* type, DISPID member, WORD flags, const DISPPARAMS& parameters);

    DISPPARAMS* parameters() noexcept { return &m_parameters; }

private:
    void Adapt(ITypeInfo* type, const TYPEDESC& target, VARIANT& argument);
    void AdaptText(VARIANT& argument);
    void AdaptObject(REFIID interfaceId, VARTYPE type, VARIANT& argument);
    VARIANT& Keep(Variant value);

    DISPPARAMS m_parameters;
    std::vector<VARIANT> m_arguments;  // borrowed, but for what m_kept owns
    std::vector<Variant> m_kept;
};

}  // namespace vtdl::automation
