// The tables from an option's value to what the printer gets for it, and their one lookup.
#pragma once

#include <span>
#include <string_view>

#include "platform/text_encoding.h"

namespace jobshaper {

enum class Match { exact, ignoringCase };

// One row of a table. `sent` is whole lines, each with its "\n", as the printer gets them. Only
// where several variables take the same values does it hold the value alone; the table says so.
struct OptionRow {
  std::string_view value;
  std::string_view sent;
  Match match = Match::exact;
};

// The first row for this value; none when the printer has no such setting.
constexpr const OptionRow* findRow(std::span<const OptionRow> rows, std::string_view value) {
  for (const OptionRow& row : rows) {
    const bool matches =
        row.match == Match::exact ? value == row.value : equalsIgnoringCase(value, row.value);
    if (matches) return &row;
  }
  return nullptr;
}

}  // namespace jobshaper
