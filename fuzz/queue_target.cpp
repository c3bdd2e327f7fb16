// The options that the entry program of a queue adds to a job's.
//
// Input: a setting (whether there is a PPD file), the options, the copies, then the PPD file.

#include "queue/option_string.h"

#include <cups/cups.h>
#include <strings.h>
#include <unistd.h>

#include "fuzz/support.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

// libcups loses some texts of a PPD file that it refuses; the entry program reads one and ends.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:_ppdOpen\n"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = fileInFolder("printer.ppd");
  static MemoryFile messages;
  Input input(data, size);
  QueueJob job;
  const bool hasPpd = input.setting() & 1;
  const std::string options = input.cText();
  const std::string copies = input.cText();
  writeFile(path, input.rest());
  job.options = options.c_str();
  job.copies = copies.c_str();
  if (hasPpd) job.ppdPath = path.c_str();

  const int free = lowestFreeDescriptor();
  std::string completed;
  {
    const Redirected caught(STDERR_FILENO, messages.descriptor());
    completed = completedOptions(job);
  }
  FUZZ_CHECK(lowestFreeDescriptor() == free);
  // At most one line, and only the reasons that the PPD library knows stand in it.
  const std::string_view said = messages.take();
  FUZZ_CHECK(said.empty() || said.starts_with("WARNING: "));
  FUZZ_CHECK(completed.starts_with(options));

  // Every option of the job is still there; only the accounting values may read otherwise.
  cups_option_t* before = nullptr;
  cups_option_t* after = nullptr;
  const int countBefore = cupsParseOptions(options.c_str(), 0, &before);
  const int countAfter = cupsParseOptions(completed.c_str(), 0, &after);
  FUZZ_CHECK(countAfter >= countBefore);
  for (int i = 0; i < countBefore; ++i) {
    const char* const value = cupsGetOption(before[i].name, countAfter, after);
    FUZZ_CHECK(value);
    if (strncasecmp(before[i].name, "JA", 2) != 0) {
      FUZZ_CHECK(std::string_view(value) == before[i].value);
    }
  }
  cupsFreeOptions(countBefore, before);
  cupsFreeOptions(countAfter, after);
  return 0;
}
