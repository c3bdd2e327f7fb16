// The program that a queue's PPD names as its filter: it puts right what CUPS on Linux passes
// otherwise than the filter expects it, and then becomes the filter.
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
    startFilter(argv, nullptr);  // which says what is wrong with its arguments
  }
  return 1;
}
