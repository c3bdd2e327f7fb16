// Starting the filter in the place of this process.
#pragma once

#include <string>

namespace jobshaper {

// The filter takes no DEVICE_URI of more than 99 bytes, and needs its scheme only.
void shortenDeviceUri();

// Executes "jobshaper" from the folder of CUPS's filters, or else from this program's own, with
// `argv`; `options` is its argv[5] unless the system's limits leave only the original one room.
// Returns when that is not possible, which has then been reported on standard error.
void startFilter(char* argv[], std::string* options);

}  // namespace jobshaper
