// The texts that can make a rule act, and a search for them ahead of the rules: what lies before
// the next such text passes untouched.
#pragma once

#include <cstdint>
#include <string_view>

namespace jobshaper {

// Every text is the one that its rule looks for, or begins with what the rule's line begins with.
// All have five bytes or more; the search relies on it.
// clang-format off
inline constexpr std::string_view kTriggerTexts[] = {
    "\x1b%-12345X",      // exit string of the job's own PJL
    "@PJL ",
    "InputSlot",
    "sfcl{",
    "JobPatchFile",
    "PageRegion",
    "CustomPageSize",
    "*PageSize",
    "%%BeginProlog",
    "%RBINumCopies: ",
    "/Collate",
    "%%Page:",
    "QVBookletFold",
};
// clang-format on

// Bit i stands for kTriggerTexts[i].
using TriggerSet = std::uint16_t;

inline constexpr TriggerSet triggerSet(std::string_view text) {
  TriggerSet bit = 1;
  for (const std::string_view trigger : kTriggerTexts) {
    if (trigger == text) return bit;
    bit = static_cast<TriggerSet>(bit << 1);
  }
  return 0;
}

// Where in `bytes` the first of the watched texts stands whole; npos when none does.
std::size_t findTrigger(std::string_view bytes, TriggerSet watched);

}  // namespace jobshaper
