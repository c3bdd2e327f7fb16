// jobshaperAt VERSION job-id user title copies options [file]: runs the filter as on a system of
// this version ("0x1049"), or on one whose version query fails ("failed"). The environment variable
// JOBSHAPER_INSTRUCTIONS names the directory of the instruction pages.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "filter/job_filter.h"

int main(int argc, char* argv[]) {
  if (argc < 2) {
    std::fputs("usage: jobshaperAt VERSION|failed job-id user title copies options [file]\n",
               stderr);
    return 2;
  }
  jobshaper::System system;
  if (std::strcmp(argv[1], "failed") != 0) {
    system.version = static_cast<std::int32_t>(std::strtol(argv[1], nullptr, 0));
  }
  if (const char* directory = std::getenv("JOBSHAPER_INSTRUCTIONS"))
    system.instructionDirectory = directory;
  argv[1] = argv[0];
  return jobshaper::filterJob(argc - 1, argv + 1, system);
}
