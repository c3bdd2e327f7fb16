// The triggers: texts that can make a rule act. What comes before the next trigger is passed on
// unchanged without applying the rules, so the search is what most bytes of a job cost.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "pjl/pjl_creation.h"
#include "settings/option_names.h"

namespace jobshaper {

struct Trigger {
  // What its rule looks for, or what the rule's line begins with.
  std::string_view text;
  // Three bytes of the text that are rare in jobs.
  std::string_view fingerprint;
};

namespace triggers {
// clang-format off
inline constexpr Trigger
    kExitString{kUniversalExitLanguage, "\x1b%-"},  // of the job's own PJL
    kPjl{"@PJL ", "PJL"},
    kInputSlot{"InputSlot", "tSl"},
    kSfcl{"sfcl{", "cl{"},
    kPageRegion{"PageRegion", "eRe"},
    kCustomPageSize{"CustomPageSize", "mPa"},
    kPageSize{"*PageSize", "*Pa"},
    kJobPatch{"JobPatchFile", "hFi"},
    kProlog{"%%BeginProlog", "nPr"},
    kRetainedCopies{"%RBINumCopies: ", "BIN"},
    kCollate{"/Collate", "/Co"},
    kPage{"%%Page:", "%Pa"},
    kFold{kFoldOption, "QVB"},
    kBeginDocument{"%%BeginDocument", "nDo"},
    kEndDocument{"%%EndDocument", "dDo"},
    kBeginFeature{"%%BeginFeature: ", "nFe"};
// clang-format on
}  // namespace triggers

inline constexpr std::array kTriggers = {
    triggers::kExitString,     triggers::kPjl,           triggers::kInputSlot,
    triggers::kSfcl,           triggers::kPageRegion,    triggers::kCustomPageSize,
    triggers::kPageSize,       triggers::kJobPatch,      triggers::kProlog,
    triggers::kRetainedCopies, triggers::kCollate,       triggers::kPage,
    triggers::kFold,           triggers::kBeginDocument, triggers::kEndDocument,
    triggers::kBeginFeature,
};

// Whether the second text can begin inside the first, or where it begins.
constexpr bool overlap(const Trigger& first, const Trigger& second) {
  for (std::size_t i = &first == &second ? 1 : 0; i < first.text.size(); ++i) {
    const std::string_view rest = first.text.substr(i);
    if (rest.starts_with(second.text) || second.text.starts_with(rest)) return true;
  }
  return false;
}

// The search takes the first fingerprint for that of the first trigger.
static_assert(std::none_of(kTriggers.begin(), kTriggers.end(), [](const Trigger& first) {
  return std::any_of(kTriggers.begin(), kTriggers.end(),
                     [&](const Trigger& second) { return overlap(first, second); });
}));

// Bit i stands for kTriggers[i].
using TriggerSet = std::uint32_t;

inline constexpr TriggerSet kEveryTrigger = (TriggerSet{1} << kTriggers.size()) - 1;

// The set of one trigger. A trigger that the table lacks does not compile.
consteval TriggerSet triggerSet(const Trigger& trigger) {
  for (std::size_t i = 0;; ++i) {
    if (kTriggers[i].text == trigger.text) return TriggerSet{1} << i;
  }
}

// Returns the position in `bytes` of the first complete text of a wanted trigger; npos if there is
// none.
std::size_t findTrigger(std::string_view bytes, TriggerSet wanted);

// A way to search. All return the same positions.
struct TriggerSearch {
  const char* name;
  std::size_t (*find)(std::string_view bytes, TriggerSet wanted);
};

// Those that this processor can run, the fastest first. The last one is the plain one, which is
// the reference for the others.
std::span<const TriggerSearch> triggerSearches();

}  // namespace jobshaper
