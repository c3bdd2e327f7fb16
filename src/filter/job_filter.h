// One print job, from the arguments that CUPS passes to the exit status that it reads.
#pragma once

#include <cstddef>

#include "filter/job_state.h"
#include "platform/system.h"

namespace jobshaper {

// Filters one job from standard input, or the file that `argv` names, to standard output. `argv` is
// that of a CUPS filter (program, job id, user, title, copies, options and optionally a file) and
// ends in a null pointer; the environment is that of a CUPS filter, too. `additions` is what a
// queue adds to the run. Returns the exit status: 0 when the input was read to its end, 1 when the
// arguments are wrong, the job cannot be read or a manual booklet fails, after reporting it on
// standard error. Does not return for a canceled job, but ends the process by SIGTERM, nor for a
// DEVICE_URI that is too long (see setUpJob()). Ignores SIGPIPE and SIGXFSZ from then on.
int filterJob(int argc, char* const argv[], const System& system, JobAdditions additions = {});

enum class JobEnd {
  printed,
  failed,    // reported on standard error
  canceled,  // by SIGTERM; what has been written is complete up to the trailer
};

// Runs a job whose state has been set up, by setUpJob() or otherwise: creates the header, reorders
// a manual booklet, and writes header, rewritten job and trailer to the descriptor `output`.
// Deletes the files of a manual booklet, unless it failed. `userID` is the user name for the
// header. Does not close `output`, and ignores errors of writing to it. Defers SIGTERM from now on
// (see platform/cancellation.h).
//
// `inputBlock` is the number of bytes to read at a time; 0 means the capacity of a pipe.
[[nodiscard]] JobEnd runJob(JobState& job, const System& system, const char* userID, int output,
                            std::size_t inputBlock = 0);

}  // namespace jobshaper
