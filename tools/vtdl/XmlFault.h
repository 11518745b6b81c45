#pragma once
// Where an XML text is damaged, for people who edit it by hand: the system's parser does not always
// say.

#include <string>
#include <string_view>

namespace vtdl::host {

/// The first fault as "line 3, column 5: ..."; empty when the tags are in order. Sees what hands
/// break: tags, quotes, ampersands; no names or characters that are not allowed.
std::string XmlFault(std::string_view text);

}  // namespace vtdl::host
