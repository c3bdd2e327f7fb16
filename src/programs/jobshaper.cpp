// The print filter, which CUPS runs once per job as the last filter before the backend.

#include "filter/job_filter.h"

int main(int argc, char* argv[]) {
  return jobshaper::filterJob(argc, argv, jobshaper::thisSystem());
}
