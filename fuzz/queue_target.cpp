// The job that the entry program of a queue passes on must not break the header, and a job with a
// PIN must get it into the header, or not be printed.
//
// Input: a setting (whether there is a PPD file), the options, the copies, the user, the title,
// then the PPD file.

#include "queue/option_string.h"

#include <cups/cups.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>

#include "fuzz/support.h"
#include "pjl/pjl_creation.h"
#include "settings/argument_store.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

// libcups loses some texts of a PPD file that it refuses; the entry program reads one and ends.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:_ppdOpen\n"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = fileInDirectory("printer.ppd");
  static MemoryFile messages;
  Input input(data, size);
  QueueJob job;
  const bool hasPpd = input.setting() & 1;
  const std::string options = input.cText();
  const std::string copies = input.cText();
  const std::string user = input.cText();
  const std::string title = input.cText();
  writeFile(path, input.rest());
  job.options = options.c_str();
  job.copies = copies.c_str();
  job.user = user.c_str();
  job.title = title.c_str();
  if (hasPpd) job.ppdPath = path.c_str();

  const int free = lowestFreeDescriptor();
  CompletedJob completed;
  {
    const Redirected caught(STDERR_FILENO, messages.descriptor());
    completed = completedJob(job);
  }
  FUZZ_CHECK(lowestFreeDescriptor() == free);
  for (std::string_view said = messages.take(); !said.empty();) {
    FUZZ_CHECK(said.starts_with("\nWARNING: "));
    said.remove_prefix(std::min(said.find('\n', 1), said.size() - 1) + 1);
  }

  if (completed.refusal) {
    FUZZ_CHECK(completed.refusal->find('\n') == std::string::npos);
    return 0;
  }

  argumentStore store;
  store.initWithOptionString(completed.options.c_str());
  pjlCreation header;
  header.initFromArgsStore(store, completed.user, completed.additions.jobName);
  int keys = 0;
  for (const std::string_view line : header.objectEnumerator()) {
    constexpr std::string_view kKeyLine = "@PJL SET HOLDKEY = \"";
    if (line.starts_with(kKeyLine)) {
      const std::string_view key = line.substr(kKeyLine.size(), line.rfind('"') - kKeyLine.size());
      FUZZ_CHECK(key.size() >= 4 && key.size() <= 8);
      FUZZ_CHECK(key.find_first_not_of("0123456789") == std::string_view::npos);
      ++keys;
    }
    FUZZ_CHECK(line.starts_with("@PJL ") || line.starts_with("\x1b%-12345X@PJL JOB"));
    FUZZ_CHECK(line.find('\n') == line.size() - 1);
    const auto quotes = std::count(line.begin(), line.end(), '"');
    FUZZ_CHECK(quotes == 0 || quotes == 2 || (quotes == 4 && line.starts_with("@PJL QJOBINFO ")));
  }

  // Options that are not for the filter are unchanged.
  cups_option_t* before = nullptr;
  cups_option_t* after = nullptr;
  const int countBefore = cupsParseOptions(options.c_str(), 0, &before);
  FUZZ_CHECK(keys == 1 || (keys == 0 && !cupsGetOption("job-password", countBefore, before)));
  const int countAfter = cupsParseOptions(completed.options.c_str(), 0, &after);
  for (int i = 0; i < countBefore; ++i) {
    const char* const name = before[i].name;
    const bool own = strncasecmp(name, "JA", 2) == 0 || strncasecmp(name, "JR", 2) == 0 ||
                     strncasecmp(name, "Qv", 2) == 0 || strcasecmp(name, "PrintTo") == 0 ||
                     strncasecmp(name, "com.apple", 9) == 0;
    if (own) continue;
    const char* const value = cupsGetOption(name, countAfter, after);
    FUZZ_CHECK(value && std::string_view(value) == before[i].value);
  }
  cupsFreeOptions(countBefore, before);
  cupsFreeOptions(countAfter, after);
  return 0;
}
