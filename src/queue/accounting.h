// Whom a job is charged to.
#pragma once

#include "queue/option_list.h"

namespace jobshaper {

// Puts what IPP clients call job-account-id and job-accounting-user-id under the names that the
// filter reads, JAACCTNUM and JAUSERID, unless the job has those.
void takeAccounting(OptionList& options);

// Puts the accounting values into Mac OS Roman, which the filter takes them for, where they can be
// expressed in it; CUPS passes UTF-8.
void encodeAccounting(OptionList& options);

}  // namespace jobshaper
