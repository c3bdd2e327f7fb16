// The PJL around the job: header lines before it, a fixed trailer after it.
#pragma once

#include "filter/job_output.h"
#include "filter/job_state.h"

namespace jobshaper {

// Computes the header lines from the job's options. The job's title stays out of them.
void createHeader(JobState& job, const char* userID);

// Writes the header lines, unless a "usb:" printer on an old system forbids PJL, and notes
// whether the printer is reached through AppleTalk.
void writeHeader(JobState& job, JobOutput& output);

// Ends the PJL job, under the same condition.
void writeTrailer(const JobState& job, JobOutput& output);

}  // namespace jobshaper
