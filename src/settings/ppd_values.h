// The two keywords that the filter needs from the printer's PPD file.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct _cups_file_s;

namespace jobshaper {

inline constexpr std::string_view kManualBookletKeyword = "*QvnManualBooklet";
inline constexpr std::string_view kGenericKeyword = "*QVGeneric";
inline constexpr std::string_view kPpdKeywords[] = {kManualBookletKeyword, kGenericKeyword};

struct CupsFileCloser {
  void operator()(_cups_file_s* file) const;
};

// Keyword, with its asterisk and in the spelling of getTheValue(), to value without double quotes.
using PpdKeywords = std::map<std::string, std::string, std::less<>>;

struct PPDValues {
  PpdKeywords values;
  // The PPD file, which stays open as long as this object lives.
  std::unique_ptr<_cups_file_s, CupsFileCloser> file;
};

// Reads the keywords from the file that the environment variable PPD names. Returns true when it
// stored at least one. Reports a file that cannot be opened on standard error and in the log.
bool initPPDValues(PPDValues& ppdValues);

// Stores the value if this line of a PPD file has one of the keywords. Returns whether it has.
bool storeKeyword(std::string_view line, PpdKeywords& values);

// Copies the value of `keyword`, such as "*QvnManualBooklet", to `value` and returns true. If the
// PPD does not have it, returns false and leaves `value` unchanged.
bool getTheValue(std::string_view keyword, std::string& value, const PPDValues& ppdValues);

// Returns whether the queue uses the generic driver, and sets `isColor` to whether it is the driver
// for color printers; to false if it is not the generic driver.
bool isQvnGenericDriver(bool& isColor, const PPDValues& ppdValues);

// The value of a PPD line "*Keyword: value": the text after the first colon and any blanks, up to
// the line end, without double quotes. "" if there is no text; no value if the line has no colon or
// is not valid UTF-8.
std::optional<std::string> ppdLineValue(std::string_view line);

}  // namespace jobshaper
