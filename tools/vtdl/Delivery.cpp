#include "Delivery.h"

#include "text/ErrorNumber.h"

namespace vtdl::host {
namespace {

Block BlockOf(_CParameter* value) {
    Block block{TextOf(value, &_CParameter::get_Name), {}};
    Variant content;
    Check(value->get_Value(content.put()), block.name);
    const bool isObject = content.get().vt == VT_DISPATCH || content.get().vt == VT_UNKNOWN;
    const auto fields = automation::Query<_CDataFields>(isObject ? content.get().punkVal : nullptr);
    if (!fields) return block;
    bool hasArrays = false;
    for (const auto& field : ItemsOf<_CDataField>(fields.get())) {
        Variant data;
        Check(field->get_Data(data.put()), block.name);
        hasArrays |= (data.get().vt & VT_ARRAY) != 0;
        block.columns.push_back(
            {TextOf(field.get(), &_CDataField::get_Name), ToValues(data.get())});
    }
    block.isQuote = !block.columns.empty() && !hasArrays;
    return block;
}

}  // namespace

Result ResultOf(const Session& session) {
    Result result{session.SourceName(), {}};
    ComPtr<_CData> data;
    ComPtr<_CParameters> values;
    Check(session.get()->get_Data(data.put()), session.SourceName());
    if (!data) return result;
    Check(data->get_Values(values.put()), session.SourceName());
    for (const auto& value : ItemsOf<_CParameter>(values.get()))
        result.blocks.push_back(BlockOf(value.get()));
    return result;
}

Fault SessionFault(const Session& session) {
    vtdlSessionError error{};
    Check(session.get()->get_Error(&error), session.SourceName());
    const Bstr description = Bstr::attach(error.ErrorDescription);
    if (error.ErrorNumber == 0) return {};
    return {error.ErrorNumber, ToUtf8(description.view()) + text::InParentheses(error.ErrorNumber)};
}

}  // namespace vtdl::host
