#include "settings/argument_store.h"

#include <cups/cups.h>

#include <algorithm>

#include "diag/log.h"
#include "settings/strings.h"

namespace jobshaper {

namespace {

struct Placeholder {
  std::string_view text;  // upper case; decode() accepts the hexadecimal digits in either case
  char character;
};

// The order matters: a row does not decode what a later row produces, so "<3C>27>" becomes "<27>"
// and stays that way.
constexpr Placeholder kPlaceholders[] = {
    {"<27>", '\''}, {"<3D>", '='}, {"<20>", ' '}, {"<2C>", ','}, {"<3C>", '<'}, {"<3E>", '>'},
};
constexpr std::size_t kPlaceholderLength = 4;

// Replaces every occurrence, in place and in one pass. A placeholder cannot overlap itself, and the
// characters put in are not searched again.
void decode(std::string& value, const Placeholder& placeholder) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < value.size(); ++i, ++kept) {
    const std::string_view here(value.data() + i, std::min(kPlaceholderLength, value.size() - i));
    if (equalsIgnoringCase(here, placeholder.text)) {
      value[kept] = placeholder.character;
      i += kPlaceholderLength - 1;
    } else {
      value[kept] = value[i];
    }
  }
  value.resize(kept);
}

// Source lines of this method's log records: fixed, since tools that read the log expect them.
constexpr int kTraceBegin = 38;
constexpr int kTraceEnd = 101;

}  // namespace

void argumentStore::initWithOptionString(const char* optionString) {
  const TraceScope trace("-[argumentStore initWithOptionString:]", kTraceBegin, kTraceEnd);
  cups_option_t* parsed = nullptr;
  const int n = cupsParseOptions(optionString, 0, &parsed);
  for (int i = 0; i < n; ++i) {
    std::string value = parsed[i].value;
    if (value.size() >= kPlaceholderLength) {
      for (const Placeholder& placeholder : kPlaceholders) decode(value, placeholder);
    }
    options_.insert_or_assign(parsed[i].name, std::move(value));
  }
  cupsFreeOptions(n, parsed);
}

void argumentStore::addOption(std::optional<std::string_view> name,
                              std::optional<std::string_view> value) {
  if (name && value) options_.insert_or_assign(std::string(*name), std::string(*value));
}

std::optional<std::string_view> argumentStore::getValue(OptionName name) const {
  const auto found = options_.find(std::string_view(name));
  if (found == options_.end()) return std::nullopt;
  return found->second;
}

}  // namespace jobshaper
