// The settings that are not part of the header.
//
// Input: the option string, a user name, a size, and then one byte per call of a setter.

#include <iterator>

#include "fuzz/support.h"
#include "pjl/pjl_creation.h"
#include "settings/argument_store.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

namespace {

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile nowhere;
  switchLogOff();
  Input input(data, size);
  argumentStore options;
  options.initWithOptionString(input.cText().c_str());
  const std::string user = input.text();
  const std::string paper = input.text();
  pjlCreation builder;
  builder.initFromArgsStore(options, user, "");
  const std::vector<std::string> header = builder.objectEnumerator();

  const Redirected quiet(2, nowhere.descriptor());
  // About one call per setter: a longer list would only repeat.
  for (const char setter : input.rest().substr(0, 64)) {
    const std::size_t before = builder.count();
    call(builder, options, static_cast<unsigned char>(setter), paper);
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
