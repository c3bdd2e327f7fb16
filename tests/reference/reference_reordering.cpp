#include "tests/reference/reference_reordering.h"

namespace jobshaper::reference {
namespace {

const char kFirstPass[] =
    "statusdict dup /setmanualduplexmode known {begin 1 setmanualduplexmode end}{pop}ifelse\n";
const char kSecondPass[] =
    "statusdict dup /setmanualduplexmode known {begin 2 setmanualduplexmode end}{pop}ifelse\n";

// The code points of Mac OS Roman from 0x80, in Apple's mapping.
// clang-format off
const char32_t kMacRoman[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1,  // 80
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8,
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,  // 90
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC,
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF,  // A0
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211,  // B0
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8,
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,  // C0
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153,
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA,  // D0
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,  // E0
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,  // F0
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};
// clang-format on

std::string utf8(unsigned char byte) {
  const char32_t c = byte < 0x80 ? byte : kMacRoman[byte - 0x80];
  std::string result;
  if (c < 0x80) {
    result += static_cast<char>(c);
  } else if (c < 0x800) {
    result += static_cast<char>(0xC0 + c / 64);
    result += static_cast<char>(0x80 + c % 64);
  } else {
    result += static_cast<char>(0xE0 + c / 4096);
    result += static_cast<char>(0x80 + c / 64 % 64);
    result += static_cast<char>(0x80 + c % 64);
  }
  return result;
}

// The part of a line that is written: its text up to a zero byte.
std::string written(const std::string& line) {
  std::string result;
  for (const char c : line.substr(0, line.find('\0')))
    result += utf8(static_cast<unsigned char>(c));
  return result;
}

}  // namespace

std::vector<std::string> pieces(const std::string& job) {
  std::vector<std::string> result;
  bool open = false;
  for (const char c : job) {
    if (!open) result.emplace_back();
    result.back() += c;
    open = c != '\n' && c != '\r' && result.back().size() < 1024;
  }
  return result;
}

std::string reorder(const std::string& job, std::optional<std::string_view> orientation,
                    bool onlyInside, std::int32_t version) {
  std::string header;
  std::string odd;
  std::string even;
  std::string firstLines;
  int pages = 0;
  int lines = 0;
  std::string page;
  const auto endPage = [&] {
    if (pages == 0) {
      header = page;
    } else if (pages % 2 == 0) {
      even = page + even;
    } else {
      odd = orientation == "Up" ? page + odd : odd + page;
    }
    page = "";
  };
  for (const std::string& line : pieces(job)) {
    const bool terminated = line.size() == 1024 || line.ends_with('\n') || line.ends_with('\r');
    if (!terminated || line.starts_with("%%Trailer")) break;
    if (line.starts_with("%%Page:")) {
      endPage();
      ++pages;
    }
    if (pages > 0 && lines++ < 4) firstLines += line;
    page += written(line);
  }
  endPage();

  std::string blankPage = firstLines + "cg_md begin\nbp\nsdmtx\nep\nend\n";
  if (version < 0x1050) blankPage += "userdict /ESPsave get restore\n";

  std::string output = header;
  if (pages > 0) output += kFirstPass;
  output += odd + kSecondPass;
  if (orientation != "Down") output += blankPage;
  if (onlyInside) output += blankPage;
  output += even;
  if (orientation == "Down") output += blankPage;
  return output;
}

}  // namespace jobshaper::reference
