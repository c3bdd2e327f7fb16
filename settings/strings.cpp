#include "settings/strings.h"

#include <algorithm>
#include <limits>

namespace jobshaper {

std::int32_t integerValue(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == text.npos) return 0;
  const bool negative = text[start] == '-';
  const bool sign = negative || text[start] == '+';
  using Limits = std::numeric_limits<std::int32_t>;
  std::int64_t value = 0;
  for (std::size_t i = start + sign; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    // Held just beyond the 32 bits, so that no number of digits overflows.
    value = std::min<std::int64_t>(value * 10 + (text[i] - '0'), std::int64_t{Limits::max()} + 1);
  }
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(negative ? -value : value, Limits::min(), Limits::max()));
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
