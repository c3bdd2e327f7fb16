#include "queue/queue_filter.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "filter/job_filter.h"
#include "filter/job_setup.h"
#include "platform/descriptor.h"
#include "platform/pipe_reader.h"
#include "queue/option_string.h"

namespace jobshaper {

namespace {

constexpr std::size_t kUserArgument = 2;
constexpr std::size_t kOptionsArgument = 5;

// The filter takes no longer DEVICE_URI, and looks at its beginning only.
void shortenDeviceUri() {
  const char* const uri = std::getenv("DEVICE_URI");
  if (!uri || std::strlen(uri) <= kLongestDeviceUri) return;
  setenv("DEVICE_URI", std::string(uri, kLongestDeviceUri).c_str(), 1);
}

}  // namespace

int filterQueueJob(int argc, char* const argv[], const System& system) {
  openMissingStandardStreams();
  shortenDeviceUri();
  if (argc != 6 && argc != 7) return filterJob(argc, argv, system);  // which says what is wrong
  QueueJob job;
  job.user = argv[2];
  job.title = argv[3];
  job.copies = argv[4];
  job.options = argv[5];
  job.ppdPath = std::getenv("PPD");
  CompletedJob completed = completedJob(job);
  if (completed.refusal) {
    std::fprintf(stderr, "\nERROR: %s\n", completed.refusal->c_str());
    // The scheduler shows no message that it reads after it knows that the filter has failed.
    waitUntilRead(STDERR_FILENO);
    return 1;
  }
  if (completed.ppdIsUseless) unsetenv("PPD");  // the filter would complain again, or read it all
  std::vector<char*> arguments(argv, argv + argc + 1);
  arguments[kUserArgument] = completed.user.data();
  arguments[kOptionsArgument] = completed.options.data();
  return filterJob(argc, arguments.data(), system, std::move(completed.additions));
}

}  // namespace jobshaper
