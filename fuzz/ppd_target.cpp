// A PPD file: its two keywords.
//
// Input: the file.

#include <cstdlib>

#include "fuzz/support.h"
#include "platform/text_encoding.h"
#include "settings/ppd_values.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = fileInDirectory("printer.ppd");
  switchLogOff();
  const std::string_view file(reinterpret_cast<const char*>(data), size);
  writeFile(path, file);
  setenv("PPD", path.c_str(), 1);

  const int free = lowestFreeDescriptor();
  {
    PPDValues values;
    const bool anyStored = initPPDValues(values);
    FUZZ_CHECK(values.file || file.empty());  // an empty file is not opened
    FUZZ_CHECK(anyStored == !values.values.empty());
    for (const auto& [keyword, value] : values.values) {
      FUZZ_CHECK(keyword == "*QVGeneric" || keyword == "*QvnManualBooklet");
      FUZZ_CHECK(!value.empty() && value.find_first_of("\"\r\n\v\f") == value.npos);
      FUZZ_CHECK(isValidUtf8(value));
    }
    bool isColor = true;
    std::string value;
    const bool generic = isQvnGenericDriver(isColor, values);
    FUZZ_CHECK(generic == getTheValue("*QVGeneric", value, values));
    FUZZ_CHECK(isColor == (generic && value == "Color"));
  }
  FUZZ_CHECK(lowestFreeDescriptor() == free);

  // The file as a single line, which is longer than any that the reader above returns.
  if (const auto value = ppdLineValue(file)) {
    FUZZ_CHECK(isValidUtf8(*value));
    FUZZ_CHECK(value->find_first_of("\"\r\n\v\f") == value->npos);
    FUZZ_CHECK(file.find(':') != file.npos);
  }
  return 0;
}
