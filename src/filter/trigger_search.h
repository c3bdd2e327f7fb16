// The texts that can make a rule act, and a search for them ahead of the rules: what lies before
// the next such text passes untouched.
#pragma once

#include <cstdint>
#include <string_view>

namespace jobshaper {

struct Trigger {
  // What its rule looks for, or what the rule's line begins with.
  std::string_view text;
  // Three bytes of the text that are rare in jobs.
  std::string_view mark;
};

// Every text has five bytes or more, and none can begin inside another; the search relies on
// both. Neighbours share an entry of its tables, so they are watched at the same times.
// clang-format off
inline constexpr Trigger kTriggers[] = {
    {"\x1b%-12345X", "\x1b%-"},  // exit string of the job's own PJL
    {"@PJL ", "PJL"},
    {"InputSlot", "tSl"},
    {"sfcl{", "cl{"},
    {"PageRegion", "eRe"},
    {"CustomPageSize", "mPa"},
    {"*PageSize", "*Pa"},
    {"JobPatchFile", "hFi"},
    {"%%BeginProlog", "nPr"},
    {"%RBINumCopies: ", "BIN"},
    {"/Collate", "/Co"},
    {"%%Page:", "%Pa"},
    {"QVBookletFold", "QVB"},
};
// clang-format on

// Bit i stands for kTriggers[i].
using TriggerSet = std::uint16_t;

inline constexpr TriggerSet triggerSet(std::string_view text) {
  TriggerSet bit = 1;
  for (const Trigger& trigger : kTriggers) {
    if (trigger.text == text) return bit;
    bit = static_cast<TriggerSet>(bit << 1);
  }
  return 0;
}

// Where in `bytes` the first of the watched texts stands whole; npos when none does.
std::size_t findTrigger(std::string_view bytes, TriggerSet watched);

// The ways to search, all with the same answers; findTrigger() takes the fastest that the
// machine knows.
std::size_t findTriggerPlain(std::string_view bytes, TriggerSet watched);
#if defined(__x86_64__)
// For machines with AVX2 only.
std::size_t findTriggerAvx2(std::string_view bytes, TriggerSet watched);
bool hasAvx2();
#endif

}  // namespace jobshaper
