#include "objectmodel/CData.h"
#include "automation/ClassTable.h"

namespace vtdl {

using namespace automation;

void SetBlock(CData& data, std::wstring_view name, _CDataFields* fields, bool isEditable) {
    const auto block = Make<CParameter>();
    block->SetName(name);
    Check(block->put_ParameterType(vtdlParameterTypeDataFields));
    Check(block->putref_Value(Variant(fields).get()));
    block->SetEditable(isEditable);
    data.Values().Items().Add(block.get(), name);
}

VTDL_CREATABLE(CData)

}  // namespace vtdl
