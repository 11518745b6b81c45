#pragma once
// The result of a session.

#include "objectmodel/CDataFields.h"
#include "objectmodel/CParameters.h"

namespace vtdl {

/// The published result: named blocks, each a parameter whose value is a CDataFields.
class CData final : public FramedObject<CData, ::CData, _CData> {
public:
    static constexpr text::FixedString className{"CData"};

    STDMETHODIMP get_Values(_CParameters** result) noexcept override {
        return FramedResult<"Values">(result, [&] { *result = m_values.AddRefed(); });
    }

    /// For the library's own classes.
    CParameters& Values() noexcept { return *m_values.get(); }

private:
    automation::ComPtr<CParameters> m_values = automation::Make<CParameters>();
};

/// Puts a block into a new result under its name; a fixed block cannot be changed by the host.
void SetBlock(CData& data, std::wstring_view name, _CDataFields* fields, bool isEditable);

}  // namespace vtdl
