// String helpers of the settings.
#pragma once

#include <string>
#include <string_view>

namespace jobshaper {

// `text` with every occurrence of `target` replaced, found from the left without overlap and
// case-sensitively. An empty target is never found.
std::string replaceString(std::string_view text, std::string_view target,
                          std::string_view replacement);

}  // namespace jobshaper
