#include "filter/pjl_wrapping.h"

#include <cstdio>

namespace jobshaper {

namespace {

// Old systems cannot send PJL over USB; there a USB printer gets only the PostScript.
bool wrappingIsOn(const JobState& job) {
  return job.usbPjlAllowed || !job.deviceUri.starts_with("usb:");
}

}  // namespace

void createHeader(JobState& job, const char* userID) {
  job.pjlHeader.initFromArgsStore(job.jobOptions, userID, job.additions.jobName,
                                  job.additions.settings);
}

void writeHeader(JobState& job, JobOutput& output) {
  if (wrappingIsOn(job)) {
    for (const std::string& line : job.pjlHeader.objectEnumerator()) output.put(line);
    output.flush();
  }
  if (job.deviceUri.starts_with("pap:")) {
    std::fputs("[tarvel] this is an Appletalk connection\n", stderr);
    job.isAppleTalk = true;
  }
}

void writeTrailer(const JobState& job, JobOutput& output) {
  const std::string trailer = pjlTrailer(job.uelString);
  if (wrappingIsOn(job)) {
    output.put(trailer);
  } else {
    output.captureOutgoing(trailer);  // every capture ends with it
  }
  output.flush();
}

}  // namespace jobshaper
