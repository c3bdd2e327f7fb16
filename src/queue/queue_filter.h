// The job of a queue: completed where CUPS on Linux passes it in another form than the filter
// expects, and then filtered, in this process.
#pragma once

#include "platform/system.h"

namespace jobshaper {

// Like filterJob(), completes and filters one job. Takes the job's description from the arguments
// and from the environment variables CONTENT_TYPE, CUPS_FILETYPE, DEVICE_URI and PPD, the last two
// of which it may change. Returns the exit status; 1 also for a job that is refused, of which it
// reads and writes nothing, and for one that must be kept in a file and cannot be.
int filterQueueJob(int argc, char* const argv[], const System& system);

}  // namespace jobshaper
