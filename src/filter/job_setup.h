// Sets up the job state from the arguments, the environment and the PPD file, and opens the input
// and the user capture.
#pragma once

#include <cstddef>

#include "filter/job_state.h"
#include "platform/system.h"

namespace jobshaper {

// The longest DEVICE_URI that setUpJob() takes.
inline constexpr std::size_t kLongestDeviceUri = 99;

// Whether there are five or six arguments (argc 6 or 7). If not, reports it on standard error.
[[nodiscard]] bool checkArguments(int argc);

// Fills the job state except for the header, printTo and the booklet members. `argv` has at least
// six elements, ends in a null pointer and is not referred to afterwards. Returns false after
// reporting on standard error that the job cannot be opened. Calls abort() if DEVICE_URI is longer.
[[nodiscard]] bool setUpJob(JobState& job, int argc, char* const argv[], const System& system);

// Writes the options, the device URI and the header lines to the diagnostic log.
void logJobSummary(const JobState& job);

}  // namespace jobshaper
