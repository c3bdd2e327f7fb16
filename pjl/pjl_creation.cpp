#include "pjl/pjl_creation.h"

#include <initializer_list>
#include <optional>

#include "diag/log.h"
#include "platform/system.h"
#include "platform/text_encoding.h"

namespace jobshaper {

namespace {

using Value = std::optional<std::string_view>;

enum class Match { exact, ignoringCase };

// One value of an option and the line that it puts into the header; "" for none.
struct Row {
  std::string_view value;
  std::string_view line;
  Match match = Match::exact;
};

// clang-format off
constexpr Row kBlankPageRows[] = {
    {"true",  "@PJL SET QBLANKPAGES = PRINT\n",      Match::ignoringCase},
    {"false", "@PJL SET QBLANKPAGES = DONOTPRINT\n", Match::ignoringCase},
};

constexpr Row kSmallFontRows[] = {
    {"PrinterS",           ""},  // the printer's own setting stands
    {"false",              "@PJL SET QSMALLFONTENHANCER = OFF\n", Match::ignoringCase},
    {"Fonts",              "@PJL SET QSMALLFONTENHANCER = ON\n"},
    {"QvnPixelBoostFonts", "@PJL SET QSMALLFONTENHANCER = ON\n"},
    {"Horizontally",       "@PJL SET QSMALLFONTENHANCER = FULLPAGE\n"},
    {"FontsAndImages",     "@PJL SET QSMALLFONTENHANCER = FULLPAGE\n"},
    {"Vertically",         "@PJL SET QSMALLFONTENHANCER = FULLPAGE2\n"},
    {"FontsAndImages2",    "@PJL SET QSMALLFONTENHANCER = FULLPAGE2\n"},
};

// Job retention: how the printer keeps a job that is not printed at once.
struct HoldRow {
  std::string_view value;
  std::string_view hold;
  std::string_view type;
};

constexpr HoldRow kHoldRows[] = {
    {"JRConf",    "@PJL SET HOLD = ON\n",    "@PJL SET HOLDTYPE = PRIVATE\n"},  // needs the key
    {"JRRepeat",  "@PJL SET HOLD = ON\n",    "@PJL SET HOLDTYPE = PUBLIC\n"},
    {"JRReserve", "@PJL SET HOLD = STORE\n", "@PJL SET HOLDTYPE = PUBLIC\n"},
    {"JRVerify",  "@PJL SET HOLD = PROOF\n", "@PJL SET HOLDTYPE = PUBLIC\n"},
};

struct AccountingRow {
  std::string_view option;
  std::string_view variable;
};

constexpr AccountingRow kAccountingRows[] = {
    {"JAUSERID",  "@PJL SET QJOBCREDUSERNAME = \""},
    {"JAACCTNUM", "@PJL SET QJOBCREDACCOUNTID = \""},
    {"JADEPTNUM", "@PJL SET QJOBCREDDEPTID = \""},
};
// clang-format on

template <std::size_t n>
std::string_view lineOf(const Row (&rows)[n], std::string_view value) {
  for (const Row& row : rows) {
    const bool matches =
        row.match == Match::exact ? value == row.value : equalsIgnoringCase(value, row.value);
    if (matches) return row.line;
  }
  return "";
}

std::string concatenated(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text.append(part);
  return text;
}

}  // namespace

void pjlCreation::initFromArgsStore(const argumentStore& argsStore, std::string_view userID,
                                    std::string_view jobName) {
  constexpr char kMethod[] = "-[pjlCreation initFromArgsStore:userID:jobName:]";
  pjlLines_.reserve(40);
  LogInfoBody(kMethod, __LINE__, "{");
  ticketData_ = &argsStore;
  appendJobIdentity(userID, jobName);
  appendBlankPages();
  appendSmallFontEnhancer();
  appendSingleCopy();
  appendJobRetention();
  if (argsStore.getValue("JAUSERID")) addJobAcctgLines(argsStore);
  addQvnGenericDrvCommands(argsStore, jobName);
  append("@PJL ENTER LANGUAGE = POSTSCRIPT\n");
  LogInfoBody(kMethod, __LINE__, "}");
}

void pjlCreation::appendJobIdentity(std::string_view userID, std::string_view jobName) {
  const std::string_view userName = ticketData_->getValue("JRUSERNAME").value_or(userID);
  append(concatenated({kUniversalExitLanguage, "@PJL JOB\n"}));
  append("@PJL COMMENT Quorvan Macintosh driver\n");
  append("@PJL SET STRINGCODESET = UTF8\n");
  append(concatenated({"@PJL QJOBINFO USERID = \"", userID, "\" HOSTID = \"", hostName(), "\"\n"}));
  append(concatenated({"@PJL SET JOBNAME = \"", jobName, "\"\n"}));
  append(concatenated({"@PJL SET USERNAME = \"", userName, "\"\n"}));
}

void pjlCreation::appendBlankPages() {
  const Value value = ticketData_->getValue("QvnBlankPage");
  const std::string_view line = value ? lineOf(kBlankPageRows, *value) : "";
  if (!line.empty()) append(line);
}

// Two generations of drivers name the setting differently; the first name that is present
// decides, whatever the other holds.
void pjlCreation::appendSmallFontEnhancer() {
  Value value = ticketData_->getValue("QvnDoubleStomp");
  if (!value) value = ticketData_->getValue("QvnPixelBoost");
  const std::string_view line = value ? lineOf(kSmallFontRows, *value) : "";
  if (!line.empty()) append(line);
}

// Only one copy is asked for here; more copies come from the job itself.
void pjlCreation::appendSingleCopy() {
  if (ticketData_->getValue("com.apple.print.PrintSettings.PMCopies..n.") == "1") {
    append("@PJL SET COPIES = 1\n");
  }
}

void pjlCreation::appendJobRetention() {
  const Value mode = ticketData_->getValue("PrintTo");
  if (!mode || *mode == "JRPrinter") return;  // print now
  for (const HoldRow& row : kHoldRows) {
    if (*mode != row.value) continue;
    append(row.hold);
    append(row.type);
    if (row.value == "JRConf") {
      const std::string_view key = ticketData_->getValue("JRHOLDKEY").value_or("(null)");
      append(concatenated({"@PJL SET HOLDKEY = \"", key, "\"\n"}));
    }
  }
  setDuplicateHeldJobs();  // for an unknown mode too
}

void pjlCreation::addJobAcctgLines(const argumentStore& argsStore) {
  constexpr char kMethod[] = "-[pjlCreation addJobAcctgLines:]";
  LogInfoBody(kMethod, __LINE__, "{");
  for (const AccountingRow& row : kAccountingRows) {
    const std::string_view value = argsStore.getValue(row.option).value_or("");
    append(concatenated({row.variable, utf8FromMacRoman(value), "\"\n"}));
  }
  LogInfoBody(kMethod, __LINE__, "}");
}

void pjlCreation::addQvnGenericDrvCommands(const argumentStore& argsStore,
                                           std::string_view /*jobName*/) {
  const Value model = argsStore.getValue("QVGeneric");
  if (!model) return;
  const bool color = *model == "Color";
  // The two blanks before the second "=" are what the printers have always been sent.
  append(color ? "@PJL SET QCOLORMODEL = CMYK\n" : "@PJL SET QCOLORMODEL = BLACK\n");
  append(color ? "@PJL SET RENDERMODE  = COLOR\n" : "@PJL SET RENDERMODE  = GRAYSCALE\n");
}

void pjlCreation::setDuplicateHeldJobs() { append("@PJL SET QDUPLICATEHELDJOBS = SAVE\n"); }

void pjlCreation::insertNumCopies(std::int32_t copies) {
  append("@PJL SET COPIES = " + std::to_string(copies) + "\n");
}

}  // namespace jobshaper
