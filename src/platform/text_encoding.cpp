#include "platform/text_encoding.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace jobshaper {

namespace {

// clang-format off
// The Unicode code points of Mac OS Roman 0x80 to 0xFF, eight per row.
constexpr char16_t kMacRoman[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1,  // 80
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8,  // 88
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,  // 90
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC,  // 98
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF,  // A0
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,  // A8
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211,  // B0
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8,  // B8
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,  // C0
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153,  // C8
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA,  // D0
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,  // D8: DB is the euro sign
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,  // E0
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,  // E8
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,  // F0: F0 is private to Apple
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,  // F8
};
// clang-format on

void appendUtf8(std::string& text, char16_t c) {
  if (c < 0x800) {
    text += static_cast<char>(0xC0 | c >> 6);
  } else {
    text += static_cast<char>(0xE0 | c >> 12);
    text += static_cast<char>(0x80 | (c >> 6 & 0x3F));
  }
  text += static_cast<char>(0x80 | (c & 0x3F));
}

// How many leading bytes are ASCII. Tests eight bytes at a time.
std::size_t asciiPrefix(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t i = 0;
  for (std::uint64_t eight; i + sizeof eight <= text.size(); i += sizeof eight) {
    std::memcpy(&eight, text.data() + i, sizeof eight);
    if ((eight & kHighBits) != 0) break;
  }
  while (i < text.size() && static_cast<unsigned char>(text[i]) < 0x80) ++i;
  return i;
}

}  // namespace

void appendUtf8FromMacRoman(std::string& utf8, std::string_view text) {
  while (!text.empty()) {
    const std::size_t plain = asciiPrefix(text);
    utf8.append(text.substr(0, plain));
    text.remove_prefix(plain);
    while (!text.empty() && static_cast<unsigned char>(text.front()) >= 0x80) {
      appendUtf8(utf8, kMacRoman[static_cast<unsigned char>(text.front()) - 0x80]);
      text.remove_prefix(1);
    }
  }
}

std::string utf8FromMacRoman(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  appendUtf8FromMacRoman(result, text);
  return result;
}

std::optional<std::string> macRomanFromUtf8(std::string_view text) {
  if (!isValidUtf8(text)) return std::nullopt;
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i++]);
    if (lead < 0x80) {
      result += static_cast<char>(lead);
      continue;
    }
    std::size_t following = 1;
    if (lead >= 0xE0) following = lead < 0xF0 ? 2 : 3;
    std::uint32_t character = lead & (0x3FU >> following);
    for (; following > 0; --following) {
      character = character << 6 | (static_cast<unsigned char>(text[i++]) & 0x3F);
    }
    const auto found = std::find(std::begin(kMacRoman), std::end(kMacRoman), character);
    if (found == std::end(kMacRoman)) return std::nullopt;
    result += static_cast<char>(0x80 + (found - kMacRoman));
  }
  return result;
}

bool isValidUtf8(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i++]);
    if (lead < 0x80) continue;
    int following;
    std::uint32_t character, smallest;
    if ((lead & 0xE0) == 0xC0) {
      following = 1, character = lead & 0x1F, smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      following = 2, character = lead & 0x0F, smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      following = 3, character = lead & 0x07, smallest = 0x10000;
    } else {
      return false;
    }
    for (; following > 0; --following) {
      if (i == bytes.size()) return false;
      const auto next = static_cast<unsigned char>(bytes[i++]);
      if ((next & 0xC0) != 0x80) return false;
      character = character << 6 | (next & 0x3F);
    }
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < smallest || surrogate || character > 0x10FFFF) return false;
  }
  return true;
}

}  // namespace jobshaper
