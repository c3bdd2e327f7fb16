#include "booklet/cover_queries.h"

#include <optional>

#include "diag/log.h"
#include "platform/text_encoding.h"

namespace jobshaper {

namespace {

// clang-format off
struct TrayRow {
  std::string_view name;
  std::int32_t code;
};

// The printer's own numbers: a tray and the envelope drawer in its place share one, and there
// is no 2.
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

// Letter case counts for what is printed, but not for whether there is a cover: the print
// dialog writes "true", and only that is taken as print on a face.
bool onlyInside(const argumentStore& jobOptions) {
  if (!equalsIgnoringCase(jobOptions.getValue("QVBookletCoverPage").value_or(""), "true")) {
    return false;
  }
  const Value outsideFront = jobOptions.getValue("QVOutsideFrontCover");
  const Value outsideBack = jobOptions.getValue("QVOutsideBackCover");
  const Value insideBack = jobOptions.getValue("QVInsideBackCover");
  const Value insideFront = jobOptions.getValue("QVInsideFrontCover");
  if (isFalse(outsideFront) && isFalse(outsideBack) && isFalse(insideBack) &&
      isFalse(insideFront)) {
    return false;
  }
  if (outsideFront == "true" || outsideBack == "true") return false;
  return !(insideBack == "true" && insideFront == "true");
}

}  // namespace

bool isOnlyPrintInside(const argumentStore& jobOptions) {
  LogInfoBody("isOnlyPrintInside", __LINE__, "{");
  const bool answer = onlyInside(jobOptions);
  LogInfoBody("isOnlyPrintInside", __LINE__, "}");
  return answer;
}

void setBookletSource(std::string_view sourceName, std::int32_t& code) {
  LogInfoBody("setBookletSource", __LINE__, "{");
  code = kCoverPrintersChoice;
  for (const TrayRow& row : kTrayRows) {
    if (sourceName == row.name) {
      code = row.code;
      break;
    }
  }
  LogInfoBody("setBookletSource", __LINE__, "}");
}

}  // namespace jobshaper
