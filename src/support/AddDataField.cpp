#include "support/AddDataField.h"

#include "objectmodel/CDataField.h"

namespace vtdl::mGlobals {

HRESULT AddDataField(_CDataFields* fields, std::wstring_view name,
                     automation::Variant value) noexcept {
    using namespace automation;
    return Framed<"mGlobals", "AddDataField">([&] {
        const auto field = Make<CDataField>();
        Check(field->put_Name(Bstr(name).get()));
        field->AdoptData(std::move(value));
        _CDataField* added = field.get();
        Check(fields->Add(&added, Variant(name).put()));
    });
}

}  // namespace vtdl::mGlobals
