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
  // Keeps a reference to `job`.
  explicit PageCounter(const JobState& job) : job_(job) {}
  ~PageCounter() { report(); }
  PageCounter(const PageCounter&) = delete;
  PageCounter& operator=(const PageCounter&) = delete;

  // To be called with the lines of the job, in order; those without a trigger may be left out.
  void see(std::string_view line);

  // Writes the messages for the pages so far to standard error, all at once: a write for each would
  // cost more than the rest of the counting. Ignores errors.
  void report();

  // Counts what is known only at the end of the job, and reports. Not for a canceled job.
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
