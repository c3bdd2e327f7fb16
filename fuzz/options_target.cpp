// The option string: parsing, placeholders, and the header made from it.
//
// Input: the option string, a user name, the rest is ignored.

#include <cups/cups.h>

#include "fuzz/support.h"
#include "pjl/pjl_creation.h"
#include "settings/argument_store.h"
#include "settings/strings.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

namespace {

// One placeholder after the other, each from left to right.
std::string decoded(std::string value) {
  static constexpr struct {
    const char* text;
    char character;
  } kRows[] = {{"<27>", '\''}, {"<3D>", '='}, {"<20>", ' '},
               {"<2C>", ','},  {"<3C>", '<'}, {"<3E>", '>'}};
  for (const auto& row : kRows) {
    std::string next;
    for (std::size_t i = 0; i < value.size();) {
      const bool here = equalsIgnoringCase(std::string_view(value).substr(i, 4), row.text);
      next += here ? row.character : value[i];
      i += here ? 4 : 1;
    }
    value = next;
  }
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  switchLogOff();
  Input input(data, size);
  const std::string options = input.cText();
  const std::string user = input.text();
  argumentStore store;
  store.initWithOptionString(options.c_str());
  FUZZ_CHECK(store.count() == store.keyEnumerator().size());

  cups_option_t* parsed = nullptr;
  const int n = cupsParseOptions(options.c_str(), 0, &parsed);
  for (int i = n - 1; i >= 0; --i) {
    const auto option = store.keyEnumerator().find(parsed[i].name);
    FUZZ_CHECK(option != store.keyEnumerator().end());
    // Each name occurs once, ignoring case: a later value has replaced the earlier one.
    FUZZ_CHECK(option->second == decoded(parsed[i].value));
  }
  FUZZ_CHECK(store.count() == static_cast<std::size_t>(n));
  cupsFreeOptions(n, parsed);

  pjlCreation header;
  header.initFromArgsStore(store, user, "");
  FUZZ_CHECK(header.count() >= 7);
  FUZZ_CHECK(header.itemAtIndex(0) == "\x1b%-12345X@PJL JOB\n");
  FUZZ_CHECK(header.objectEnumerator().back() == "@PJL ENTER LANGUAGE = POSTSCRIPT\n");
  for (const std::string& line : header.objectEnumerator()) FUZZ_CHECK(line.ends_with('\n'));
  return 0;
}
