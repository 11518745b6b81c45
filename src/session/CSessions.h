#pragma once
// The sessions that a host keeps.

#include "objectmodel/Collection.h"

namespace vtdl {

/// The published session collection.
class CSessions final : public Collection<CSessions, ::CSessions, _CSessions, _CSession> {
public:
    static constexpr text::FixedString className{"CSessions"};

    CSessions() {
        Framed<"Class_Initialize">([] {});
    }

    STDMETHODIMP Exists(VARIANT* index, VARIANT_BOOL* result) noexcept override {
        return IsPresent(index, result);
    }
};

}  // namespace vtdl
