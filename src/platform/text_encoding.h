// Text encodings. Job text is Mac OS Roman, one character a byte; UTF-8 appears in the
// accounting values of the header, in PPD files and in manual booklets.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace jobshaper {

// The UTF-8 form of Mac OS Roman bytes as Apple maps them: 0xDB is the euro sign, 0xF0 is
// U+F8FF. Every byte has a character.
std::string utf8FromMacRoman(std::string_view text);
void appendUtf8FromMacRoman(std::string& utf8, std::string_view text);

// The way back; none when the text is not UTF-8 or has a character that Mac OS Roman lacks.
std::optional<std::string> macRomanFromUtf8(std::string_view text);

// Whether the bytes are well-formed UTF-8: no overlong form, no surrogate, nothing above
// U+10FFFF.
bool isValidUtf8(std::string_view bytes);

// ASCII letters match in either case; all other bytes match themselves, in every locale.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

}  // namespace jobshaper
