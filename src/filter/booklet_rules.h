// Booklet jobs: which kind a job is, and the rules that its lines meet.
#pragma once

#include <string_view>

#include "filter/job_output.h"
#include "filter/job_state.h"
#include "filter/line.h"
#include "platform/system.h"

namespace jobshaper {

enum class BookletSetup {
  done,       // not a booklet, or ready for the header and the line loop
  failed,     // reported on standard error: the job ends with status 1
  cancelled,  // by SIGTERM, during the reordering
};

// Decides whether the job is a booklet and of which kind. May append the number of copies to
// the header; has a manual booklet reordered, which then becomes the job's input.
[[nodiscard]] BookletSetup setUpBooklet(JobState& job, const System& system);

// Deletes the temporary files of a manual booklet. Nothing happens for other jobs.
void removeManualBookletFiles(const JobState& job);

// The booklet rules of the line loop. Only for jobs in booklet mode.
class BookletRules {
 public:
  // Refers to both.
  BookletRules(const JobState& job, JobOutput& output) : job_(job), output_(output) {}

  // At a "%%Page:" line, whose number counts from 1: writes the instruction page, if it is the
  // first of a manual booklet, or puts the request for the cover sheet before and after the line.
  void atPage(int pageNumber, Line& line);

  // Puts the fold command after the line, which names the fold option.
  void fold(Line& line) const;

 private:
  void writeInstructionPage();
  void requestCover(int pageNumber, Line& line);
  void noteCoverSheet();

  const JobState& job_;
  JobOutput& output_;

  std::int32_t coverSource_ = 0;     // tray code
  std::string_view coverMediaType_;  // of the cover sheet; "" for none, kept from page to page
};

}  // namespace jobshaper
