// What the program needs to run unwatched, from log-on on.
#pragma once

#include <string>

namespace quoteserver {

// From now on all messages go to the end of this file, and on Windows the console's window, unless
// others use it, is gone. Throws std::runtime_error when the file cannot be written.
void WriteMessagesTo(const std::string& file);

#ifdef _WIN32
// Ends the other processes that run this program's file, for setup programs: they can be replaced
// then. False when one of them does not end.
bool EndOthers();
#endif

}  // namespace quoteserver
