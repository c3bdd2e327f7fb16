#include "filter/stream_rewriter.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "diag/log.h"
#include "platform/cancellation.h"
#include "platform/piece_reader.h"
#include "platform/system.h"
#include "settings/option_names.h"
#include "settings/strings.h"

namespace jobshaper {

namespace {

constexpr std::int32_t kLastVersionWithoutPosterCollate = 0x103F;

constexpr std::string_view kRetentionModes[] = {
    "JRVerify", "JRRepeat", "JRConf", "JRReserve", "JRPrinter",
};

bool contains(std::string_view line, std::string_view text) { return line.find(text) != line.npos; }

bool contains(std::string_view line, const Trigger& trigger) {
  return contains(line, trigger.text);
}

// No rule applies to binary data.
bool isBinary(std::string_view piece) { return contains(piece, std::string_view("\0", 1)); }

// Whether the line begins a page, and none of these triggers is in it.
bool onlyBeginsPage(std::string_view line, TriggerSet triggers) {
  if ((triggers & triggerSet(triggers::kPage)) != 0) return false;
  if (!line.starts_with(triggers::kPage.text) || isBinary(line)) return false;
  return findTrigger(line.substr(triggers::kPage.text.size()), triggers) == line.npos;
}

bool isTrue(std::optional<std::string_view> value) {
  return value && equalsIgnoringCase(*value, "true");
}

}  // namespace

StreamRewriter::StreamRewriter(const JobState& job, JobOutput& output)
    : job_(job), output_(output), pageSizeBlock_(job.tempDirectory), booklet_(job, output) {
  posterCollate_ = version <= kLastVersionWithoutPosterCollate &&
                   isTrue(job.jobOptions.getValue("QVPosterEnablePS"_option)) &&
                   isTrue(job.jobOptions.getValue(kCollateOption));
  retained_ = job.printTo && std::find(std::begin(kRetentionModes), std::end(kRetentionModes),
                                       *job.printTo) != std::end(kRetentionModes);
  if (job.additions.countPages) pages_.emplace(job);
  LogInfoBody("main", __LINE__, "Initialized begin and end markers.");
}

std::optional<TriggerSet> StreamRewriter::wantedTriggers() const {
  const bool pending = state_.skipCount > 0 || state_.dropUntilDuplexer ||
                       (state_.collectingPageSize && !state_.pageSizeDone) ||
                       state_.inputSlotPending || state_.inReplacedFeature;
  if (pending) return std::nullopt;
  // Search for the trigger of a rule that fires once until it has fired, and for the trigger of an
  // optional rule only in jobs that need it.
  TriggerSet wanted = triggerSet(triggers::kExitString) | triggerSet(triggers::kPjl) |
                      triggerSet(triggers::kInputSlot);
  if (!state_.sfclFound) wanted |= triggerSet(triggers::kSfcl);
  if (!state_.jobPatchHandled) wanted |= triggerSet(triggers::kJobPatch);
  if (!state_.pageSizeDone) {
    wanted |= triggerSet(triggers::kPageRegion) | triggerSet(triggers::kCustomPageSize) |
              triggerSet(triggers::kPageSize);
  }
  if (!state_.prologPatched) wanted |= triggerSet(triggers::kProlog);
  if (retained_) wanted |= triggerSet(triggers::kRetainedCopies);
  if (posterCollate_) wanted |= triggerSet(triggers::kCollate);
  if (job_.bookletMode) wanted |= triggerSet(triggers::kPage) | triggerSet(triggers::kFold);
  if (!job_.additions.replacedFeatures.empty()) wanted |= triggerSet(triggers::kBeginFeature);
  return wanted;
}

void StreamRewriter::passUntouched(std::string_view pieces) {
  output_.captureIncoming(pieces);
  output_.pass(pieces);
}

bool StreamRewriter::handleAll(std::string_view pieces) {
  while (!pieces.empty()) {
    const auto wanted = wantedTriggers();
    const std::string_view piece = wanted ? skipToPiece(pieces, *wanted) : firstPiece(pieces);
    if (piece.empty()) break;
    passUntouched({pieces.data(), piece.data()});
    handle(piece);
    pieces = {piece.data() + piece.size(), pieces.data() + pieces.size()};
    if (cancellationRequested()) return false;
  }
  passUntouched(pieces);
  return true;
}

// The first of these pieces that handle() must see; empty if there is none. Lines that only begin a
// page stay with what is passed on untouched: dividing the output costs more than counting.
std::string_view StreamRewriter::skipToPiece(std::string_view pieces, TriggerSet wanted) {
  while (true) {
    const std::size_t trigger = findTrigger(pieces, pages_ ? wanted | kPageTriggers : wanted);
    if (trigger == pieces.npos) return {};
    const std::string_view piece = pieceAround(pieces, trigger);
    if (!pages_ || !onlyBeginsPage(piece, wanted)) return piece;
    pages_->see(piece);
    pieces = {piece.data() + piece.size(), pieces.data() + pieces.size()};
  }
}

void StreamRewriter::handle(std::string_view piece) {
  if (state_.skipCount > 0) {
    --state_.skipCount;
    return;
  }
  output_.captureIncoming(piece);
  if (isBinary(piece)) {
    output_.pass(piece);
    return;
  }
  if (pages_) pages_->see(piece);
  Line line{.text = piece};
  if (replaceFeature(line)) return;
  if (rewrite(line) == Fate::drop) return;
  output_.put(line.before);
  if (line.text.data() == piece.data()) {
    output_.pass(line.text);
  } else {
    output_.put(line.text);
  }
  if (line.feature && !line.feature->putRest(output_)) breakOff();
  output_.put(line.after);
}

void StreamRewriter::reportPages() {
  if (pages_) pages_->report();
}

void StreamRewriter::finish() {
  if (pages_) pages_->finish();
}

// Closes a repetition that cannot be read back to its end, so that the printer ignores it.
void StreamRewriter::breakOff() {
  std::fputs("ERROR: Cannot read back the page size; it is not repeated.\n", stderr);
  output_.put("\n");
  output_.put(state_.endMarker);
  pageSizeBlock_.forget();
}

// Whether the line is code that a queue replaces. That of a feature ends at the next comment of the
// document structure.
bool StreamRewriter::replaceFeature(Line& line) {
  if (!line.text.starts_with("%%")) return state_.inReplacedFeature;
  state_.inReplacedFeature = false;
  if (!line.text.starts_with(triggers::kBeginFeature.text)) return false;
  std::string_view feature = line.text.substr(triggers::kBeginFeature.text.size());
  while (feature.ends_with('\n') || feature.ends_with('\r')) feature.remove_suffix(1);
  for (const ReplacedFeature& replaced : job_.additions.replacedFeatures) {
    if ("*" + replaced.feature != feature) continue;
    state_.inReplacedFeature = true;
    line.after = replaced.code;
  }
  return false;
}

StreamRewriter::Fate StreamRewriter::rewrite(Line& line) {
  noteBlockStyle(line.text);
  if (isBeforeDuplexer(line.text)) return Fate::drop;
  forcePosterCollate(line);
  if (startsJobPatch(line.text)) return Fate::drop;
  collectPageSize(line.text);
  repeatPageSize(line);
  // A rule for "%%EndSetup" would go here; the printer needs nothing there.
  countPage(line);
  collateRetained(line);
  patchProlog(line);
  foldBooklet(line);
  return isJobPjl(line.text) ? Fate::drop : Fate::write;
}

// Some systems wrap features in sfcl{ ... }efcl. After the first such line, the filter wraps the
// blocks that it writes itself in the same way.
void StreamRewriter::noteBlockStyle(std::string_view line) {
  if (state_.sfclFound || !contains(line, triggers::kSfcl)) return;
  LogInfoBody("main", __LINE__, "Found sfcl{ marker. Resetting begin and end markers.");
  state_.beginMarker = "sfcl{\n";
  state_.endMarker = "}efcl\n";
  state_.sfclFound = true;
}

// Whether the line belongs to the code of a replaced fold feature, which ends before the line that
// sets the duplexer.
bool StreamRewriter::isBeforeDuplexer(std::string_view line) const {
  return state_.dropUntilDuplexer && !contains(line, "statusdict /duplexer get exec");
}

// Old systems send posters uncollated even if the user chose to collate.
void StreamRewriter::forcePosterCollate(Line& line) const {
  if (!posterCollate_ || !contains(line.text, triggers::kCollate)) return;
  line.text = "<< /Collate true >> setpagedevice\n";
}

// The job's own JobPatchFile feature, this line and the next two, is removed, because the filter
// puts its own into the prolog. Only the first such feature is removed.
bool StreamRewriter::startsJobPatch(std::string_view line) {
  if (state_.jobPatchHandled || !contains(line, triggers::kJobPatch)) return false;
  state_.jobPatchHandled = true;
  state_.skipCount = 2;
  state_.dropUntilDuplexer = false;
  return true;
}

// Copies the job's first page-size feature. The opening marker must be added, since it is on the
// line before the one that identifies the feature.
void StreamRewriter::collectPageSize(std::string_view line) {
  if (state_.pageSizeDone) return;
  if (contains(line, triggers::kPageRegion) || contains(line, triggers::kCustomPageSize) ||
      contains(line, triggers::kPageSize)) {
    pageSizeBlock_.start(state_.beginMarker);
    state_.collectingPageSize = true;
  }
  if (!state_.collectingPageSize) return;
  pageSizeBlock_.append(line);
  if (contains(line, "EndFeature")) {
    pageSizeBlock_.append(state_.endMarker);
    state_.collectingPageSize = false;
    state_.pageSizeDone = true;
  }
}

// Selecting a paper source makes the printer forget the page size, so the page-size feature is
// repeated after every paper-source feature that follows it. The first time, the closing line of
// the paper-source feature becomes part of the copy and starts every later repetition too.
void StreamRewriter::repeatPageSize(Line& line) {
  if (contains(line.text, triggers::kInputSlot)) state_.inputSlotPending = true;
  if (!state_.inputSlotPending) return;
  if (!contains(line.text, state_.sfclFound ? "}efcl" : "cleartomark")) return;
  state_.inputSlotPending = false;
  if (!pageSizeBlock_.exists()) return;
  if (state_.blockUseCount == 1) pageSizeBlock_.prepend(line.text);
  ++state_.blockUseCount;
  state_.pageSizeDone = true;
  line.text = pageSizeBlock_.beginning();
  line.feature = &pageSizeBlock_;
}

void StreamRewriter::countPage(Line& line) {
  if (!line.text.starts_with(triggers::kPage.text)) return;
  ++state_.pageNumber;
  if (job_.bookletMode) booklet_.atPage(state_.pageNumber, line);
}

// The printer prints a retained job again from its disk, and can do so only if the PostScript
// interpreter collates the copies.
void StreamRewriter::collateRetained(Line& line) const {
  if (!retained_ || !line.text.starts_with(triggers::kRetainedCopies.text)) return;
  line.before = "%!\n%Set collate copies = copy:\n<< /CollatedCopies ";
  line.before += job_.jobOptions.getValue(kCopiesOption).value_or("(null)");
  line.before += " >> setuserparams\n%EndUserSetup\n";
}

// The marker feature tells the printer which driver the job comes from.
void StreamRewriter::patchProlog(Line& line) {
  if (state_.prologPatched || !line.text.starts_with(triggers::kProlog.text)) return;
  line.text =
      "%%BeginProlog\n"
      "%%BeginFeature: *JobPatchFile 1\n"
      "%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n";
  line.feature = nullptr;
  state_.prologPatched = true;
}

// The filter's fold command replaces the code of the PPD's fold feature, which ends at the line
// that sets the duplexer. `before` is checked too: it holds the value of the copies option, which
// may be any text.
void StreamRewriter::foldBooklet(Line& line) {
  state_.dropUntilDuplexer = job_.bookletMode && (contains(line.text, triggers::kFold) ||
                                                  contains(line.before, triggers::kFold) ||
                                                  (line.feature && line.feature->restNamesFold()));
  if (state_.dropUntilDuplexer) booklet_.fold(line);
}

// The job's own PJL is dropped; the filter's header and trailer replace it.
bool StreamRewriter::isJobPjl(std::string_view line) const {
  return line.starts_with(job_.uelString) || line.starts_with(triggers::kPjl.text);
}

}  // namespace jobshaper
