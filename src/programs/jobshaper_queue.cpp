// The filter that a queue's PPD file names. CUPS on Linux passes some options under other names, or
// not at all; this program adds them in the form that jobshaper reads, and then executes jobshaper.
#include <cstdlib>

#include "queue/filter_start.h"
#include "queue/option_string.h"

int main(int argc, char* argv[]) {
  using namespace jobshaper;
  shortenDeviceUri();
  if (argc == 6 || argc == 7) {
    QueueJob job;
    job.options = argv[5];
    job.copies = argv[4];
    job.ppdPath = std::getenv("PPD");
    std::string options = completedOptions(job);
    startFilter(argv, &options);
  } else {
    startFilter(argv, nullptr);  // jobshaper reports the wrong number of arguments
  }
  return 1;
}
