// One print job, from the arguments that CUPS passes to the exit status that it reads.
#pragma once

#include <cstddef>

#include "filter/job_state.h"
#include "platform/system.h"

namespace jobshaper {

// Filters the job of this argument vector (job id, user, title, copies, options and perhaps a
// file; a null pointer at the end) from standard input or the file to standard output. 0 when
// the input was read to its end, 1 when the arguments are wrong, the job cannot be read or a manual
// booklet cannot be made. A cancelled job does not return: it ends by its signal.
int filterJob(int argc, char* const argv[], const System& system);

enum class JobEnd {
  printed,
  failed,     // reported on standard error
  cancelled,  // by SIGTERM; what has been printed ends with the trailer
};

// The run itself, for a job whose state setUpJob() or somebody else has filled: creates the header,
// sets up a booklet, and writes header, rewritten job and trailer to the descriptor `output`. The
// files of a manual booklet are deleted, unless it failed. `userID` is the user's name for the
// header. From here on SIGTERM is deferred (see platform/cancellation.h).
//
// `inputBlock` is how many bytes of the job are read at once; 0 for as many as a pipe holds.
[[nodiscard]] JobEnd runJob(JobState& job, const System& system, const char* userID, int output,
                            std::size_t inputBlock = 0);

}  // namespace jobshaper
