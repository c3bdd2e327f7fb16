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

// How many pages the job has: 0 if it is not divided into pages that can be arranged, no value if
// it cannot be read or held, which has been reported.
using CountPages = std::function<std::optional<int>()>;

// Where a job comes from.
struct JobOrigin {
  std::string contentType;  // of the document, before the filters of CUPS
  bool isBanner = false;    // a cover sheet of the queue (job-sheets), not a document of the user
};

struct Booklet {
  bool isBooklet = false;
  std::vector<Side> sides;  // on which the pages are to be arranged; none if they are to stay
  bool isManual = false;    // in two passes, on a printer without a duplexer
  bool failed = false;      // the job could not be held, which has been reported
};

// Settles what a booklet needs, in the options for the filter and in what is added for it:
// - the fold, if the job asks for a booklet only (booklet=true);
// - printing on both sides, turned at the short edge, and collated copies;
// - the arrangement of the pages, if neither CUPS nor the application has arranged them;
// - the page at which paper is requested for the cover sheet.
// Of a job that cannot be arranged, says so on standard error, and it is no booklet. `wanted` has
// the choices of the PPD file. Calls `countPages` at most once, and only if it has to.
Booklet settleBooklet(OptionList& wanted, JobAdditions& additions, const OptionList& jobOptions,
                      const QueuePpd& ppd, const JobOrigin& origin, const CountPages& countPages);

}  // namespace jobshaper
