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

struct CupsFileCloser {
  void operator()(_cups_file_s* file) const;
};

// PPD keyword with its asterisk, spelled as in the filter's own list, to value without
// double quotes.
struct PPDValues {
  std::map<std::string, std::string, std::less<>> values;
  // The PPD file stays open as long as its values.
  std::unique_ptr<_cups_file_s, CupsFileCloser> file;
};

// Fills the map from the file that the environment variable PPD names. True when at least one
// keyword was stored. A file that cannot be opened is reported on standard error.
bool initPPDValues(PPDValues& ppdValues);

// The value of `keyword` ("*QvnManualBooklet"). False, and `value` untouched, when the PPD
// does not have it.
bool getTheValue(std::string_view keyword, std::string& value, const PPDValues& ppdValues);

// True when the queue uses the maker's generic driver; `isColor` then tells its model, and is
// false otherwise.
bool isQvnGenericDriver(bool& isColor, const PPDValues& ppdValues);

// The value of a PPD line "*Keyword: value": what follows the first colon and the blanks
// behind it, up to a line end, without double quotes. "" when nothing follows. None for a line
// without a colon or not in UTF-8.
std::optional<std::string> ppdLineValue(std::string_view line);

}  // namespace jobshaper
