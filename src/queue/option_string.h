// The job of a queue, completed by what the filter needs and CUPS leaves out of it.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "filter/job_filter.h"
#include "pjl/pjl_creation.h"
#include "queue/booklet.h"
#include "settings/option_names.h"

namespace jobshaper {

// What CUPS starts a filter with. The texts are not owned.
struct QueueJob {
  const char* user = "";          // argv[2]
  const char* title = "";         // argv[3]
  const char* copies = "";        // argv[4]
  const char* options = "";       // argv[5]
  const char* ppdPath = nullptr;  // environment variable PPD; null if it is not set
  JobOrigin origin;
  CountPages countPages = [] { return 0; };
};

// The settings for which a PPD file may have options without code, in the order of their lines in
// the header.
struct Setting {
  OptionName option;
  pjlCreation::Setter setter;
};
extern const std::span<const Setting> kPpdSettings;

// If `refusal` has a value, or booklet.failed is true, the job must not be printed, and the other
// members are not complete.
struct CompletedJob {
  std::string user;        // argv[2] for the filter
  std::string options;     // argv[5] for the filter
  JobAdditions additions;  // what else the filter needs
  Booklet booklet;
  bool ppdIsUnusable = false;  // which has been reported; the filter must not read it
  // Why the job must not be printed and what its user can do, as a message without a line end.
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
// differently, the string is a new one with all other options.
//
// A PPD file that cannot be used is reported on standard error, and nothing is added from it. The
// same holds for an option string that nothing can be appended to (see isWholeOptionString()); its
// texts for the header are still cleaned. Does not read the job, unless job.countPages does.
CompletedJob completedJob(const QueueJob& job);

}  // namespace jobshaper
