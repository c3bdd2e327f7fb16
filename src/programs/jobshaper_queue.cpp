// The filter that a queue's PPD file names.

#include "queue/queue_filter.h"

int main(int argc, char* argv[]) {
  return jobshaper::filterQueueJob(argc, argv, jobshaper::thisSystem());
}
