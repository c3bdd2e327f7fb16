// Compares the reordering of a manual booklet through temporary files with the same order made of
// whole strings, and tests reArrangedPages separately.
//
// Input: a setting and the job id; then the job, or the pages one by one.

#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "booklet/manual_booklet.h"
#include "fuzz/sandbox.h"
#include "fuzz/support.h"
#include "platform/system.h"
#include "platform/text_encoding.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

namespace {

struct Order {
  bool up, down, onlyInside, oldSystem;
};

std::string passRequest(char pass) {
  return std::string("statusdict dup /setmanualduplexmode known {begin ") + pass +
         " setmanualduplexmode end}{pop}ifelse\n";
}

// Whole lines of at most 1024 bytes, without what follows the last line end.
std::vector<std::string> linesOf(std::string_view job) {
  std::vector<std::string> lines;
  std::string line;
  for (const char c : job) {
    line += c;
    if (c == '\n' || c == '\r' || line.size() == 1024) {
      lines.push_back(line);
      line.clear();
    }
  }
  return lines;
}

std::string reordered(std::string_view job, const Order& order) {
  std::string header, prefix, odd, even;
  std::vector<std::string> pages;
  int prefixLines = 0;
  for (const std::string& line : linesOf(job)) {
    if (line.starts_with("%%Trailer")) break;
    if (line.starts_with("%%Page:")) pages.emplace_back();
    if (!pages.empty() && prefixLines++ < 4) prefix += line;
    (pages.empty() ? header : pages.back()) += utf8FromMacRoman(line.c_str());
  }
  if (!pages.empty()) header += passRequest('1');
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if (i % 2 == 1) {
      even.insert(0, pages[i]);
    } else {
      odd.insert(order.up ? 0 : odd.size(), pages[i]);
    }
  }
  std::string blank = prefix + "cg_md begin\nbp\nsdmtx\nep\nend\n";
  if (order.oldSystem) blank += "userdict /ESPsave get restore\n";
  std::string result = header + odd + passRequest('2');
  if (!order.down) result += blank;
  if (order.onlyInside) result += blank;
  result += even;
  if (order.down) result += blank;
  return result;
}

void reorderWhole(Input& input, unsigned settings) {
  static constexpr std::optional<std::string_view> kOrientations[] = {std::nullopt, "Up", "Down",
                                                                      "up"};
  static MemoryFile job;
  const auto orientation = kOrientations[settings & 3];
  const Order order{orientation == "Up", orientation == "Down", (settings & 4) != 0,
                    (settings & 8) != 0};
  version = order.oldSystem ? 0x104F : 0x1050;
  const std::string jobId = input.cText();
  const std::string output = fileInDirectory("qvn_manualPS" + jobId);
  job.fill(input.rest());
  const int done =
      manualBookletOrder(job.descriptor(), output, jobId, orientation, order.onlyInside);
  const bool possible = jobId.find('/') == jobId.npos && jobId.size() < 240;
  if (possible) FUZZ_CHECK(done == 1);
  if (done) FUZZ_CHECK(readFile(output) == reordered(input.rest(), order));
}

void reverseDirectly(Input& input, unsigned settings) {
  const std::string sidePath = fileInDirectory("side");
  const std::string reversedPath = fileInDirectory("reversed");
  PageFile side, reversed;
  FUZZ_CHECK(side.open(sidePath) && reversed.open(reversedPath));
  std::string expected;
  std::int32_t page = 3 + static_cast<std::int32_t>(settings & 1);
  for (int calls = 0; calls < 64 && !input.rest().empty(); ++calls, page += 2) {
    if (page > 20) page = static_cast<std::int32_t>(input.setting());
    const std::string text = input.text();
    side.write(text);
    PageFile* const present = settings & 2 ? &reversed : nullptr;
    FUZZ_CHECK(reArrangedPages(page, side, present, sidePath, reversedPath) == 1);
    if (page == 3 || page == 4) expected.clear();
    expected.insert(0, text);
    FUZZ_CHECK(readFile(reversedPath) == expected);
    FUZZ_CHECK(readFile(sidePath).empty());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile messages;
  static const std::string said = "tmp at " + directory() + " \n";
  setenv("TMPDIR", directory().c_str(), 1);
  switchLogOff();
  Input input(data, size);
  const unsigned settings = input.setting();
  const int free = lowestFreeDescriptor();
  const Sandbox sandbox;
  {
    const Redirected caught(STDERR_FILENO, messages.descriptor());
    if (settings & 32) {
      reverseDirectly(input, settings);
    } else {
      reorderWhole(input, settings);
    }
  }
  FUZZ_CHECK(lowestFreeDescriptor() == free);
  const std::string_view message = messages.take();
  FUZZ_CHECK(message.empty() || message == said ||
             message == said + "ERROR: Unable to create necessary file.\n");
  return 0;
}
