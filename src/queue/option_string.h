// The job of a queue, completed by what the filter needs and CUPS leaves out of it.
#pragma once

#include <optional>
#include <string>

#include "filter/job_filter.h"
#include "queue/booklet.h"

namespace jobshaper {

// What CUPS starts a filter with.
struct QueueJob {
  const char* user = "";          // argv[2]
  const char* title = "";         // argv[3]
  const char* copies = "";        // argv[4]
  const char* options = "";       // argv[5]
  const char* ppdPath = nullptr;  // environment variable PPD; none when it is not set
  JobOrigin origin;
  CountPages countPages = [] { return 0; };
};

struct CompletedJob {
  std::string user;     // for the header
  std::string options;  // for the filter
  JobAdditions additions;
  Booklet booklet;
  bool ppdIsUnusable = false;  // and reported; the filter is not to read it
  // Why the job must not be printed, in words for its user; nothing if it may be.
  std::optional<std::string> refusal;
};

// The options are those of the job, byte for byte, followed by these:
// - the copies and the collation under the names that the filter reads, if the job does not have
//   them so;
// - for each option that the filter reads and the PPD file has, the choice marked there: the job's
//   in the spelling of the PPD file, or the administrator's default. A choice that the PPD file
//   does not have, or that the printer's equipment rules out, is reported on standard error, with
//   what is used instead;
// - the same for the options of the settings that the PPD file leaves to the header, having no code
//   for them; the setters are in `additions`;
// - the PIN of a confidential job (see passcode.h), and the account that IPP clients name, under
//   the names that the filter reads;
// - what a booklet needs (see settleBooklet());
// - texts for the header in which a quote or a control character would break it, without those;
// - the accounting values in Mac OS Roman, where they can be expressed in it.
// Of two values under one name the later wins. If an option has to be left out or spelled
// otherwise, the string is a new one with all the others.
//
// A PPD file that cannot be used is reported on standard error and adds nothing. So does a string
// to which nothing can be added because it ends inside a quoted value; only its texts are cleaned.
CompletedJob completedJob(const QueueJob& job);

}  // namespace jobshaper
