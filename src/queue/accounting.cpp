#include "queue/accounting.h"

#include <optional>
#include <string>

#include "platform/text_encoding.h"

namespace jobshaper {

namespace {

struct IppRow {
  const char* attribute;
  const char* option;
};

constexpr IppRow kIppRows[] = {
    {"job-account-id", "JAACCTNUM"},
    {"job-accounting-user-id", "JAUSERID"},
};

constexpr const char* kAccountingOptions[] = {"JAUSERID", "JAACCTNUM", "JADEPTNUM"};

}  // namespace

void takeAccounting(OptionList& options) {
  for (const IppRow& row : kIppRows) {
    const char* const value = options.find(row.attribute);
    if (value && !options.find(row.option)) options.put(row.option, value);
  }
}

void encodeAccounting(OptionList& options) {
  for (const char* const name : kAccountingOptions) {
    const char* const value = options.find(name);
    const std::optional<std::string> inMacRoman = value ? macRomanFromUtf8(value) : std::nullopt;
    if (inMacRoman && *inMacRoman != value) options.put(name, *inMacRoman);
  }
}

}  // namespace jobshaper
