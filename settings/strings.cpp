#include "settings/strings.h"

namespace jobshaper {

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
