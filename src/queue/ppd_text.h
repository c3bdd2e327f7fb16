// The text of a PPD file, as far as a job needs it.
#pragma once

#include <optional>
#include <string>

#include "platform/descriptor.h"
#include "settings/ppd_values.h"

namespace jobshaper {

struct PpdText {
  // The file without what only dialogs and other filters need, such as translations. That is most
  // of it, and libcups would take longer to read it than all the rest.
  std::string lines;
  PpdKeywords keywords;  // what the filter would read in it
};

// Reads a PPD file, which may be compressed, from its beginning to its end. Nothing if libcups
// would need much time or memory for it. The position of the descriptor is then undefined.
std::optional<PpdText> readPpdText(const Descriptor& file);

}  // namespace jobshaper
