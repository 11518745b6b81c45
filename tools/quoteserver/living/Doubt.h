// Whether a history may take the place of the copy that is there.
#pragma once

#include <string>

#include "living/Ask.h"

namespace quoteserver::living {

// Days lost, or closes changed by what no split explains, mean that the source speaks of something
// else now: says so, or nothing. Closes of the user's own table are corrected by the user.
std::string Doubt(const DataFolder& store, const std::string& ticker, const Outcome& outcome,
                  bool isOwn);

}  // namespace quoteserver::living
