#include "settings/numbers.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <limits>
#include <string>

namespace jobshaper {

namespace {
using Limits = std::numeric_limits<std::int32_t>;
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
}  // namespace

bool IntegerReader::take(std::string_view part) {
  return std::all_of(part.begin(), part.end(), [this](char c) { return take(c); });
}

bool IntegerReader::take(char c) {
  if (place_ == Place::beforeNumber && kWhiteSpace.find(c) != kWhiteSpace.npos) return true;
  if (place_ == Place::beforeNumber && (c == '-' || c == '+')) {
    negative_ = c == '-';
    place_ = Place::inNumber;
  } else if (place_ != Place::afterNumber && c >= '0' && c <= '9') {
    // Capped just above the 32-bit range, so that any number of digits is safe.
    digits_ = std::min<std::int64_t>(digits_ * 10 + (c - '0'), std::int64_t{Limits::max()} + 1);
    place_ = Place::inNumber;
  } else {
    place_ = Place::afterNumber;
  }
  return place_ != Place::afterNumber;
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
  // std::strtof would also read hexadecimal numbers, "inf" and "nan", and expects the decimal point
  // of the locale.
  std::string number(text.substr(0, text.find_first_not_of("+-.0123456789Ee")));
  if (const std::size_t point = number.find('.'); point != number.npos) {
    number.replace(point, 1, std::localeconv()->decimal_point);
  }
  constexpr float kLargest = std::numeric_limits<float>::max();
  return std::clamp(std::strtof(number.c_str(), nullptr), -kLargest, kLargest);
}

}  // namespace jobshaper
