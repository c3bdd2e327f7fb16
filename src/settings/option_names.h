// Names of options that are read in more than one place.
#pragma once

#include <string_view>

namespace jobshaper {

// Names that the print dialog of macOS uses.
inline constexpr std::string_view kCopiesOption = "com.apple.print.PrintSettings.PMCopies..n.";
inline constexpr std::string_view kCollateOption =
    "com.apple.print.PrintSettings.PMCopyCollate..b.";

inline constexpr std::string_view kFoldOption = "QVBookletFold";

}  // namespace jobshaper
