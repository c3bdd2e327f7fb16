// String helpers of the settings.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace jobshaper {

// `text` with every occurrence of `target` replaced, found from the left without overlap and
// case-sensitively. An empty target is never found.
std::string replaceString(std::string_view text, std::string_view target,
                          std::string_view replacement);

// The number at the start of a text, after white space and a sign; what follows it is ignored.
// Text without a number is 0, and a number out of range is the nearest one that fits. Neither
// depends on the locale.
std::int32_t integerValue(std::string_view text);
// In decimals, with or without a point and an exponent; "inf", "nan" and "0x10" are no numbers
// here. The result is always finite.
float floatValue(std::string_view text);

}  // namespace jobshaper
