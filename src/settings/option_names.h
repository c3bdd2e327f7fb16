// Names of options that more than one folder reads, as the print dialog of macOS writes them.
#pragma once

#include <string_view>

namespace jobshaper {

inline constexpr std::string_view kCopiesOption = "com.apple.print.PrintSettings.PMCopies..n.";
inline constexpr std::string_view kCollateOption =
    "com.apple.print.PrintSettings.PMCopyCollate..b.";

}  // namespace jobshaper
