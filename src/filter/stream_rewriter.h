// The rules that rewrite the job's PostScript.
#pragma once

#include <optional>
#include <string_view>

#include "filter/booklet_rules.h"
#include "filter/job_output.h"
#include "filter/job_state.h"
#include "filter/line.h"
#include "filter/page_counter.h"
#include "filter/page_size_feature.h"
#include "filter/trigger_search.h"

namespace jobshaper {

// What the rules remember from one piece to the next.
struct RewriteState {
  std::string_view beginMarker = "[{\n";                   // opens a feature block
  std::string_view endMarker = "} stopped cleartomark\n";  // closes a feature block
  bool sfclFound = false;           // the job uses sfcl{ ... }efcl feature blocks instead
  int skipCount = 0;                // how many of the next pieces to discard: 2, 1 or 0
  bool jobPatchHandled = false;     // the job's own JobPatchFile feature has been removed
  bool dropUntilDuplexer = false;   // discard lines up to the one that sets the duplexer
  bool collectingPageSize = false;  // lines are being added to the page-size feature
  bool pageSizeDone = false;        // stop collecting: the feature is closed, or already repeated
  bool inputSlotPending = false;    // in a paper-source feature, before its closing line
  int blockUseCount = 1;            // repetitions of the page-size feature, plus one
  bool prologPatched = false;       // the marker feature is in the prolog
  bool inReplacedFeature = false;   // in the code of a feature that a queue replaces
  int pageNumber = 0;               // number of "%%Page:" lines so far; counted for booklets only
};

class StreamRewriter {
 public:
  // Keeps references to both. Reads the job's options and the system version only here.
  StreamRewriter(const JobState& job, JobOutput& output);

  // Handles contiguous whole pieces as handle() would handle each of them, but skips the pieces
  // that no rule can change. The bytes must stay valid until the output is flushed. Returns false
  // if the job was canceled; the remaining pieces are then dropped.
  bool handleAll(std::string_view pieces);

  // Captures one piece, then rewrites and writes it or drops it. Its bytes must stay valid until
  // the output is flushed.
  void handle(std::string_view piece);

  // Tells CUPS of the pages so far, in a job that counts them. To be called before a read.
  void reportPages();
  // The same after the last piece of a job that was not canceled.
  void finish();

  // The triggers that can make a rule change the job in the current state; no value if any line
  // can.
  std::optional<TriggerSet> wantedTriggers() const;

 private:
  enum class Fate { write, drop };

  std::string_view skipToPiece(std::string_view pieces, TriggerSet wanted);
  void passUntouched(std::string_view pieces);
  void breakOff();

  // Applies the rules in order.
  bool replaceFeature(Line& line);
  Fate rewrite(Line& line);

  void noteBlockStyle(std::string_view line);
  bool isBeforeDuplexer(std::string_view line) const;
  void forcePosterCollate(Line& line) const;
  bool startsJobPatch(std::string_view line);
  void collectPageSize(std::string_view line);
  void repeatPageSize(Line& line);
  void countPage(Line& line);
  void collateRetained(Line& line) const;
  void patchProlog(Line& line);
  void foldBooklet(Line& line);
  bool isJobPjl(std::string_view line) const;

  const JobState& job_;
  JobOutput& output_;
  RewriteState state_;
  PageSizeFeature pageSizeBlock_;
  BookletRules booklet_;
  std::optional<PageCounter> pages_;  // for the jobs of a queue
  bool posterCollate_;  // a poster job, on a system that does not collate posters itself
  bool retained_;       // the option "PrintTo" has one of its five known values
};

}  // namespace jobshaper
