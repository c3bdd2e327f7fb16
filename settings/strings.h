// String helpers of the settings.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace jobshaper {

// The integer that a text begins with: white space, a sign, decimal digits; anything may
// follow. 0 without digits. Clamped to 32 bits.
std::int32_t integerValue(std::string_view text);

// The same with a decimal point and an exponent, in single precision and in every locale.
// "inf", "nan" and hexadecimals are text; the result is always finite.
float floatValue(std::string_view text);

// `text` with every occurrence of `target` replaced, found from the left without overlap and
// case-sensitively. An empty target is never found.
std::string replaceString(std::string_view text, std::string_view target,
                          std::string_view replacement);

}  // namespace jobshaper
