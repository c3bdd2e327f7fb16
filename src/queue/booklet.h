// What makes a job of a queue a booklet.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "filter/job_state.h"
#include "queue/booklet_order.h"
#include "queue/option_list.h"
#include "queue/queue_ppd.h"

namespace jobshaper {

// Returns how many pages the job has: 0 if it is not divided into pages that can be arranged, no
// value if it cannot be read or kept, after reporting it on standard error.
using CountPages = std::function<std::optional<int>()>;

// Where a job comes from.
struct JobOrigin {
  std::string contentType;  // MIME type of the document before CUPS filtered it; "" if unknown
  bool isBanner = false;    // a cover sheet of the queue (job-sheets), not a document of the user
};

struct Booklet {
  bool isBooklet = false;
  std::vector<Side> sides;  // to arrange the pages on, in printing order; empty: leave the pages
  bool isManual = false;    // printed in two passes, on a printer without a duplexer
  bool failed = false;      // the pages could not be counted, which has been reported
};

// Decides whether the job is a booklet. If it is, sets what a booklet needs, in the options for the
// filter, `wanted`, and in `additions`:
// - the fold, if the job asks for a booklet only (booklet=true);
// - printing on both sides, turned at the short edge, and collated copies;
// - the arrangement of the pages, if neither CUPS nor the application has arranged them;
// - the page at which paper is requested for the cover sheet.
// `wanted` must have the choices of the PPD file. A job that asks for a booklet but cannot be
// arranged is reported on standard error, and is not a booklet. Calls `countPages` at most once,
// and only if the result depends on it. Keeps no reference to the arguments.
Booklet settleBooklet(OptionList& wanted, JobAdditions& additions, const OptionList& jobOptions,
                      const QueuePpd& ppd, const JobOrigin& origin, const CountPages& countPages);

}  // namespace jobshaper
