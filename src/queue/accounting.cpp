#include "queue/accounting.h"

#include <optional>
#include <string>

#include "platform/text_encoding.h"

namespace jobshaper {

namespace {

struct IppRow {
  OptionName attribute;
  OptionName option;
};

constexpr IppRow kIppRows[] = {
    {"job-account-id"_option, "JAACCTNUM"_option},
    {"job-accounting-user-id"_option, "JAUSERID"_option},
};

constexpr OptionName kAccountingOptions[] = {"JAUSERID"_option, "JAACCTNUM"_option,
                                             "JADEPTNUM"_option};

}  // namespace

void takeAccounting(OptionList& options) {
  for (const IppRow& row : kIppRows) {
    const char* const value = options.find(row.attribute);
    if (value && !options.find(row.option)) options.put(row.option.data(), value);
  }
}

void encodeAccounting(OptionList& options) {
  for (const OptionName name : kAccountingOptions) {
    const char* const value = options.find(name);
    const std::optional<std::string> inMacRoman = value ? macRomanFromUtf8(value) : std::nullopt;
    if (inMacRoman && *inMacRoman != value) options.put(name.data(), *inMacRoman);
  }
}

}  // namespace jobshaper
