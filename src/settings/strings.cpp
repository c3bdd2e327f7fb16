#include "settings/strings.h"

#include <strings.h>

namespace jobshaper {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  // The process never leaves the C locale, so strncasecmp knows ASCII letters only.
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
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
