#include "settings/strings.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace jobshaper {

namespace {
using Limits = std::numeric_limits<std::int32_t>;
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

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

bool IntegerReader::take(std::string_view part) {
  return std::ranges::all_of(part, [this](char c) { return take(c); });
}

bool IntegerReader::take(char c) {
  if (place_ == Place::beforeNumber && kWhiteSpace.find(c) != kWhiteSpace.npos) return true;
  if (place_ == Place::beforeNumber && (c == '-' || c == '+')) {
    negative_ = c == '-';
    place_ = Place::inNumber;
  } else if (place_ != Place::behindNumber && c >= '0' && c <= '9') {
    // Held just beyond the 32 bits, so that no number of digits overflows.
    digits_ = std::min<std::int64_t>(digits_ * 10 + (c - '0'), std::int64_t{Limits::max()} + 1);
    place_ = Place::inNumber;
  } else {
    place_ = Place::behindNumber;
  }
  return place_ != Place::behindNumber;
}

std::int32_t IntegerReader::value() const {
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(negative_ ? -digits_ : digits_, Limits::min(), Limits::max()));
}

std::int32_t integerValue(std::string_view text) {
  IntegerReader reader;
  reader.take(text);
  return reader.value();
}

float floatValue(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  // std::from_chars would take a second sign, and "inf" and "nan".
  if (text.find_first_of("0123456789.") != 0) return 0;
  float value = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  if (read.ec == std::errc::invalid_argument) return 0;  // a lone point; not "-0" for "-."
  if (read.ec == std::errc::result_out_of_range) {
    const auto length = static_cast<std::size_t>(read.ptr - text.data());
    value = isTooLarge(text.substr(0, length)) ? std::numeric_limits<float>::max() : 0;
  }
  return negative ? -value : value;
}

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

}  // namespace jobshaper
