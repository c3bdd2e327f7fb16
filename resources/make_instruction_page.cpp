// Makes one instruction page: make_instruction_page TEMPLATE TEXTS ENGLISH-TEXTS PAGE
//
// Texts are UTF-8 lines of a name, a blank and a text. The page is 7-bit, with octal escapes for
// the letters of ISO Latin 1, so that it survives every channel to the printer.

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Texts = std::map<std::string, std::string>;

constexpr const char* kNames[] = {"title", "intro", "head1",     "text1", "head2", "text2",
                                  "head3", "text3", "thisSheet", "note1", "note2"};

[[noreturn]] void fail(const char* reason, std::string_view what) {
  std::fprintf(stderr, "%s: %.*s\n", reason, static_cast<int>(what.size()), what.data());
  std::exit(1);
}

std::string readFile(const char* path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail("Cannot read", path);
  return {std::istreambuf_iterator<char>(in), {}};
}

Texts readTexts(const char* path) {
  Texts texts;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    const std::size_t blank = line.find(' ');
    if (blank != line.npos) texts[line.substr(0, blank)] = line.substr(blank + 1);
  }
  for (const char* name : kNames) {
    if (texts[name].empty()) fail("No text", std::string(name) + " in " + path);
  }
  return texts;
}

// Characters up to U+FFFF; neither kind of string can hold others.
std::vector<unsigned> decoded(const std::string& text) {
  std::vector<unsigned> characters;
  unsigned following = 0;
  for (const char byte : text) {
    const auto code = static_cast<unsigned char>(byte);
    const bool continues = code >= 0x80 && code < 0xC0;
    if (code >= 0xF0 || continues != (following > 0)) fail("Not UTF-8 up to U+FFFF", text);
    if (continues) {
      characters.back() = characters.back() << 6 | (code & 0x3FU);
      --following;
    } else {
      following = code < 0x80 ? 0 : code < 0xE0 ? 1 : 2;
      characters.push_back(code < 0x80 ? code : code & (following == 1 ? 0x1FU : 0x0FU));
    }
  }
  if (following > 0) fail("Not UTF-8 up to U+FFFF", text);
  return characters;
}

// The lowest `count` digits of the number; the base is 2 to the `bits`.
std::string digits(unsigned number, unsigned count, unsigned bits) {
  std::string out;
  while (count-- > 0) out += "0123456789abcdef"[number >> count * bits & ((1U << bits) - 1)];
  return out;
}

// A PostScript string of ISO Latin 1, broken after a blank into lines well below 255 bytes.
std::string latinString(const std::string& text) {
  constexpr std::size_t kLongestLine = 80;
  std::string out = "(";
  std::size_t column = 0;
  for (const unsigned character : decoded(text)) {
    if (character > 255 || character < 32 || (character >= 127 && character < 160)) {
      fail("Not ISO Latin 1", text);
    }
    if (character > 127) {
      out += "\\" + digits(character, 3, 3);
      column += 4;
      continue;
    }
    const char c = static_cast<char>(character);
    if (c == '(' || c == ')' || c == '\\') out += '\\';
    out += c;
    ++column;
    if (c == ' ' && column > kLongestLine) {
      out += "\\\n";
      column = 0;
    }
  }
  return out + ")";
}

// A hex string of UCS-2 for a two-byte font.
std::string twoByteString(const std::string& text) {
  constexpr std::size_t kInALine = 24;
  std::string out = "<";
  std::size_t count = 0;
  for (const unsigned character : decoded(text)) {
    out += digits(character, 4, 4);
    if (++count % kInALine == 0) out += '\n';
  }
  return out + ">";
}

std::string definitions(Texts& texts, std::string (*string)(const std::string&)) {
  std::string out;
  for (const char* name : kNames)
    out += std::string("/") + name + " " + string(texts[name]) + " def\n";
  return out;
}

std::string postScriptOf(Texts& texts, Texts& english) {
  if (texts["twoByteFonts"].empty()) return definitions(texts, latinString);
  // Not every printer has such a font: without one the page is in English.
  return "[" + texts["twoByteFonts"] + "] /" + texts["twoByteMap"] +
         " findTwoByteFont\ntwoByte {\n" + definitions(texts, twoByteString) + "} {\n" +
         definitions(english, latinString) + "} ifelse\n";
}

// What begins with %# is for the template's reader.
void removeComments(std::string& page) {
  for (std::size_t at; (at = page.find("%#")) != page.npos;) {
    const std::size_t end = page.find('\n', at);
    while (at > 0 && page[at - 1] == ' ') --at;
    page.erase(at, end + 1 - at);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 5) fail("usage", "make_instruction_page TEMPLATE TEXTS ENGLISH-TEXTS PAGE");
  std::string page = readFile(argv[1]);
  Texts texts = readTexts(argv[2]);
  Texts english = readTexts(argv[3]);
  removeComments(page);
  constexpr std::string_view kPlace = "@TEXTS@\n";
  const std::size_t place = page.find(kPlace);
  if (place == page.npos) fail("No place for the texts", argv[1]);
  page.replace(place, kPlace.size(), postScriptOf(texts, english));
  std::ofstream out(argv[4], std::ios::binary);
  out << page;
  if (!out.flush()) fail("Cannot write", argv[4]);
}
