#include "queue/header_text.h"

namespace jobshaper {

namespace {

bool isControl(unsigned char c) { return c < 0x20 || c == 0x7F; }

// U+0080 to U+009F.
bool isControlInUtf8(std::string_view text) {
  return text.size() >= 2 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) >= 0x80 &&
         static_cast<unsigned char>(text[1]) < 0xA0;
}

}  // namespace

std::string headerText(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    std::size_t length = 1;
    if (text[0] == '"') {
      clean += '\'';
    } else if (isControlInUtf8(text)) {
      clean += ' ';
      length = 2;
    } else {
      clean += isControl(static_cast<unsigned char>(text[0])) ? ' ' : text[0];
    }
    text.remove_prefix(length);
  }
  return clean;
}

}  // namespace jobshaper
