// The PJL around the job: the header before it and a fixed trailer after it.
#pragma once

#include "filter/job_output.h"
#include "filter/job_state.h"

namespace jobshaper {

// Computes the header lines from job.jobOptions. `userID` is copied. The job name is that of the
// additions, empty without a queue.
void createHeader(JobState& job, const char* userID);

// Writes the header lines, except to a "usb:" printer on a system that cannot send PJL over USB.
// Also sets job.isAppleTalk.
void writeHeader(JobState& job, JobOutput& output);

// Writes the trailer under the same condition. The outgoing capture always gets it.
void writeTrailer(const JobState& job, JobOutput& output);

}  // namespace jobshaper
