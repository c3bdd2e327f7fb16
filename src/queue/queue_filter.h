// The job of a queue: put right where CUPS on Linux passes it otherwise than the filter expects it,
// and then filtered, in this process.
#pragma once

#include "platform/system.h"

namespace jobshaper {

// Takes the arguments that CUPS passes to a filter, a null pointer at the end, and answers as
// filterJob() does; 1 for a job that is refused, of which nothing is read or written.
int filterQueueJob(int argc, char* const argv[], const System& system);

}  // namespace jobshaper
