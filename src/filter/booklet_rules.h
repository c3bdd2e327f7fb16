// Booklet jobs: which kind of booklet a job is, and the rewriting rules for its lines.
#pragma once

#include <span>
#include <string_view>

#include "filter/job_output.h"
#include "filter/job_state.h"
#include "filter/line.h"
#include "pjl/option_table.h"
#include "platform/system.h"

namespace jobshaper {

enum class BookletSetup {
  done,      // not a booklet, or ready for the header and the line loop
  failed,    // reported on standard error; the filter must exit with status 1
  canceled,  // by SIGTERM, while the job was being reordered
};

// Decides whether the job is a booklet, and which kind, and stores the answer in `job`. May append
// the number of copies to the header, so call it before the header is written. Reorders a manual
// booklet; the reordered file then replaces the job's input.
[[nodiscard]] BookletSetup setUpBooklet(JobState& job, const System& system);

// Deletes the temporary files of a manual booklet. Does nothing for other jobs.
void removeManualBookletFiles(const JobState& job);

// A kind of booklet: the value of QVBookletFold, our name for it and the PostScript of the fold.
struct FoldRow {
  std::string_view option;
  std::string_view name;
  std::string_view command;
};
extern const std::span<const FoldRow> kBookletFolds;

// The values of QVBookletCoverType, and the printer's media types.
extern const std::span<const OptionRow> kCoverMediaTypes;

// The rules for the lines of a booklet. Not to be called for other jobs.
class BookletRules {
 public:
  // Keeps references to both.
  BookletRules(const JobState& job, JobOutput& output) : job_(job), output_(output) {}

  // To be called for every "%%Page:" line, with pageNumber counting from 1. For a manual booklet,
  // writes the instruction page before page 1; for others, adds the request for the cover sheet to
  // the line of the page that needs it.
  void atPage(int pageNumber, Line& line);

  // Adds the fold command after `line`, which names the fold option.
  void fold(Line& line) const;

 private:
  void writeInstructionPage();
  int coverPage() const;
  void keepPaper(int pageNumber, Line& line) const;
  void requestCover(int pageNumber, Line& line);
  void noteCoverSheet();

  const JobState& job_;
  JobOutput& output_;

  std::int32_t coverSource_ = 0;     // tray code
  std::string_view coverMediaType_;  // the printer's name for it; "" if none has been chosen yet
};

}  // namespace jobshaper
