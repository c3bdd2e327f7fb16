#include "queue/option_list.h"

#include <cups/cups.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace jobshaper {

namespace {

void appendOption(std::string& text, std::string_view name, std::string_view value) {
  if (!text.empty()) text += ' ';
  text.append(name).append("=");
  for (const char c : value) {
    if (std::strchr(" \t\n\v\f\r'\"\\{}", c)) text += '\\';
    text += c;
  }
}

}  // namespace

OptionList::OptionList(const char* text) : count_(cupsParseOptions(text, 0, &options_)) {}

OptionList::OptionList(const OptionList& other) {
  for (int i = 0; i < other.count_; ++i) put(other.options_[i].name, other.options_[i].value);
}

OptionList::~OptionList() { cupsFreeOptions(count_, options_); }

const char* OptionList::find(OptionName name) const {
  return cupsGetOption(name.data(), count_, options_);
}

void OptionList::put(const char* name, const std::string& value) {
  remove(name);  // it may be spelled differently
  count_ = cupsAddOption(name, value.c_str(), count_, &options_);
}

void OptionList::remove(const char* name) {
  count_ = cupsRemoveOption(name, count_, &options_);
  if (count_ > 0) return;
  std::free(options_);  // libcups does not free an empty list, but allocates a new one later
  options_ = nullptr;
}

bool OptionList::operator==(const OptionList& other) const {
  if (count_ != other.count_) return false;
  for (int i = 0; i < count_; ++i) {
    if (std::strcmp(options_[i].name, other.options_[i].name) != 0) return false;
    if (std::strcmp(options_[i].value, other.options_[i].value) != 0) return false;
  }
  return true;
}

std::string optionString(const std::string& text, const OptionList& list) {
  const OptionList before(text.c_str());
  std::string longer = text;
  std::string whole;
  for (int i = 0; i < list.count(); ++i) {
    const char* const name = list.options()[i].name;
    const char* const value = list.options()[i].value;
    const char* const old = cupsGetOption(name, before.count(), before.options());
    if (!old || std::strcmp(old, value) != 0) appendOption(longer, name, value);
    appendOption(whole, name, value);
  }
  return OptionList(longer.c_str()) == list ? longer : whole;
}

bool isWholeOptionString(const std::string& text) {
  constexpr char kProbe[] = "jobshaper-probe";
  OptionList wanted(text.c_str());
  wanted.put(kProbe, "1");
  std::string longer = text;
  appendOption(longer, kProbe, "1");
  return OptionList(longer.c_str()) == wanted;
}

}  // namespace jobshaper
