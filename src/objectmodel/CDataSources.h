#pragma once
// The data sources of a manager.

#include "objectmodel/Collection.h"

namespace vtdl {

/// The published data-source collection.
class CDataSources final
    : public Collection<CDataSources, ::CDataSources, _CDataSources, _CDataSource> {
public:
    static constexpr text::FixedString className{"CDataSources"};
};

}  // namespace vtdl
