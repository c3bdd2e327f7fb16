// The lines appended by the settings that are not part of the header, for the tests of their
// tables.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pjl/pjl_creation.h"
#include "settings/argument_store.h"

namespace jobshaper::testing {

using Options = std::vector<std::pair<std::string_view, std::string_view>>;
using Lines = std::vector<std::string>;
using Setter = void (pjlCreation::*)();

// Calls the setters in this order for a job with these options, and returns the lines that they
// append after the header. Fails the test if they change the header itself.
inline Lines appended(const Options& options, std::initializer_list<Setter> setters) {
  argumentStore store;
  for (const auto& [name, value] : options) store.addOption(name, value);
  pjlCreation builder;
  builder.initFromArgsStore(store, "ada", "");
  const Lines header = builder.objectEnumerator();
  for (const Setter setter : setters) (builder.*setter)();
  const Lines& all = builder.objectEnumerator();
  const auto end = all.begin() + static_cast<std::ptrdiff_t>(header.size());
  EXPECT_EQ(Lines(all.begin(), end), header);
  return Lines(end, all.end());
}

struct ExpectedRow {
  std::string_view value;
  Lines lines;
};

// Checks that the setter appends exactly these lines for each value of the option.
inline void expectRows(Setter setter, std::string_view option,
                       const std::vector<ExpectedRow>& rows) {
  for (const ExpectedRow& row : rows) {
    EXPECT_EQ(appended({{option, row.value}}, {setter}), row.lines) << option << "=" << row.value;
  }
}

// Checks that the setter appends nothing for these values, for "PrinterS" and without the option.
inline void expectNothing(Setter setter, std::string_view option,
                          const std::vector<std::string_view>& values) {
  EXPECT_EQ(appended({}, {setter}), Lines()) << "without " << option;
  EXPECT_EQ(appended({{option, "PrinterS"}}, {setter}), Lines()) << option << "=PrinterS";
  for (const std::string_view value : values) {
    EXPECT_EQ(appended({{option, value}}, {setter}), Lines()) << option << "=" << value;
  }
}

}  // namespace jobshaper::testing
