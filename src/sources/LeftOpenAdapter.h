#pragma once
// Adapters of services whose formats are not known to the library.

#include "objectmodel/CData.h"
#include "session/SessionErrors.h"
#include "sources/SessionParameters.h"
#include "sources/WebAdapter.h"

namespace vtdl {

/// Base of an adapter that has an identity, parameters and sessions like any other, and whose
/// download reports that data is not available.
template <class D, class Coclass, class Default>
class LeftOpenAdapter : public WebAdapter<D, Coclass, Default> {
public:
    static std::vector<ParameterDeclaration> SessionParameters() { return {TickerParameter()}; }

    STDMETHODIMP Download(_CSession** session) noexcept override {
        return this->Downloading(session, [&](MethodFrame& frame, _CSession* current) {
            frame.Step([&] { this->m_session.Start(); });
            frame.Step([&] { this->m_session.Done(dataNotAvailable); });
            frame.Step([&] { this->Deliver(current, *automation::Make<CData>().get(), false); });
            frame.Step([&] { this->m_session.DataReady(); });
        });
    }
};

}  // namespace vtdl
