// Reading numbers from option values. All functions ignore the locale.
#pragma once

#include <cstdint>
#include <string_view>

namespace jobshaper {

// Reads the integer at the start of a text: optional white space, an optional sign, decimal digits,
// then anything. The text may be passed in parts.
class IntegerReader {
 public:
  // Returns false once the number has ended, so that later parts do not matter.
  bool take(std::string_view part);
  // The number, clamped to 32 bits; 0 if there were no digits.
  std::int32_t value() const;

 private:
  enum class Place { beforeNumber, inNumber, afterNumber };
  bool take(char c);

  Place place_ = Place::beforeNumber;
  bool negative_ = false;
  std::int64_t digits_ = 0;
};

// The integer at the start of a whole text.
std::int32_t integerValue(std::string_view text);

// The decimal number at the start of a text, with an optional fraction and exponent, in single
// precision. "inf", "nan" and hexadecimal numbers do not count as numbers; the result is always
// finite, and 0 without digits.
float floatValue(std::string_view text);

}  // namespace jobshaper
