#include "filter/page_counter.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "filter/trigger_search.h"
#include "settings/numbers.h"

namespace jobshaper {

void PageCounter::see(std::string_view line) {
  if (line.starts_with(triggers::kBeginDocument.text)) {
    ++documents_;
  } else if (line.starts_with(triggers::kEndDocument.text)) {
    documents_ = std::max(documents_ - 1, 0);
  } else if (documents_ > 0) {
    return;
  } else if (line.starts_with(triggers::kPage.text)) {
    countPage();
  } else if (line.starts_with(triggers::kRetainedCopies.text) && pages_ == 0) {
    line.remove_prefix(triggers::kRetainedCopies.text.size());
    // Accepts only the number that CUPS was given: with a line of its own, a document could evade
    // the queue's limits.
    const std::int32_t copies = integerValue(line);
    if (copies != integerValue(job_.copiesArgument)) return;
    copies_ = std::max(copies, 1);
    copiesText_ = " " + std::to_string(copies_) + "\n";
  }
}

// The blank pages of a manual booklet look like pages of the job, so its pages are reported at the
// end.
void PageCounter::countPage() {
  ++pages_;
  if (!job_.manualBooklet) tell(pages_);
}

// Without printf, which would cost more than all the rest of the counting.
void PageCounter::tell(int page) {
  messages_ += "PAGE: ";
  messages_ += std::to_string(page);
  messages_ += copiesText_;
}

void PageCounter::report() {
  if (messages_.empty()) return;
  const Clock::time_point now = Clock::now();
  if (written_ && now - *written_ < interval_) return;
  written_ = now;
  write();
}

void PageCounter::write() {
  if (messages_.empty()) return;
  std::fwrite(messages_.data(), 1, messages_.size(), stderr);
  messages_.clear();
}

void PageCounter::finish() {
  if (job_.manualBooklet) {
    const int blank = job_.onlyInside ? 2 : 1;
    for (int page = 1; page <= pages_ - blank; ++page) tell(page);
  } else if (job_.additions.wholeSheets && copies_ > 1 && pages_ > 1 && pages_ % 2 == 1) {
    tell(pages_ + 1);
  }
  write();
}

}  // namespace jobshaper
