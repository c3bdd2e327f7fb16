// Tells CUPS how many pages a job has: for the page log, the job's state and the queue's limits.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "filter/job_state.h"
#include "filter/trigger_search.h"

namespace jobshaper {

// The triggers of the lines that count.
inline constexpr TriggerSet kPageTriggers =
    triggerSet(triggers::kPage) | triggerSet(triggers::kRetainedCopies) |
    triggerSet(triggers::kBeginDocument) | triggerSet(triggers::kEndDocument);

// Counts as CUPS does for a queue without a filter of its own: a page of the job as often as it has
// copies, and the blank back of the last sheet of each copy if CUPS would add it. Pages of
// documents within the job do not count, nor does what the filter adds.
class PageCounter {
 public:
  using Clock = std::chrono::steady_clock;

  // Keeps a reference to `job`. After report() has written messages, it writes no more for
  // `interval`.
  explicit PageCounter(const JobState& job,
                       Clock::duration interval = std::chrono::milliseconds(250))
      : job_(job), interval_(interval) {}
  ~PageCounter() { write(); }
  PageCounter(const PageCounter&) = delete;
  PageCounter& operator=(const PageCounter&) = delete;

  // To be called with the lines of the job, in order; those without one of kPageTriggers may be
  // left out.
  void see(std::string_view line);

  // Writes the messages for the pages so far to standard error, if the last ones were not written
  // just now: a write for each page, or for each block of the job, would cost more than the rest of
  // the counting. Ignores errors.
  void report();

  // Counts what is known only at the end of the job, and writes all messages. Not for a canceled
  // job, for which the destructor writes them.
  void finish();

 private:
  void countPage();
  void tell(int page);
  void write();

  const JobState& job_;
  const Clock::duration interval_;
  std::optional<Clock::time_point> written_{};  // when messages were last written
  int pages_ = 0;
  int copies_ = 1;
  std::string copiesText_ = " 1\n";  // the end of each message
  int documents_ = 0;                // how many documents the line is within
  std::string messages_;             // not yet written
};

}  // namespace jobshaper
