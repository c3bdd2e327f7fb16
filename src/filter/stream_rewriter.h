// The rules that rewrite the job's PostScript, piece by piece.
#pragma once

#include <optional>
#include <string_view>

#include "filter/booklet_rules.h"
#include "filter/job_output.h"
#include "filter/job_state.h"
#include "filter/line.h"
#include "filter/page_size_feature.h"
#include "filter/trigger_search.h"

namespace jobshaper {

// What the rules remember from piece to piece.
struct RewriteState {
  std::string_view beginMarker = "[{\n";                   // opens a feature block
  std::string_view endMarker = "} stopped cleartomark\n";  // closes a feature block
  bool sfclFound = false;           // the job uses sfcl{ ... }efcl feature blocks instead
  int skipCount = 0;                // following pieces to discard unread: 2, 1 or 0
  bool jobPatchHandled = false;     // the job's own JobPatchFile feature has been removed
  bool dropUntilDuplexer = false;   // discard lines up to the one that sets the duplexer
  bool collectingPageSize = false;  // lines are being added to the page-size feature
  bool pageSizeDone = false;        // nothing is collected any more: closed, or already repeated
  bool inputSlotPending = false;    // a paper-source feature waits for its closing line
  int blockUseCount = 1;            // repetitions of the page-size feature, plus one
  bool prologPatched = false;       // the marker feature stands in the prolog
  int pageNumber = 0;               // "%%Page:" lines so far; in booklet mode only
};

class StreamRewriter {
 public:
  // Refers to both. What the job's options and the system decide is settled here, once.
  StreamRewriter(const JobState& job, JobOutput& output);

  // Does with whole pieces, which lie side by side, what handle() does with each. What no rule can
  // touch is passed at once. False when the job was cancelled and the rest left alone.
  bool handleAll(std::string_view pieces);

  // Captures, rewrites and writes one piece, or drops it. Its bytes must stay as they are until
  // the output's next flush.
  void handle(std::string_view piece);

  const RewriteState& state() const { return state_; }

  // The triggers that can make a rule act in the present state; none when every line can.
  std::optional<TriggerSet> wantedTriggers() const;

 private:
  enum class Fate { write, drop };

  void passUntouched(std::string_view pieces);

  // The rules, in their order.
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
  bool posterCollate_;  // a poster job on a system that does not collate it itself
  bool retained_;       // the printer keeps the job, in whatever way
};

}  // namespace jobshaper
