// The job's options, from the option string that CUPS passes as the fifth argument.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace jobshaper {

// Option name to value, both in the bytes of the option string (Mac OS Roman). Names are
// case-sensitive, but libcups keeps one of two that differ in case alone: the later value under the
// earlier name.
class argumentStore {
 public:
  using Options = std::map<std::string, std::string, std::less<>>;

  // Parses `optionString` (name=value pairs as CUPS writes them) and turns the placeholders
  // that stand for characters special to CUPS, such as "<20>", back into those characters.
  // Of a string that cannot be parsed the store has what libcups has found before.
  void initWithOptionString(const char* optionString);

  // Stores a value as it stands; without a name or a value nothing happens.
  void addOption(std::optional<std::string_view> name, std::optional<std::string_view> value);

  // The value under this name; none when the job does not have the option. The view holds as
  // long as the store is not changed.
  std::optional<std::string_view> getValue(std::string_view name) const;

  std::size_t count() const { return options_.size(); }

  // All options, in byte order of their names.
  const Options& keyEnumerator() const { return options_; }

 private:
  Options options_;
};

}  // namespace jobshaper
