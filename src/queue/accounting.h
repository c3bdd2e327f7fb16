// Whom a job is charged to.
#pragma once

#include "queue/option_list.h"

namespace jobshaper {

// Copies the values of the IPP attributes job-account-id and job-accounting-user-id to the options
// that the filter reads, JAACCTNUM and JAUSERID, unless the job has those.
void takeAccounting(OptionList& options);

// Converts the accounting values from UTF-8, which CUPS passes, to Mac OS Roman, which the filter
// reads. Leaves a value that is not UTF-8, or that Mac OS Roman cannot express, as it is.
void encodeAccounting(OptionList& options);

}  // namespace jobshaper
