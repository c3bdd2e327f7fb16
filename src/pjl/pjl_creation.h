// Builds the PJL header of a job from its options.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "pjl/option_table.h"
#include "settings/argument_store.h"

namespace jobshaper {

// Universal Exit Language: the escape sequence that returns the printer to PJL from any language.
inline constexpr std::string_view kUniversalExitLanguage = "\x1b%-12345X";

// Returns the lines that end the PJL job. `exitString` is Universal Exit Language.
std::string pjlTrailer(std::string_view exitString);

// A list of complete PJL lines, each ending in "\n", in the order in which they are to be sent.
// Lines can only be appended. Option values are inserted unchanged: quotes and line ends in them
// are not escaped. No function fails.
class pjlCreation {
 public:
  // One of the functions below that take no argument.
  using Setter = void (pjlCreation::*)();

  // Appends the whole header, from the start of the PJL job to the switch to PostScript, with the
  // lines of `settings` directly before that switch. To be called once, before all other functions.
  // Keeps a reference to `argsStore`, which must outlive this object, and copies the other
  // arguments.
  void initFromArgsStore(const argumentStore& argsStore, std::string_view userID,
                         std::string_view jobName, std::span<const Setter> settings = {});

  // Appends the three lines for job accounting: user, account and department, converted to UTF-8.
  // The value is empty for an absent option.
  void addJobAcctgLines(const argumentStore& argsStore);

  // Appends color model and render mode if the option QVGeneric is present; otherwise does nothing.
  void addQvnGenericDrvCommands(const argumentStore& argsStore, std::string_view jobName);

  void setDuplicateHeldJobs();

  // Settings that are not part of the header; the filter itself does not call these functions. They
  // can be called in any order. Each reads its option and appends its lines at the end. Unless
  // noted here, they append nothing if the option is absent, has the value "PrinterS" (the printer
  // keeps its own setting) or has an unknown value.
  void setCopies();  // accepts any value and reads it as a number; "PrinterS" is 0
  void setRotatePaper();
  void setPaperSize();  // treats an unknown size as a custom size

  // `size` is width and height in points, such as "612x792"; they are sent in inches. Appends
  // nothing if there is no "x". If there is no size, reports that on standard error.
  void setCustomPaper(std::optional<std::string_view> size);

  void setMediaType();  // sends an unknown type unchanged
  void setPaperSource();
  void setOutputBin();
  void setTonerDarkness();  // sends an unknown value unchanged
  void setPictureGrade();
  void setSeparatorPage();
  void setSeparatorSource();
  void setOffsetPage();
  void setCyan();  // the four color balances send any value unchanged
  void setMagenta();
  void setYellow();
  void setBlack();
  void setColorCorrection();
  void setGrayCorrection();
  void setManualRGBImage();
  void setManualRGBText();
  void setManualRGBGraphics();
  void setManualCMYK();
  void setColorSaver();
  void setBlackAndWhite();
  void setBrightness();  // these three send any value unchanged
  void setContrast();
  void setSaturation();
  void setImageSmoothing();
  void setLineDetail();
  void setCollation();  // any value other than "true", even "PrinterS", turns collation off
  void setResolution();

  // Appends the number of copies. After initFromArgsStore() the line comes after the switch to
  // PostScript, which is intentional.
  void insertNumCopies(std::int32_t copies);

  std::size_t count() const { return pjlLines_.size(); }
  // `index` must be less than count().
  const std::string& itemAtIndex(std::uint32_t index) const { return pjlLines_[index]; }
  const std::vector<std::string>& objectEnumerator() const { return pjlLines_; }

 private:
  using Value = std::optional<std::string_view>;

  void append(std::string_view line) { pjlLines_.emplace_back(line); }
  void appendJoined(std::initializer_list<std::string_view> parts);  // one line
  // Appends the lines of the value in the option's tables; returns false if it is in none.
  bool appendRow(OptionName option, std::string_view value);
  void appendFromTable(OptionName option);

  // The option's value; no value if it is absent or "PrinterS".
  Value requested(OptionName option) const;

  void appendJobIdentity(std::string_view userID, std::string_view jobName);
  void appendBlankPages();
  void appendSmallFontEnhancer();
  void appendSingleCopy();
  void appendJobRetention();

  std::vector<std::string> pjlLines_;
  const argumentStore* ticketData_ = nullptr;
};

}  // namespace jobshaper
