#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quoteserver::living {

// The recipes that come with the program, by name; null for an unknown name.
const char* ShippedRecipe(std::string_view name);
std::vector<std::string> ShippedRecipeNames();

}  // namespace quoteserver::living
