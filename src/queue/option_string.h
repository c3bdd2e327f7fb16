// The option string of a job, completed by what the filter needs and CUPS leaves out of it.
#pragma once

#include <string>

namespace jobshaper {

// What CUPS starts a filter with.
struct QueueJob {
  const char* options = "";       // argv[5]
  const char* copies = "";        // argv[4]
  const char* ppdPath = nullptr;  // environment variable PPD; none when it is not set
};

// `job.options`, byte for byte, with these options behind it, where the job does not have them:
// - copies and collation under the names that the filter reads;
// - the choices marked in the PPD file, the administrator's defaults among them, of the options
//   that the filter reads;
// and with the accounting values once more in Mac OS Roman, where they can be expressed in it: of
// two values under one name the later counts.
// A PPD file that cannot be used is reported on standard error and adds nothing. A string to
// which nothing can be added, because it ends inside a quoted value, stays as it is.
std::string completedOptions(const QueueJob& job);

}  // namespace jobshaper
