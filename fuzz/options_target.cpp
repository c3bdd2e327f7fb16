// The option string: parsing, placeholders, the header made from it, and the settings that are not
// part of the header.
//
// Input: the option string, a user name, a size, and then one byte per call of a setter.

#include <cups/cups.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

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

using Setter = void (pjlCreation::*)();
constexpr Setter kSetters[] = {
    &pjlCreation::setCopies,
    &pjlCreation::setRotatePaper,
    &pjlCreation::setPaperSize,
    &pjlCreation::setMediaType,
    &pjlCreation::setPaperSource,
    &pjlCreation::setOutputBin,
    &pjlCreation::setTonerDarkness,
    &pjlCreation::setPictureGrade,
    &pjlCreation::setSeparatorPage,
    &pjlCreation::setSeparatorSource,
    &pjlCreation::setOffsetPage,
    &pjlCreation::setCyan,
    &pjlCreation::setMagenta,
    &pjlCreation::setYellow,
    &pjlCreation::setBlack,
    &pjlCreation::setColorCorrection,
    &pjlCreation::setGrayCorrection,
    &pjlCreation::setManualRGBImage,
    &pjlCreation::setManualRGBText,
    &pjlCreation::setManualRGBGraphics,
    &pjlCreation::setManualCMYK,
    &pjlCreation::setColorSaver,
    &pjlCreation::setBlackAndWhite,
    &pjlCreation::setBrightness,
    &pjlCreation::setContrast,
    &pjlCreation::setSaturation,
    &pjlCreation::setImageSmoothing,
    &pjlCreation::setLineDetail,
    &pjlCreation::setCollation,
    &pjlCreation::setResolution,
    &pjlCreation::setDuplicateHeldJobs,
};

void call(pjlCreation& header, const argumentStore& options, unsigned setter,
          std::string_view size) {
  const std::size_t beyond = setter % (std::size(kSetters) + 5);
  if (beyond < std::size(kSetters)) return (header.*kSetters[beyond])();
  switch (beyond - std::size(kSetters)) {
    case 0:
      return header.setCustomPaper(size);
    case 1:
      return header.setCustomPaper(std::nullopt);
    case 2:
      return header.insertNumCopies(static_cast<std::int32_t>(size.size()) - 3);
    case 3:
      return header.addJobAcctgLines(options);
    default:
      return header.addQvnGenericDrvCommands(options, size);
  }
}

void checkStore(const argumentStore& store, const std::string& options) {
  cups_option_t* parsed = nullptr;
  const int n = cupsParseOptions(options.c_str(), 0, &parsed);
  // Each name occurs once, ignoring case: a later value has replaced the earlier one.
  FUZZ_CHECK(store.count() == static_cast<std::size_t>(n));
  FUZZ_CHECK(store.count() == store.keyEnumerator().size());
  for (int i = 0; i < n; ++i) {
    const auto option = store.keyEnumerator().find(parsed[i].name);
    FUZZ_CHECK(option != store.keyEnumerator().end());
    FUZZ_CHECK(option->second == decoded(parsed[i].value));
  }
  cupsFreeOptions(n, parsed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile nowhere;
  switchLogOff();
  Input input(data, size);
  const std::string options = input.cText();
  const std::string user = input.text();
  const std::string paper = input.text();
  argumentStore store;
  store.initWithOptionString(options.c_str());
  checkStore(store, options);

  pjlCreation builder;
  builder.initFromArgsStore(store, user, "");
  const std::vector<std::string> header = builder.objectEnumerator();
  FUZZ_CHECK(header.size() >= 7);
  FUZZ_CHECK(header.front() == "\x1b%-12345X@PJL JOB\n");
  FUZZ_CHECK(header.back() == "@PJL ENTER LANGUAGE = POSTSCRIPT\n");
  for (const std::string& line : header) FUZZ_CHECK(line.ends_with('\n'));

  const Redirected quiet(STDERR_FILENO, nowhere.descriptor());
  // About one call per setter: a longer list would only repeat.
  for (const char setter : input.rest().substr(0, 64)) {
    const std::size_t before = builder.count();
    call(builder, store, static_cast<unsigned char>(setter), paper);
    FUZZ_CHECK(builder.count() <= before + 4);
    for (std::size_t i = before; i < builder.count(); ++i) {
      const std::string& line = builder.itemAtIndex(static_cast<std::uint32_t>(i));
      FUZZ_CHECK(line.starts_with("@PJL SET ") && line.ends_with('\n'));
    }
  }
  nowhere.take();
  FUZZ_CHECK(std::equal(header.begin(), header.end(), builder.objectEnumerator().begin()));
  return 0;
}
