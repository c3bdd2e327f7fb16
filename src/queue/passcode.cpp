#include "queue/passcode.h"

#include <cups/cups.h>
#include <strings.h>

#include <cstring>
#include <string_view>

#include "queue/header_text.h"
#include "queue/message.h"

namespace jobshaper {

namespace {

constexpr OptionName kPrintTo = "PrintTo"_option;
constexpr char kConfidential[] = "JRConf";
constexpr OptionName kKey = "JRHOLDKEY"_option;
constexpr char kNoKey[] = "None";  // the choice of the PPD file
constexpr std::string_view kDialogPrefix = "Custom.";

constexpr OptionName kPassword = "job-password"_option;
constexpr OptionName kEncryption = "job-password-encryption"_option;
// What *cupsJobPassword of the PPD files tells IPP clients.
constexpr std::size_t kPasswordLength = 4;

// Whether the text is digits only, and as many as that.
bool isPin(std::string_view text, std::size_t shortest, std::size_t longest) {
  return text.size() >= shortest && text.size() <= longest &&
         text.find_first_not_of("0123456789") == text.npos;
}

// Both are sentences; what to do follows "Cancel the job and".
std::string refusal(const std::string& reason, const std::string& whatToDo) {
  return "Not printed: " + reason + " Cancel the job and " + whatToDo;
}

constexpr char kWithAnotherPin[] = "print it again with another PIN.";
constexpr char kWithoutOpenQuotes[] =
    "print it again without open quotes and braces, for example in the file name.";

// What the user typed; no value if the job has no JRHOLDKEY, or only the choice "None".
std::optional<std::string_view> typedKey(const OptionList& options) {
  const char* const value = options.find(kKey);
  if (!value || !isPasscodeChoice(value)) return std::nullopt;
  std::string_view key = value;
  if (strncasecmp(value, kDialogPrefix.data(), kDialogPrefix.size()) == 0) {
    key.remove_prefix(kDialogPrefix.size());
  }
  return key;
}

// Overrides any other PrintTo, since dialogs send every option with the job, also those that the
// user has not changed.
std::optional<std::string> makeConfidential(OptionList& options, const std::string& pin) {
  const char* const asked = options.find(kPrintTo);
  if (asked && !isConfidential(options)) {
    warn(
        "PrintTo=%s cannot be used with a PIN; JRConf is used instead. "
        "Print without a PIN to use another PrintTo.",
        headerText(asked).c_str());
  }
  options.put(kPrintTo.data(), kConfidential);
  options.put(kKey.data(), pin);
  return std::nullopt;
}

// The option whose value contains others that would make the job confidential, for example after a
// comma; null if there is none.
const char* optionWithOthers(const OptionList& options) {
  const char* const printTo = options.find(kPrintTo);
  if (printTo && !isConfidential(options) &&
      strncasecmp(printTo, kConfidential, std::strlen(kConfidential)) == 0) {
    return kPrintTo.data();
  }
  for (int i = 0; i < options.count(); ++i) {
    const cups_option_t& option = options.options()[i];
    for (const char* const hidden : {"JRHOLDKEY=", "job-password=", "PrintTo=JRConf"}) {
      if (::strcasestr(option.value, hidden)) return option.name;
    }
  }
  return nullptr;
}

}  // namespace

std::optional<std::string> whyNotSeparated(const OptionList& options) {
  const char* const option = optionWithOthers(options);
  if (!option) return std::nullopt;
  return refusal("the value of " + headerText(option) + " contains other options.",
                 "print it again with blanks between the options.");
}

std::optional<std::string> takePasscode(OptionList& options) {
  const std::optional<std::string_view> key = typedKey(options);
  const char* const password = options.find(kPassword);
  if (key && (!password || isConfidential(options))) {
    if (isPin(*key, 4, 8)) return makeConfidential(options, std::string(*key));
    return refusal("the PIN (JRHOLDKEY) is not 4 to 8 digits.", kWithAnotherPin);
  }
  if (!password) return std::nullopt;
  const char* const encryption = options.find(kEncryption);
  if (encryption && std::string_view(encryption) != "none") {
    return refusal("the printer cannot read an encrypted PIN (job-password-encryption).",
                   "print it again without encryption of the PIN, or with JRHOLDKEY.");
  }
  if (isPin(password, kPasswordLength, kPasswordLength)) return makeConfidential(options, password);
  return refusal("the PIN (job-password) is not 4 digits.", kWithAnotherPin);
}

std::optional<std::string> whyNotConfidential(const OptionList& options, bool queueHasPasscode) {
  const bool hasKey = typedKey(options).has_value();
  if (hasKey == isConfidential(options)) return std::nullopt;
  if (hasKey) return whyNotKept();
  if (queueHasPasscode) {
    return refusal("the default PIN of the queue is not secret.",
                   "print it again with a PIN of your own (JRHOLDKEY).");
  }
  return refusal("a confidential job needs a PIN of 4 to 8 digits.",
                 "print it again with JRHOLDKEY=PIN.");
}

std::optional<std::string> whyNotOpen(std::string_view optionString, const char* defaultPrintTo) {
  const std::string text(optionString);
  for (const char* const name : {kConfidential, kKey.data(), kPassword.data()}) {
    if (::strcasestr(text.c_str(), name)) {
      return refusal("the job may be confidential, but its options cannot be read to their end.",
                     kWithoutOpenQuotes);
    }
  }
  if (!defaultPrintTo || strcasecmp(defaultPrintTo, kConfidential) != 0) return std::nullopt;
  return refusal(
      "jobs of this queue are confidential, but the options of this one cannot be read to their "
      "end.",
      kWithoutOpenQuotes);
}

std::string whyNotKept() {
  return refusal("this printer cannot keep confidential jobs.",
                 "print it on another printer, or without PrintTo=JRConf and PIN.");
}

bool isConfidential(const OptionList& options) {
  const char* const printTo = options.find(kPrintTo);
  return printTo && strcasecmp(printTo, kConfidential) == 0;
}

bool isPasscodeChoice(const char* choice) { return choice && strcasecmp(choice, kNoKey) != 0; }

}  // namespace jobshaper
