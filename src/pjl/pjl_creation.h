// The PJL header of a job: complete lines built from the job's options, in the order in which
// the printer is to receive them.
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

// Universal Exit Language: the escape that brings the printer back to PJL from whatever
// language it is in.
inline constexpr std::string_view kUniversalExitLanguage = "\x1b%-12345X";

// What ends the PJL job that a header has begun. `exitString` is Universal Exit Language.
std::string pjlTrailer(std::string_view exitString);

// Lines are only ever appended. Option values go into them as they stand: neither quotes nor
// line ends in a value are escaped.
class pjlCreation {
 public:
  // Builds the whole header, from job start to the switch into PostScript. Comes before every
  // other call. `argsStore` is referred to, not copied; it must outlive the builder.
  void initFromArgsStore(const argumentStore& argsStore, std::string_view userID,
                         std::string_view jobName);

  // The three lines that charge the job to a user, an account and a department, converted to
  // UTF-8; an absent option gives its empty form.
  void addJobAcctgLines(const argumentStore& argsStore);

  // Color model and render mode, which the maker's generic driver leaves to the filter.
  void addQvnGenericDrvCommands(const argumentStore& argsStore, std::string_view jobName);

  void setDuplicateHeldJobs();

  // Settings beyond the header, for callers that want them, in any order: each reads its option
  // and appends its lines after everything else. An absent option, the value "PrinterS" (the
  // printer's own setting stands) and a value that the printer does not know append nothing,
  // unless remarked here.
  void setCopies();  // any value, read as a number: "PrinterS" gives 0
  void setRotatePaper();
  void setPaperSize();  // an unknown size is a custom size

  // Width and height in points with an "x" between them, "612x792", sent in inches. Without an
  // "x" nothing is appended; without a size that is reported on standard error.
  void setCustomPaper(std::optional<std::string_view> size);

  void setMediaType();  // an unknown type is passed on by name
  void setPaperSource();
  void setOutputBin();
  void setTonerDarkness();  // an unknown value is passed on
  void setPictureGrade();
  void setSeparatorPage();
  void setSeparatorSource();
  void setOffsetPage();
  void setCyan();  // the four balances pass on any value
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
  void setBrightness();  // these three pass on any value
  void setContrast();
  void setSaturation();
  void setImageSmoothing();
  void setLineDetail();
  void setCollation();  // any value but "true", even "PrinterS", switches collation off
  void setResolution();

  // Appends the number of copies behind everything else, the language switch included.
  void insertNumCopies(std::int32_t copies);

  std::size_t count() const { return pjlLines_.size(); }
  const std::string& itemAtIndex(std::uint32_t index) const { return pjlLines_[index]; }
  const std::vector<std::string>& objectEnumerator() const { return pjlLines_; }

 private:
  using Value = std::optional<std::string_view>;

  void append(std::string_view line) { pjlLines_.emplace_back(line); }
  void appendJoined(std::initializer_list<std::string_view> parts);  // one line
  // The lines of the value's row; false when it has none.
  bool appendRow(std::span<const OptionRow> rows, std::string_view value);
  void appendFromTable(std::string_view option, std::span<const OptionRow> rows);
  // For a table of values alone: `lineStart` is the line up to the value.
  void appendFromTable(std::string_view option, std::string_view lineStart,
                       std::span<const OptionRow> rows);
  void appendPassedOn(std::string_view option, std::string_view lineStart);

  // The option's value; none when the printer's own setting is to stand.
  Value requested(std::string_view option) const;

  void appendJobIdentity(std::string_view userID, std::string_view jobName);
  void appendBlankPages();
  void appendSmallFontEnhancer();
  void appendSingleCopy();
  void appendJobRetention();

  std::vector<std::string> pjlLines_;
  const argumentStore* ticketData_ = nullptr;
};

}  // namespace jobshaper
