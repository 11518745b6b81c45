#pragma once
// The form that the option service's download page submits.

#include <string>
#include <string_view>

namespace vtdl::cboe {

/// The page state that goes into the form, with the page's event validation in its tail. Built in
/// for use with the bundled quote server: of the form and length that the service's states had, and
/// without content.
std::string BuiltInState(bool isLookupForm);

/// The whole body, in the page's order. The ticker is inserted as it stands.
std::string BuildFormBody(bool isLookupForm, std::string_view ticker, std::string_view state);

/// Appends a field; name and value are encoded already.
void AddFormField(std::string& body, std::string_view name, std::string_view value);

/// Encodes "+", "=" and ":", in this order, and nothing else; on purpose.
std::string EncodeParam(std::string_view text);

}  // namespace vtdl::cboe
