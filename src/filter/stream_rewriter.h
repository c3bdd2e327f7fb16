// The rules that rewrite the job's PostScript, piece by piece.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "filter/booklet_rules.h"
#include "filter/job_output.h"
#include "filter/job_state.h"
#include "filter/trigger_search.h"
#include "platform/overflow_file.h"

namespace jobshaper {

// What the rules remember from piece to piece.
struct RewriteState {
  std::string_view beginMarker = "[{\n";                   // opens a feature block
  std::string_view endMarker = "} stopped cleartomark\n";  // closes a feature block
  bool sfclFound = false;                    // the job uses sfcl{ ... }efcl feature blocks instead
  int skipCount = 0;                         // following pieces to discard unread: 2, 1 or 0
  bool jobPatchHandled = false;              // the job's own JobPatchFile feature has been removed
  bool dropUntilDuplexer = false;            // discard lines up to the one that sets the duplexer
  std::optional<std::string> pageSizeBlock;  // the job's first page-size feature, or its beginning
  bool collectingPageSize = false;           // lines are being added to pageSizeBlock
  bool pageSizeDone = false;      // nothing is collected any more: closed, or already repeated
  bool inputSlotPending = false;  // a paper-source feature waits for its closing line
  int blockUseCount = 1;          // repetitions of pageSizeBlock, plus one
  bool prologPatched = false;     // the marker feature stands in the prolog
  int pageNumber = 0;             // "%%Page:" lines so far; in booklet mode only
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

  // The rules in the order in which each line meets them. They may point `line` at other text.
  Fate rewrite(std::string_view& line);

  void noteBlockStyle(std::string_view line);
  bool isBeforeDuplexer(std::string_view line) const;
  void forcePosterCollate(std::string_view& line) const;
  bool startsJobPatch(std::string_view line);
  void collectPageSize(std::string_view line);
  void addToPageSize(std::string_view text);
  void repeatPageSize(std::string_view& line);
  void countPage(std::string_view& line);
  void collateRetained(std::string_view& line);
  void patchProlog(std::string_view& line);
  void foldBooklet(std::string_view line);
  bool isJobPjl(std::string_view line) const;

  const JobState& job_;
  JobOutput& output_;
  RewriteState state_;
  OverflowFile pageSizeRest_;        // of a feature too long for memory: what follows pageSizeBlock
  std::string pageSizeEnd_;          // its last bytes, where a text may begin that goes on behind
  bool foldInPageSizeRest_ = false;  // a text that names the fold option ends in it
  bool restFollows_ = false;         // the line is pageSizeBlock: the rest is written behind it
  std::string suffix_;               // what the booklet rules put behind the line
  BookletRules booklet_;
  bool posterCollate_;    // a poster job on a system that does not collate it itself
  bool retained_;         // the printer keeps the job, in whatever way
  std::string collated_;  // a line behind the request to collate a retained job's copies
};

}  // namespace jobshaper
