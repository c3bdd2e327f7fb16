// A job's options as libcups keeps them.
#pragma once

#include <string>

#include "settings/option_names.h"

struct cups_option_s;

namespace jobshaper {

// Names that differ only in case are the same. The last value of a name wins. All text is copied,
// and owned by the list.
class OptionList {
 public:
  // Parses an option string as CUPS passes it, argv[5]. Cannot fail: options after a syntax error
  // are missing.
  explicit OptionList(const char* text);
  OptionList(const OptionList& other);
  OptionList& operator=(const OptionList&) = delete;
  ~OptionList();

  // The value of this name; null if there is none. Valid until the list changes.
  const char* find(OptionName name) const;
  // Sets the value and the spelling of the name, which must not point into the list.
  void put(const char* name, const std::string& value);
  // Does nothing if there is no such name.
  void remove(const char* name);

  int count() const { return count_; }
  // An array of count() options; null if there are none. Valid until the list changes.
  cups_option_s* options() const { return options_; }
  // Compares the spelling of the names, too.
  bool operator==(const OptionList& other) const;

 private:
  cups_option_s* options_ = nullptr;
  int count_ = 0;
};

// The option string of `list`. `text` is the string that `list` was parsed from. Returns `text`
// followed by the options that were changed or added since, or a new string if options were removed
// or are spelled differently.
std::string optionString(const std::string& text, const OptionList& list);

// Whether options can be appended to the string: it does not end inside a quoted or braced value,
// does not end in a backslash, and begins with an option name.
bool isWholeOptionString(const std::string& text);

}  // namespace jobshaper
