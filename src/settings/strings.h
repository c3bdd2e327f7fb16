// Comparing and replacing text, independently of the locale.
#pragma once

#include <string>
#include <string_view>

namespace jobshaper {

// Ignores the case of ASCII letters only; other bytes must be equal, in every locale.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

// Returns `text` with every occurrence of `target` replaced. Searches from the left, without
// overlaps, case-sensitive. An empty target is never found. Part of the interface, but not used by
// the filter itself.
std::string replaceString(std::string_view text, std::string_view target,
                          std::string_view replacement);

}  // namespace jobshaper
