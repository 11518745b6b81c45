#pragma once
// Values of a URL's query.

#include <string>
#include <string_view>

namespace vtdl::text {

/// Encodes the bytes of a query value. Letters and digits stay; a space becomes "+" or "%20";
/// any other byte becomes "%" and its hexadecimal code in capitals. On purpose the codes 10 to 15
/// keep a single digit (%A to %F), as the services' own pages write them, while 1 to 9 get two.
std::string UrlEncode(std::string_view bytes, bool spaceAsPlus);

}  // namespace vtdl::text
