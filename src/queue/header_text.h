// Makes user-supplied text safe for the PJL header.
#pragma once

#include <string>
#include <string_view>

namespace jobshaper {

// Returns the text in the form that is safe between quotes in a PJL line, and in a line of the log:
// double quotes become apostrophes, and control characters blanks, also those encoded in UTF-8. The
// text need not be valid UTF-8.
std::string headerText(std::string_view text);

}  // namespace jobshaper
