// Puts the pages of a held job on the sides of a booklet.
#pragma once

#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "queue/booklet_order.h"
#include "queue/held_job.h"

namespace jobshaper {

// Writes the job with these sides as its pages, two pages of the held job side by side on each, or
// with its own pages if `sides` is empty. The numbers of pages in `sides` must be those of pages of
// the job. With `oneCopy`, the number of copies that CUPS has put into the job becomes 1.
//
// Returns a file in `directory` without a name, positioned at its start; none if it cannot be
// written or the held job not be read back, after reporting it on standard error.
Descriptor rewrittenJob(const HeldJob& job, const std::vector<Side>& sides, bool oneCopy,
                        const std::string& directory);

}  // namespace jobshaper
