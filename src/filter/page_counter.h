// Tells CUPS how many pages a job has: for the page log, the job's state and the queue's limits.
#pragma once

#include <string>
#include <string_view>

#include "filter/job_state.h"

namespace jobshaper {

// Counts as CUPS does for a queue without a filter of its own: a page of the job as often as it has
// copies, and the blank back of the last sheet of each copy if CUPS would add it. Pages of
// documents within the job do not count, nor does what the filter adds.
class PageCounter {
 public:
  // Refers to `job`.
  explicit PageCounter(const JobState& job) : job_(job) {}
  ~PageCounter() { report(); }
  PageCounter(const PageCounter&) = delete;
  PageCounter& operator=(const PageCounter&) = delete;

  // A line of the job as the rules get it: those with a trigger at least.
  void see(std::string_view line);

  // Writes the messages of the pages so far. One write for each of them would cost more than all
  // the rest of the counting.
  void report();

  // To be called at the end of the job.
  void finish();

 private:
  void countPage();
  void tell(int page);

  const JobState& job_;
  int pages_ = 0;
  int copies_ = 1;
  int documents_ = 0;     // how many documents the line is within
  std::string messages_;  // not yet written
};

}  // namespace jobshaper
