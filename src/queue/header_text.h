// Makes user-supplied text safe for the PJL header.
#pragma once

#include <string>
#include <string_view>

namespace jobshaper {

// The text as it may be between quotes in a PJL line or in a line of the log: quotes become
// apostrophes and control characters blanks, those of UTF-8 included.
std::string headerText(std::string_view text);

}  // namespace jobshaper
