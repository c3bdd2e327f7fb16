#include "booklet/cover_queries.h"

#include <optional>

#include "diag/log.h"
#include "settings/option_names.h"
#include "settings/strings.h"

namespace jobshaper {

namespace {

// clang-format off
// The printer's own numbers. A tray and the envelope drawer that can replace it have the same one;
// 2 is not used.
constexpr TrayRow kTrayRows[] = {
    {"Tray1",              0},
    {"Tray2",              1},
    {"EnvDrawr2",          1},
    {"Tray3",              3},
    {"EnvDrawr3",          3},
    {"Tray4",              5},
    {"EnvDrawr4",          5},
    {"Tray5",              6},
    {"MultipurposeFeeder", 4},
    {"ManualPaper",        kCoverManualFeed},
};
// clang-format on

using Value = std::optional<std::string_view>;

bool isFalse(Value face) { return equalsIgnoringCase(face.value_or("False"), "false"); }

}  // namespace

constexpr std::span<const TrayRow> kCoverTrays = kTrayRows;

// The test for a cover ignores case. The tests for its faces do not: only "true", which the print
// dialog writes, means that a face is printed.
bool isOnlyPrintInside(const argumentStore& jobOptions) {
  const TraceScope trace("isOnlyPrintInside");
  if (!equalsIgnoringCase(jobOptions.getValue("QVBookletCoverPage"_option).value_or(""), "true")) {
    return false;
  }
  const Value outsideFront = jobOptions.getValue("QVOutsideFrontCover"_option);
  const Value outsideBack = jobOptions.getValue("QVOutsideBackCover"_option);
  const Value insideBack = jobOptions.getValue("QVInsideBackCover"_option);
  const Value insideFront = jobOptions.getValue("QVInsideFrontCover"_option);
  if (isFalse(outsideFront) && isFalse(outsideBack) && isFalse(insideBack) &&
      isFalse(insideFront)) {
    return false;
  }
  if (outsideFront == "true" || outsideBack == "true") return false;
  return !(insideBack == "true" && insideFront == "true");
}

void setBookletSource(std::string_view sourceName, std::int32_t& code) {
  const TraceScope trace("setBookletSource");
  code = kCoverPrintersChoice;
  for (const TrayRow& row : kTrayRows) {
    if (sourceName == row.name) {
      code = row.code;
      break;
    }
  }
}

}  // namespace jobshaper
