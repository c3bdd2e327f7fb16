// The print filter that CUPS starts once per job, last before the backend.

#include "filter/job_filter.h"

int main(int argc, char* argv[]) {
  return jobshaper::filterJob(argc, argv, jobshaper::thisSystem());
}
