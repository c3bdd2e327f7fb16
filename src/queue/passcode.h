// The PIN of a confidential job, which the printer keeps until its owner types it there.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "queue/option_list.h"

namespace jobshaper {

// Takes the PIN of a job from JRHOLDKEY, where print dialogs put "Custom." before it, or from
// job-password, the attribute of IPP. A job with one becomes PrintTo=JRConf with a JRHOLDKEY of
// digits, whatever else its PrintTo asks for, which is reported on standard error. With
// PrintTo=JRConf the job's own JRHOLDKEY counts, otherwise its job-password.
//
// Answers why the job must not be printed, in words for its user and without the PIN: it is
// encrypted, or not of as many digits as the printer and IPP clients are told, or PrintTo only
// begins with JRConf. Returns no value if it may be printed.
std::optional<std::string> takePasscode(OptionList& options);

// The same for a job whose options are complete: that it is confidential, by the administrator's
// default too, but has no PIN of its own, or that it has a PIN, but the printer keeps no such jobs.
// `queueHasPasscode` is whether the PPD file has a default.
std::optional<std::string> whyNotConfidential(const OptionList& options, bool queueHasPasscode);

// The same for a job whose option string cannot be read to its end: that the string contains
// JRConf, JRHOLDKEY or job-password anywhere, or that the administrator's default, or null, makes
// jobs confidential.
std::optional<std::string> whyNotOpen(std::string_view optionString, const char* defaultPrintTo);

// Why a confidential job must not be printed by a printer that keeps none.
std::string whyNotKept();

// Whether the job is to be confidential.
bool isConfidential(const OptionList& options);

// Whether this choice of JRHOLDKEY in the PPD file, or null, stands for a PIN.
bool isPasscodeChoice(const char* choice);

}  // namespace jobshaper
