// A job's options as libcups keeps them.
#pragma once

#include <string>

struct cups_option_s;

namespace jobshaper {

// Names that differ only in case are the same. The last value of a name wins.
class OptionList {
 public:
  explicit OptionList(const char* text);
  OptionList(const OptionList& other);
  OptionList& operator=(const OptionList&) = delete;
  ~OptionList();

  // The value under this name in either case; null without one.
  const char* find(const char* name) const;
  // The same with the name, which is then spelled so.
  void put(const char* name, const std::string& value);
  void remove(const char* name);

  int count() const { return count_; }
  cups_option_s* options() const { return options_; }
  bool operator==(const OptionList& other) const;

 private:
  cups_option_s* options_ = nullptr;
  int count_ = 0;
};

// The option string of `list`: `text`, from which `list` has come, with the changed and added
// options after it, or a new one if options have been removed or respelled.
std::string optionString(const std::string& text, const OptionList& list);

// Whether options can be added to the string: it does not end inside a quoted or braced value.
bool isWholeOptionString(const std::string& text);

}  // namespace jobshaper
