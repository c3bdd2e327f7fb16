// Tables that map an option's value to what is sent to the printer, and the function that searches
// them.
#pragma once

#include <span>
#include <string_view>

#include "settings/option_names.h"
#include "settings/strings.h"

namespace jobshaper {

enum class Match { exact, ignoringCase };

// One row of a table. `sent` holds whole PJL lines, each with its "\n".
struct OptionRow {
  std::string_view value;
  std::string_view sent;
  Match match = Match::exact;
};

// The first row for this value; null if there is none.
constexpr const OptionRow* findRow(std::span<const OptionRow> rows, std::string_view value) {
  for (const OptionRow& row : rows) {
    const bool matches =
        row.match == Match::exact ? value == row.value : equalsIgnoringCase(value, row.value);
    if (matches) return &row;
  }
  return nullptr;
}

// The rows for the values of an option, which may have several tables. In rows that several PJL
// variables share, each line lacks its `lineStart`. A table without rows sends any value unchanged.
struct OptionTable {
  OptionName option;
  std::span<const OptionRow> rows;
  std::string_view lineStart = "";
};

// All tables of the header and of the other settings. Values are looked up only here.
extern const std::span<const OptionTable> kHeaderTables, kPaperTables, kQualityTables;

}  // namespace jobshaper
