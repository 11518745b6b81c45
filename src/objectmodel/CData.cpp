#include "objectmodel/CData.h"

namespace vtdl {

using namespace automation;

void setBlock(CData& data, std::wstring_view name, _CDataFields* fields, bool isEditable) {
    const auto block = make<CParameter>();
    block->setName(name);
    check(block->put_ParameterType(vtdlParameterTypeDataFields));
    check(block->putref_Value(Variant(fields).get()));
    block->setEditable(isEditable);
    data.values().items().add(block.get(), name);
}

}  // namespace vtdl
