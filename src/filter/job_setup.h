// From process start to the job state: arguments, environment, input, user capture, options
// and PPD.
#pragma once

#include "filter/job_state.h"
#include "platform/system.h"

namespace jobshaper {

// Whether CUPS passed six or seven arguments. If not, says so on standard error.
[[nodiscard]] bool checkArguments(int argc);

// Fills the job state up to the PPD values. `argv` ends in a null pointer. False when the job
// cannot be read, which has then been reported on standard error. A DEVICE_URI of 100 bytes or
// more ends the process by abort().
[[nodiscard]] bool setUpJob(JobState& job, int argc, char* const argv[], const System& system);

// Writes options, device URI and header lines to the diagnostic log.
void logJobSummary(const JobState& job);

}  // namespace jobshaper
