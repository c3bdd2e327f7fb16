// One print job from the arguments that CUPS passes to the exit status that it reads.
#pragma once

#include "platform/system.h"

namespace jobshaper {

// Filters the job of this argument vector (job id, user, title, copies, options and perhaps a
// file; a null pointer at the end) from standard input or the file to standard output. 0 when
// the input was read to its end, 1 when the arguments are wrong, the job cannot be read or a manual
// booklet cannot be made. A cancelled job does not return: it ends by its signal.
int filterJob(int argc, char* const argv[], const System& system);

}  // namespace jobshaper
