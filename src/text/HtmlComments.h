#pragma once
// Scraped pages: comments.

#include <string>
#include <string_view>

namespace vtdl::text {

/// The page without its comments ("<!-- ... -->"). After a comment that never ends, on purpose, the
/// scan starts again at the third character, so the text before the comment is in the result twice;
/// the second time the comment is met, the rest of the page follows as it stands.
std::string RemoveHtmlComments(std::string_view html);

}  // namespace vtdl::text
