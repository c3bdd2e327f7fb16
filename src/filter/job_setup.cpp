#include "filter/job_setup.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diag/log.h"
#include "platform/files.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

constexpr std::int32_t kLastVersionWithoutUsbPjl = 0x102F;

void readSystemVersion(JobState& job, const System& system) {
  version = system.version.value_or(0);
  job.usbPjlAllowed = system.version && version > kLastVersionWithoutUsbPjl;
}

void readDeviceUri(JobState& job) {
  const char* const uri = std::getenv("DEVICE_URI");
  if (uri && std::strlen(uri) > kLongestDeviceUri) {
    std::fputs("ERROR: DEVICE_URI is longer than 99 bytes.\n", stderr);
    std::abort();
  }
  job.deviceUri = uri ? uri : "(null)";
}

bool openInput(JobState& job, int argc, char* const argv[]) {
  if (argc == 6) {
    job.inputStream = STDIN_FILENO;
    return true;
  }
  job.inputFile = openForReading(argv[6]);
  job.inputStream = job.inputFile.get();
  if (job.inputFile.valid()) return true;
  std::fputs("ERROR: Cannot read the print job.\n", stderr);
  return false;
}

// The capture is on if the marker file exists in the temporary directory, whatever its content.
void startCapture(JobState& job) {
  if (::access((job.tempDirectory + "/qvn_log").c_str(), F_OK) != 0) return;
  std::fputs("INFO: Logging enabled by the user.\n", stderr);
  job.captureIn = createFile(job.tempDirectory + "/qvn_ps");
  if (!job.captureIn.valid()) {
    std::fputs("ERROR: Cannot write incoming print data to a log file.\n", stderr);
  }
  job.captureOut = createFile(job.tempDirectory + "/qvn_ps2");
  if (!job.captureOut.valid()) {
    std::fputs("ERROR: Cannot write outgoing print data to a log file.\n", stderr);
  }
  job.captureEnabled = true;
}

// Also logs the null pointer at the end, which shows that the argument vector is complete.
void logArguments(int argc, char* const argv[]) {
  for (int i = 0; i <= argc; ++i) {
    LogInfoBody("main", __LINE__, "ARGV[%d] = %s\n", i, argv[i] ? argv[i] : "(null)");
  }
}

// Returns whether there are any.
bool readPpdValues(JobState& job) {
  if (!job.additions.ppdKeywords) return initPPDValues(job.ppdValues);
  job.ppdValues.values = *job.additions.ppdKeywords;
  return !job.ppdValues.values.empty();
}

// With the generic driver, the header must tell the printer the color model.
void addGenericDriverOption(JobState& job) {
  bool isColor = false;
  if (readPpdValues(job) && isQvnGenericDriver(isColor, job.ppdValues)) {
    job.jobOptions.addOption("QVGeneric"_option, isColor ? "Color" : "Mono");
  }
}

}  // namespace

bool checkArguments(int argc) {
  if (argc == 6 || argc == 7) return true;
  std::fprintf(stderr,
               "ERROR: Version = %s \n\tjobshaper job-id user title copies options [file]\n",
               kFilterVersion);
  std::fputs("ERROR: Printer filter did not launch.\n", stderr);
  return false;
}

bool setUpJob(JobState& job, int argc, char* const argv[], const System& system) {
  job.uelString = kUniversalExitLanguage;
  job.jobIdString = argv[1];
  job.copiesArgument = argv[4];
  LogInfoBody("main", __LINE__, "{");
  readSystemVersion(job, system);
  readDeviceUri(job);
  if (!openInput(job, argc, argv)) return false;
  job.tempDirectory = temporaryDirectory();
  std::fprintf(stderr, "tmp at %s \n", job.tempDirectory.c_str());
  startCapture(job);
  logArguments(argc, argv);
  job.jobOptions.initWithOptionString(argv[5]);
  addGenericDriverOption(job);
  return true;
}

void logJobSummary(const JobState& job) {
  const std::string separator = "\n" + std::string(88, '=');
  LogInfoBody("main", __LINE__, "\n\nFilter version = %s\n", kFilterVersion);
  for (const auto& [name, value] : job.jobOptions.keyEnumerator()) {
    LogInfoBody("main", __LINE__, "%s\t%s", name.c_str(), value.c_str());
  }
  LogInfoBody("main", __LINE__, "%s", separator.c_str());
  LogInfoBody("main", __LINE__, "     URI for printer = %s", job.deviceUri.c_str());
  LogInfoBody("main", __LINE__, "%s", separator.c_str());
  for (const std::string& line : job.pjlHeader.objectEnumerator()) {
    LogInfoBody("main", __LINE__, "%s", line.c_str());
  }
}

}  // namespace jobshaper
