#pragma once
// The data-source contract's own class, and the data sources of a manager.

#include <vtdl.h>

#include "errors/MethodFrame.h"
#include "objectmodel/Collection.h"

namespace vtdl {

/// The published data source without a service behind it: its download is a demonstration of
/// progress without data.
class CDataSource final : public FramedObject<CDataSource, ::CDataSource, _CDataSource> {
public:
    static constexpr text::FixedString className{"CDataSource"};

    STDMETHODIMP get_PriceDataType(vtdlPriceDataType* result) noexcept override;
    STDMETHODIMP get_DataFields(_CDataFields** result) noexcept override;
    STDMETHODIMP get_Description(BSTR* result) noexcept override;
    STDMETHODIMP get_Name(BSTR* result) noexcept override;
    STDMETHODIMP get_Parameters(_CParameters** result) noexcept override;
    STDMETHODIMP Download(_CSession** session) noexcept override;
    STDMETHODIMP Abort() noexcept override;
    STDMETHODIMP Search(_CParameters** parameters, BSTR* result) noexcept override;
    STDMETHODIMP CreateSession(_CSession** result) noexcept override;
    STDMETHODIMP Clone(_CDataSource** result) noexcept override;
};

/// The published data-source collection.
class CDataSources final
    : public Collection<CDataSources, ::CDataSources, _CDataSources, _CDataSource> {
public:
    static constexpr text::FixedString className{"CDataSources"};
};

}  // namespace vtdl
