// What the statements of a database bring, and what is made of it.
#pragma once

#include <functional>

#include "living/Database.h"
#include "living/Web.h"

namespace quoteserver::living {

// Runs a statement, which has this name in the file of feeds.
using RunStatement = std::function<Table(const std::string& name, const std::string& statement)>;

// The recipe learns which columns there are. Throws DatabaseError and Nonsense, which name the
// statement.
Reading ReadDatabase(const RunStatement& run, const Statements& statements, const Ask& ask,
                     Recipe& recipe);

// What a statement brings as the text that a program would print, failures too; and back, as it
// was or failed.
WebAnswer AnswerOf(const std::function<Table()>& run);
Table TableOf(const WebAnswer& answer);

}  // namespace quoteserver::living
