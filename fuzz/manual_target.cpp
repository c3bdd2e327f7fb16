// Compares the reordering of a manual booklet through temporary files with the reference
// implementation, and tests reArrangedPages separately.
//
// Input: a setting and the job id; then the job, or the pages one by one.

#include <unistd.h>

#include <cstdlib>

#include "booklet/manual_booklet.h"
#include "fuzz/sandbox.h"
#include "fuzz/support.h"
#include "platform/system.h"
#include "tests/reference/reference_reordering.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

namespace {

void reorderWhole(Input& input, unsigned settings) {
  static constexpr std::optional<std::string_view> kOrientations[] = {std::nullopt, "Up", "Down",
                                                                      "up"};
  static MemoryFile job;
  const auto orientation = kOrientations[settings & 3];
  const bool onlyInside = settings & 4;
  version = settings & 8 ? 0x104F : 0x1050;
  const std::string jobId = input.cText();
  const std::string output = fileInDirectory("qvn_manualPS" + jobId);
  job.fill(input.rest());
  const int done = manualBookletOrder(job.descriptor(), output, jobId, orientation, onlyInside);
  const bool possible = jobId.find('/') == jobId.npos && jobId.size() < 240;
  if (possible) FUZZ_CHECK(done == 1);
  if (!done) return;
  FUZZ_CHECK(readFile(output) ==
             reference::reorder(std::string(input.rest()), orientation, onlyInside, version));
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
