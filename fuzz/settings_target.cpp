// The settings file of the diagnostic log, and the log that it turns on.
//
// Input: the file.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "diag/debug_log.h"
#include "diag/debug_session.h"
#include "diag/log_settings.h"
#include "fuzz/sandbox.h"
#include "fuzz/support.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

namespace {

std::string prepareDirectory() {
  setenv("TMPDIR", directory().c_str(), 1);
  mkdir(fileInDirectory("Debug").c_str(), 0700);
  mkdir(fileInDirectory("Debug/.DebugPlist").c_str(), 0700);
  return fileInDirectory("Debug/.DebugPlist/qvDebug.plist");
}

void readAlone() {
  LogSettings settings;
  const bool isList = settings.read(directory());
  FUZZ_CHECK(isList == (settings.root() != nullptr));
  const auto level = settings.entryInteger("debugLevel");
  const auto name = settings.entryString("debugFile");
  if (level || name) FUZZ_CHECK(settings.hasEntry());
  if (!isList) FUZZ_CHECK(!settings.hasEntry() && !settings.traceAll());
}

void logSomething(std::string_view bytes) {
  const std::string text(bytes.substr(0, 300));
  LogInfoBody("main", 1, "%s", text.c_str());
  LogErrorBody("main", 2, "%d %s", 7, text.c_str());
  LogFileAccessBody("main", 3, "/nonexistent");
  dumpDataBody("main", 4, "data", text);
  dumpDictBody("main", 5, "none", nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = prepareDirectory();
  static const std::string firstLine = "tmp at " + directory() + " \n";
  static MemoryFile messages;
  const std::string_view file(reinterpret_cast<const char*>(data), size);
  writeFile(path, file);

  const int free = lowestFreeDescriptor();
  readAlone();
  FUZZ_CHECK(lowestFreeDescriptor() == free);

  const Sandbox sandbox;
  resetLog();
  {
    const Redirected caught(STDERR_FILENO, messages.descriptor());
    setupDebug();
    FUZZ_CHECK((logDebugLevel == 0) == (logDebugFilePtr == nullptr));
    logSomething(file);
  }
  resetLog();
  FUZZ_CHECK(lowestFreeDescriptor() == free);
  const std::string_view said = messages.take();
  FUZZ_CHECK(said == firstLine || said == firstLine + "ERROR: Unable to open log file\n");
  return 0;
}
