#include "pjl/pjl_creation.h"

#include <algorithm>

#include "diag/log.h"
#include "platform/system.h"
#include "platform/text_encoding.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

// clang-format off
constexpr OptionRow kBlankPageRows[] = {
    {"true",  "@PJL SET QBLANKPAGES = PRINT\n",      Match::ignoringCase},
    {"false", "@PJL SET QBLANKPAGES = DONOTPRINT\n", Match::ignoringCase},
};

constexpr OptionRow kSmallFontRows[] = {
    {"false",              "@PJL SET QSMALLFONTENHANCER = OFF\n", Match::ignoringCase},
    {"Fonts",              "@PJL SET QSMALLFONTENHANCER = ON\n"},  // this and the rest match case
    {"QvnPixelBoostFonts", "@PJL SET QSMALLFONTENHANCER = ON\n"},
    {"Horizontally",       "@PJL SET QSMALLFONTENHANCER = FULLPAGE\n"},
    {"FontsAndImages",     "@PJL SET QSMALLFONTENHANCER = FULLPAGE\n"},
    {"Vertically",         "@PJL SET QSMALLFONTENHANCER = FULLPAGE2\n"},
    {"FontsAndImages2",    "@PJL SET QSMALLFONTENHANCER = FULLPAGE2\n"},
};

// Job retention: how the printer keeps a job instead of printing it at once.
constexpr OptionRow kHoldRows[] = {
    {"JRConf",    "@PJL SET HOLD = ON\n"    "@PJL SET HOLDTYPE = PRIVATE\n"},  // the key follows
    {"JRRepeat",  "@PJL SET HOLD = ON\n"    "@PJL SET HOLDTYPE = PUBLIC\n"},
    {"JRReserve", "@PJL SET HOLD = STORE\n" "@PJL SET HOLDTYPE = PUBLIC\n"},
    {"JRVerify",  "@PJL SET HOLD = PROOF\n" "@PJL SET HOLDTYPE = PUBLIC\n"},
};

struct AccountingRow {
  OptionName option;
  std::string_view lineStart;
};

constexpr AccountingRow kAccountingRows[] = {
    {"JAUSERID"_option,  "@PJL SET QJOBCREDUSERNAME = \""},
    {"JAACCTNUM"_option, "@PJL SET QJOBCREDACCOUNTID = \""},
    {"JADEPTNUM"_option, "@PJL SET QJOBCREDDEPTID = \""},
};

constexpr OptionTable kTables[] = {
    {"QvnBlankPage"_option,   kBlankPageRows},
    {"QvnDoubleStomp"_option, kSmallFontRows},
    {"QvnPixelBoost"_option,  kSmallFontRows},
    {"PrintTo"_option,        kHoldRows},
};
// clang-format on

}  // namespace

constexpr std::span<const OptionTable> kHeaderTables = kTables;

std::string pjlTrailer(std::string_view exitString) {
  std::string trailer;
  // Twice in a row: the first one ends PostScript, the second one starts PJL.
  trailer.append(exitString).append(exitString);
  trailer += "@PJL RDYMSG DISPLAY = \"\"\n";
  trailer += "@PJL EOJ\n";
  trailer += "@PJL QPORTROTATE\n";
  return trailer.append(exitString);
}

void pjlCreation::initFromArgsStore(const argumentStore& argsStore, std::string_view userID,
                                    std::string_view jobName, std::span<const Setter> settings) {
  const TraceScope trace("-[pjlCreation initFromArgsStore:userID:jobName:]");
  pjlLines_.reserve(40);
  ticketData_ = &argsStore;
  appendJobIdentity(userID, jobName);
  appendBlankPages();
  appendSmallFontEnhancer();
  appendSingleCopy();
  appendJobRetention();
  if (argsStore.getValue("JAUSERID"_option)) addJobAcctgLines(argsStore);
  addQvnGenericDrvCommands(argsStore, jobName);
  for (const Setter setter : settings) (this->*setter)();
  append("@PJL ENTER LANGUAGE = POSTSCRIPT\n");
}

void pjlCreation::appendJobIdentity(std::string_view userID, std::string_view jobName) {
  const std::string_view userName = ticketData_->getValue("JRUSERNAME"_option).value_or(userID);
  appendJoined({kUniversalExitLanguage, "@PJL JOB\n"});
  append("@PJL COMMENT Quorvan Macintosh driver\n");
  append("@PJL SET STRINGCODESET = UTF8\n");
  appendJoined({"@PJL QJOBINFO USERID = \"", userID, "\" HOSTID = \"", hostName(), "\"\n"});
  appendJoined({"@PJL SET JOBNAME = \"", jobName, "\"\n"});
  appendJoined({"@PJL SET USERNAME = \"", userName, "\"\n"});
}

void pjlCreation::appendBlankPages() { appendFromTable("QvnBlankPage"_option); }

// Two generations of drivers have different names for the setting. If both options are given, the
// first wins, even with an unknown value. "PrinterS" is not in the table, so it sends nothing.
void pjlCreation::appendSmallFontEnhancer() {
  Value value = ticketData_->getValue("QvnDoubleStomp"_option);
  if (!value) value = ticketData_->getValue("QvnPixelBoost"_option);
  if (value) appendRow("QvnPixelBoost"_option, *value);
}

// Only a single copy is set in the header; the job itself asks for more.
void pjlCreation::appendSingleCopy() {
  if (ticketData_->getValue(kCopiesOption) == "1") {
    append("@PJL SET COPIES = 1\n");
  }
}

void pjlCreation::appendJobRetention() {
  const Value mode = ticketData_->getValue("PrintTo"_option);
  if (!mode || *mode == "JRPrinter") return;  // print now
  appendRow("PrintTo"_option, *mode);
  if (*mode == "JRConf") {
    const std::string_view key = ticketData_->getValue("JRHOLDKEY"_option).value_or("(null)");
    appendJoined({"@PJL SET HOLDKEY = \"", key, "\"\n"});
  }
  setDuplicateHeldJobs();  // for an unknown mode too
}

void pjlCreation::addJobAcctgLines(const argumentStore& argsStore) {
  const TraceScope trace("-[pjlCreation addJobAcctgLines:]");
  for (const AccountingRow& row : kAccountingRows) {
    const std::string_view value = argsStore.getValue(row.option).value_or("");
    appendJoined({row.lineStart, utf8FromMacRoman(value), "\"\n"});
  }
}

void pjlCreation::addQvnGenericDrvCommands(const argumentStore& argsStore,
                                           std::string_view /*jobName*/) {
  const Value model = argsStore.getValue("QVGeneric"_option);
  if (!model) return;
  const bool color = *model == "Color";
  // The two blanks before "=" are intentional: this is what the printers have always received.
  append(color ? "@PJL SET QCOLORMODEL = CMYK\n" : "@PJL SET QCOLORMODEL = BLACK\n");
  append(color ? "@PJL SET RENDERMODE  = COLOR\n" : "@PJL SET RENDERMODE  = GRAYSCALE\n");
}

void pjlCreation::setDuplicateHeldJobs() { append("@PJL SET QDUPLICATEHELDJOBS = SAVE\n"); }

void pjlCreation::insertNumCopies(std::int32_t copies) {
  append("@PJL SET COPIES = " + std::to_string(copies) + "\n");
}

pjlCreation::Value pjlCreation::requested(OptionName option) const {
  const Value value = ticketData_->getValue(option);
  return value == "PrinterS" ? std::nullopt : value;
}

void pjlCreation::appendJoined(std::initializer_list<std::string_view> parts) {
  std::string& line = pjlLines_.emplace_back();
  for (const std::string_view part : parts) line.append(part);
}

bool pjlCreation::appendRow(OptionName option, std::string_view value) {
  for (const auto tables : {kHeaderTables, kPaperTables, kQualityTables}) {
    for (const OptionTable& table : tables) {
      if (table.option != option) continue;
      if (table.rows.empty()) {
        appendJoined({table.lineStart, value, "\n"});
        return true;
      }
      const OptionRow* const row = findRow(table.rows, value);
      if (!row) continue;
      for (std::string_view rest = row->sent; !rest.empty();) {
        const std::size_t length = std::min(rest.find('\n'), rest.size() - 1) + 1;
        appendJoined({table.lineStart, rest.substr(0, length)});
        rest.remove_prefix(length);
      }
      return true;
    }
  }
  return false;
}

void pjlCreation::appendFromTable(OptionName option) {
  if (const Value value = requested(option)) appendRow(option, *value);
}

}  // namespace jobshaper
