#include "settings/strings.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace jobshaper {

namespace {

// A number without its sign. std::from_chars would take a second sign, and "inf" and "nan".
struct Number {
  bool negative = false;
  std::string_view magnitude;  // begins with a digit or a point, or is empty
};

Number numberIn(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  if (text.find_first_of("0123456789.") != 0) text = {};
  return {negative, text};
}

// Of a number that no float holds: whether it is too large, not too small.
bool isTooLarge(std::string_view magnitude) {
  const std::size_t mantissa = std::min(magnitude.find_first_of("eE"), magnitude.size());
  const std::size_t point = std::min(magnitude.find('.'), mantissa);
  const std::size_t firstDigit = magnitude.find_first_of("123456789");
  const std::int64_t exponent =
      mantissa < magnitude.size() ? integerValue(magnitude.substr(mantissa + 1)) : 0;
  const auto places = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(firstDigit);
  return places + exponent > 0;
}

}  // namespace

std::string replaceString(std::string_view text, std::string_view target,
                          std::string_view replacement) {
  std::string result;
  std::size_t from = 0;
  if (!target.empty()) {
    for (std::size_t at; (at = text.find(target, from)) != text.npos; from = at + target.size()) {
      result.append(text, from, at - from).append(replacement);
    }
  }
  return result.append(text, from);
}

std::int32_t integerValue(std::string_view text) {
  using Limits = std::numeric_limits<std::int32_t>;
  const auto [negative, digits] = numberIn(text);
  std::uint32_t magnitude = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude);
  if (read.ec == std::errc::result_out_of_range) magnitude = Limits::max() + 1u;
  const std::int64_t value = negative ? -std::int64_t{magnitude} : std::int64_t{magnitude};
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

float floatValue(std::string_view text) {
  const auto [negative, digits] = numberIn(text);
  float value = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (read.ec == std::errc::invalid_argument) return 0;  // not "-0" for a lone sign
  if (read.ec == std::errc::result_out_of_range) {
    const auto length = static_cast<std::size_t>(read.ptr - digits.data());
    value = isTooLarge(digits.substr(0, length)) ? std::numeric_limits<float>::max() : 0;
  }
  return negative ? -value : value;
}

}  // namespace jobshaper
