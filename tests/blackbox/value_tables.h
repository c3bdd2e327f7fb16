// What is sent for each value of an option, and how several options are tested in one job.
#pragma once

#include <algorithm>

#include "tests/support/program.h"

namespace jobshaper::testing {

// The parts between separators; one part, if there is none.
inline std::vector<std::string> split(std::string text, std::string_view separator) {
  std::vector<std::string> parts;
  for (std::size_t end; (end = text.find(separator)) != text.npos;) {
    parts.push_back(text.substr(0, end));
    text.erase(0, end + separator.size());
  }
  parts.push_back(text);
  return parts;
}

// The lines for a color or a black model of the generic driver.
inline const std::string kColorLines =
    "@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n";
inline const std::string kBlackLines =
    "@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n";

// The lines for job accounting.
inline std::string accountingLines(const std::string& user, const std::string& account,
                                   const std::string& department) {
  return "@PJL SET QJOBCREDUSERNAME = \"" + user + "\"\n@PJL SET QJOBCREDACCOUNTID = \"" + account +
         "\"\n@PJL SET QJOBCREDDEPTID = \"" + department + "\"\n";
}

// The lines that are sent for each value of an option. Lists of values are separated by ", ", and
// values are written as in an option string.
class ValueTable {
 public:
  struct Row {
    std::string setter, options, lines;
  };

  // `setter` is the one of pjlLines that sends the lines, or "" for lines of the header. `rows` is
  // "VALUES: TEXT; VALUES: TEXT", and each value sets the PJL variable to its text. The values in
  // `ignored` send nothing.
  ValueTable(std::string option, std::string setter, const std::string& variable,
             const std::string& rows, const std::string& ignored = "")
      : option_(std::move(option)), setter_(std::move(setter)) {
    for (const std::string& row : split(rows, "; ")) {
      const std::size_t colon = row.rfind(": ");
      sends(row.substr(0, colon), "@PJL SET " + variable + " = " + row.substr(colon + 2) + "\n");
    }
    if (!ignored.empty()) sends(ignored, "");
  }
  explicit ValueTable(std::string option) : option_(std::move(option)) {}

  ValueTable& sends(const std::string& values, const std::string& lines) {
    for (const std::string& value : split(values, ", ")) given(option_ + "=" + value, lines);
    return *this;
  }
  // A row for any options.
  ValueTable& given(const std::string& options, const std::string& lines) {
    rows_.push_back({setter_, options, lines});
    return *this;
  }

  const std::string& option() const { return option_; }
  const std::string& setter() const { return setter_; }
  std::size_t size() const { return rows_.size(); }
  Row row(std::size_t i) const { return i < size() ? rows_[i] : Row{setter_, "", ""}; }

 private:
  std::string option_, setter_;
  std::vector<Row> rows_;
};

// The rows of jobs that take one row of each table; every row is in one job. Rows that two tables
// share are in different jobs, so that a mix-up of their options shows.
inline std::vector<std::vector<ValueTable::Row>> combined(const std::vector<ValueTable>& tables) {
  std::size_t count = 0;
  for (const ValueTable& table : tables) count = std::max(count, table.size());
  std::vector<std::vector<ValueTable::Row>> jobs(count);
  for (std::size_t i = 0; i < count; ++i) {
    for (const ValueTable& table : tables) {
      jobs[i].push_back(table.row((i + jobs[i].size()) % count));
    }
  }
  return jobs;
}

}  // namespace jobshaper::testing
