// Tables that map an option's value to what is sent to the printer, and the function that searches
// them.
#pragma once

#include <span>
#include <string_view>

#include "settings/strings.h"

namespace jobshaper {

enum class Match { exact, ignoringCase };

// One row of a table. `sent` holds whole PJL lines, each with its "\n". In a table that is shared
// by several PJL variables, which its comment names, it holds only the value.
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

}  // namespace jobshaper
