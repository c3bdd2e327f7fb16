#include "platform/text_encoding.h"

#include <gtest/gtest.h>

namespace jobshaper {
namespace {

TEST(MacRoman, IsConvertedToUtf8WithApplesMapping) {
  EXPECT_EQ(utf8FromMacRoman(""), "");
  EXPECT_EQ(utf8FromMacRoman("plain \t~\x7f"), "plain \t~\x7f");
  EXPECT_EQ(utf8FromMacRoman("\x80\x8a\x9f"),
            "\xC3\x84\xC3\xA4\xC3\xBC");                  // Adieresis adieresis udieresis
  EXPECT_EQ(utf8FromMacRoman("\xdb"), "\xE2\x82\xAC");    // euro sign
  EXPECT_EQ(utf8FromMacRoman("\xf0"), "\xEF\xA3\xBF");    // U+F8FF
  EXPECT_EQ(utf8FromMacRoman("a\xff z"), "a\xCB\x87 z");  // caron
}

TEST(MacRoman, IsConvertedFromUtf8) {
  EXPECT_EQ(macRomanFromUtf8(""), "");
  EXPECT_EQ(macRomanFromUtf8("\xE2\x82\xAC \xEF\xA3\xBF \xC3\xA4"), "\xdb \xf0 \x8a");
  for (int byte = 1; byte < 256; ++byte) {
    const std::string mac(1, static_cast<char>(byte));
    EXPECT_EQ(macRomanFromUtf8(utf8FromMacRoman(mac)), mac) << byte;
  }
}

TEST(MacRoman, DoesNotHaveOtherCharacters) {
  // Cyrillic, a combining accent, a supplementary character, a Latin 1 control, invalid UTF-8.
  for (const char* text :
       {"\xD0\x9E", "e\xCC\x81", "\xF0\x9F\x98\x80", "\xC2\x80", "a\xC3", "\x8E", "\xC1\xA1"}) {
    EXPECT_EQ(macRomanFromUtf8(text), std::nullopt) << text;
  }
}

TEST(Utf8, IsCheckedByteByByte) {
  for (const char* good : {"", "ascii", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                           "\xEE\x80\x80", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(isValidUtf8(good)) << good;
  }
  for (const char* bad :
       {"\x80", "\xBF", "\xC3", "\xC3(", "\xE2\x82", "\xE2(\xA1", "\xF0\x90\x80",
        "\xF8\x88\x80\x80", "\xFF", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
        "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF7\xBF\xBF\xBF", "ok\xC3"}) {
    EXPECT_FALSE(isValidUtf8(bad)) << bad;
  }
}

}  // namespace
}  // namespace jobshaper
