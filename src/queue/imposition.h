// Puts the pages of a held job on the sides of a booklet.
#pragma once

#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "queue/booklet_order.h"
#include "queue/held_job.h"

namespace jobshaper {

struct Rewriting {
  // The pages of the new job, with two pages of the held one side by side on each. Only numbers of
  // pages that it has. If empty, it keeps its own pages.
  std::vector<Side> sides;
  // The number of copies that CUPS has put into the job becomes 1.
  bool oneCopy = false;
  // The filter must not take pages of embedded documents for pages of the job: see EmbeddedPages.
  bool hidesEmbeddedPages = false;
};

// Returns a file in `directory` without a name, positioned at its start; none if it cannot be
// written or the held job not be read back, after reporting it on standard error.
Descriptor rewrittenJob(const HeldJob& job, const Rewriting& rewriting,
                        const std::string& directory);

}  // namespace jobshaper
