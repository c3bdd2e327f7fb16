// String helpers of the settings.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace jobshaper {

// Reads the integer that a text begins with: white space, a sign, decimal digits; anything may
// follow. The text may come in parts.
class IntegerReader {
 public:
  // False once the number has ended: what follows does not matter.
  bool take(std::string_view part);
  // 0 without digits; clamped to 32 bits.
  std::int32_t value() const;

 private:
  enum class Place { beforeNumber, inNumber, behindNumber };
  bool take(char c);

  Place place_ = Place::beforeNumber;
  bool negative_ = false;
  std::int64_t digits_ = 0;
};

// The same for a whole text.
std::int32_t integerValue(std::string_view text);

// The same with a decimal point and an exponent, in single precision and in every locale.
// "inf", "nan" and hexadecimals are text; the result is always finite.
float floatValue(std::string_view text);

// `text` with every occurrence of `target` replaced, found from the left without overlap and
// case-sensitively. An empty target is never found. Part of the interface; the filter has no call
// of it.
std::string replaceString(std::string_view text, std::string_view target,
                          std::string_view replacement);

}  // namespace jobshaper
