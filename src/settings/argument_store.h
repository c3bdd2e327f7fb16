// The job's options, parsed from the option string that CUPS passes as the fifth argument.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "settings/option_names.h"

namespace jobshaper {

// Maps option names to values, both as the bytes of the option string (Mac OS Roman). Lookup is
// case-sensitive. If two names in the string differ only in case, libcups keeps the first name with
// the last value.
class argumentStore {
 public:
  using Options = std::map<std::string, std::string, std::less<>>;

  // Parses `optionString`, name=value pairs separated by blanks, and decodes the placeholders in
  // values ("<20>" for a blank). Cannot fail: options after a syntax error are missing.
  void initWithOptionString(const char* optionString);

  // Stores a value without decoding it, replacing an earlier one. Does nothing if name or value is
  // absent.
  void addOption(std::optional<std::string_view> name, std::optional<std::string_view> value);

  // The value of the option; no value when the job does not have it. The view is valid until the
  // store changes.
  std::optional<std::string_view> getValue(OptionName name) const;

  std::size_t count() const { return options_.size(); }

  // All options, in byte order of their names.
  const Options& keyEnumerator() const { return options_; }

 private:
  Options options_;
};

}  // namespace jobshaper
