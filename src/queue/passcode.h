// The PIN of a confidential job, which the printer keeps until its owner types it there.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "queue/option_list.h"

namespace jobshaper {

// Takes the PIN of a job from JRHOLDKEY, where print dialogs put "Custom." before it, or from
// job-password, the attribute of IPP. A job with one becomes PrintTo=JRConf with a JRHOLDKEY of
// digits; another PrintTo is reported on standard error. If it has both, its JRHOLDKEY is used with
// PrintTo=JRConf, otherwise its job-password.
//
// Returns why the job must not be printed and what its user can do, as a message that does not
// contain the PIN: the PIN is encrypted, or does not have the number of digits that the printer and
// IPP clients are told. Returns no value if the job may be printed.
std::optional<std::string> takePasscode(OptionList& options);

// The same for a job with a PIN, or PrintTo=JRConf, in the value of another option, as after a
// comma.
std::optional<std::string> whyNotSeparated(const OptionList& options);

// The same for a job whose options are complete: it is confidential, maybe by the administrator's
// default, but has no PIN of its own; or it has a PIN, but the printer cannot keep confidential
// jobs. `queueHasPasscode` is whether the PPD file has a default PIN.
std::optional<std::string> whyNotConfidential(const OptionList& options, bool queueHasPasscode);

// The same for a job whose option string cannot be read to its end: the string contains JRConf,
// JRHOLDKEY or job-password anywhere, or the administrator's default of PrintTo (null if there is
// none) makes jobs confidential.
std::optional<std::string> whyNotOpen(std::string_view optionString, const char* defaultPrintTo);

// The message for a confidential job and a printer that cannot keep it.
std::string whyNotKept();

// Whether the options ask for a confidential job.
bool isConfidential(const OptionList& options);

// Whether this choice of JRHOLDKEY in the PPD file is a PIN; `choice` may be null, which is not.
bool isPasscodeChoice(const char* choice);

}  // namespace jobshaper
