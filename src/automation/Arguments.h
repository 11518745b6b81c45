#pragma once
// What late-bound hosts pass, made fit for the platform's dispatcher.

#include <vector>

#include "automation/Platform.h"

namespace vtdl::automation {

/// A view of a call's arguments.
class ArgumentsByReference {
public:
    explicit ArgumentsByReference(DISPPARAMS& parameters) : m_parameters(parameters) {}
    DISPPARAMS* parameters() noexcept { return &m_parameters; }

private:
    DISPPARAMS& m_parameters;
};

}  // namespace vtdl::automation
