// The parts of a PPD file that a job needs.
#pragma once

#include <optional>
#include <string>

#include "platform/descriptor.h"
#include "settings/ppd_values.h"

namespace jobshaper {

struct PpdText {
  // The file without what only dialogs and other filters need: translations, fonts, the order of
  // options, and constraints that name no equipment. That is most of it, and libcups would take
  // longer to read it than all the rest.
  std::string lines;
  bool isComplete = false;  // each group and option is closed
  PpdKeywords keywords;     // those that the filter itself would read from the file
};

// Reads a PPD file, which may be compressed, from its start to its end. Does not close `file`,
// whose position is undefined afterward. Returns no value if the file cannot be read to its end,
// with the reason in errno, or if libcups would need much time or memory for it, with 0 in errno.
std::optional<PpdText> readPpdText(const Descriptor& file);

}  // namespace jobshaper
