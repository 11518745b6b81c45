#include "support/AddDataField.h"

#include "objectmodel/CDataField.h"

namespace vtdl::mGlobals {

HRESULT AddDataField(_CDataFields* fields, std::wstring_view name, automation::Variant value) noexcept {
    using namespace automation;
    return framed<"mGlobals", "AddDataField">([&] {
        const auto field = make<CDataField>();
        check(field->put_Name(Bstr(name).get()));
        field->adoptData(std::move(value));
        _CDataField* added = field.get();
        check(fields->Add(&added, Variant(name).put()));
    });
}

}  // namespace vtdl::mGlobals
