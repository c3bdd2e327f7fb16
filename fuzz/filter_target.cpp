// The whole filter, from its arguments to its exit status, one call after the other.
//
// Input: three settings (what exists, how the job is passed, the system), then the texts job id,
// user, copies, options, device URI, LANG, the PPD file, the log's settings file, the page-count
// file ("count" in the options), and the job.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "filter/job_filter.h"
#include "filter/trigger_search.h"
#include "fuzz/sandbox.h"
#include "fuzz/support.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

namespace {

constexpr std::string_view kTrailer =
    "\x1b%-12345X\x1b%-12345X@PJL RDYMSG DISPLAY = \"\"\n@PJL EOJ\n@PJL QPORTROTATE\n"
    "\x1b%-12345X";

// Nothing else may be written to standard error, since CUPS treats some lines as commands.
constexpr std::string_view kMessages[] = {
    "ERROR: Version = 3.9 ",
    "\tjobshaper job-id user title copies options [file]",
    "ERROR: Printer filter did not launch.",
    "ERROR: Cannot read the print job.",
    "INFO: Logging enabled by the user.",
    "ERROR: Cannot write incoming print data to a log file.",
    "ERROR: Cannot write outgoing print data to a log file.",
    "ERROR: Unable to open PPD file",
    "ERROR: Unable to open log file",
    "ERROR: Unable to create necessary file.",
    "ERROR: Critical error in rearranging pages.",
    "ERROR: Fatal error in manual booklet!",
    "instructionAsData is less than or equal to 0",
    "[tarvel] this is an Appletalk connection",
};

// The meaning of the settings' bits.
enum What : unsigned { capture = 1, ppd = 2, uri = 4, lang = 8, log = 16, wrongCount = 32 };
enum How : unsigned { fromFile = 1, fromPipe = 2, noFile = 4, aDirectory = 8 };

struct Job {
  unsigned what, how, system;
  std::string id, user, copies, options, uri, lang, ppd, log, pageCount;
  std::string_view bytes;
};

Job readJob(Input& input) {
  Job job;
  job.what = input.setting();
  job.how = input.setting();
  job.system = input.setting();
  for (std::string* text : {&job.id, &job.user, &job.copies, &job.options, &job.uri, &job.lang}) {
    *text = input.cText();
  }
  for (std::string* text : {&job.ppd, &job.log, &job.pageCount}) *text = input.text();
  job.uri.resize(std::min<std::size_t>(job.uri.size(), 99));  // for a longer one, it calls abort()
  job.bytes = input.rest();
  return job;
}

// Two directories: the filter's temporary directory, and its working directory, which it only
// reads.
struct Directories {
  Directories() {
    mkdir(temporary.c_str(), 0700);
    for (const char* name : {"/Debug", "/Debug/.DebugPlist"}) {
      mkdir((temporary + name).c_str(), 0700);
    }
    mkdir(fileInDirectory("en.lproj").c_str(), 0700);
    writeFile(fileInDirectory("en.lproj/instruction(null)"), "% fold here\nshowpage\n");
    setenv("TMPDIR", temporary.c_str(), 1);
    FUZZ_CHECK(chdir(directory().c_str()) == 0);
  }
  const std::string temporary = fileInDirectory("tmp");
};

void prepare(const Job& job, const Directories& directories) {
  const auto present = [&job](What what, const std::string& value) {
    return job.what & what ? std::optional(value) : std::nullopt;
  };
  const auto setFile = [&](What what, const std::string& path, std::string_view bytes) {
    unlink(path.c_str());
    if (job.what & what) writeFile(path, bytes);
  };
  setVariable("DEVICE_URI", present(What::uri, job.uri));
  setVariable("LANG", present(What::lang, job.lang));
  setVariable("PPD", present(What::ppd, fileInDirectory("ppd")));
  setFile(What::ppd, fileInDirectory("ppd"), job.ppd);
  setFile(What::log, directories.temporary + "/Debug/.DebugPlist/qvDebug.plist", job.log);
  setFile(What::capture, directories.temporary + "/qvn_log", "");
  writeFile(fileInDirectory("count"), job.pageCount);
}

System systemOf(const Job& job) {
  static constexpr std::int32_t kVersions[] = {0x1050, 0x1049, 0x103F, 0x1040, 0x102F, 0x1030, 0};
  System system;
  if (const unsigned version = job.system & 7; version < 7) system.version = kVersions[version];
  system.instructionDirectory = directory();
  return system;
}

int filter(const Job& job) {
  std::vector<std::string> texts = {"jobshaper", job.id,     job.user,
                                    "Title",     job.copies, job.options};
  if (job.how & fromFile) {
    texts.push_back(job.how & noFile ? "missing" : job.how & aDirectory ? "en.lproj" : "job");
    writeFile(fileInDirectory("job"), job.bytes);
  }
  if (job.what & wrongCount && job.how & fromPipe) texts.resize(job.how & fromFile ? 8 : 5);
  return filterJob(static_cast<int>(texts.size()), argvOf(texts).data(), systemOf(job));
}

void checkMessages(std::string_view messages, const Directories& directories) {
  const std::string tmp = "tmp at " + directories.temporary + " ";
  while (!messages.empty()) {
    const std::size_t end = messages.find('\n');
    FUZZ_CHECK(end != messages.npos);
    const std::string_view line = messages.substr(0, end);
    bool known = line == tmp;
    for (const std::string_view message : kMessages) known = known || line == message;
    FUZZ_CHECK(known);
    messages.remove_prefix(end + 1);
  }
}

bool holdsTrigger(std::string_view bytes) {
  return findTrigger(bytes, kEveryTrigger) != bytes.npos;
}

void checkOutput(const Job& job, int status, std::string_view out, std::string_view messages,
                 const Directories& directories) {
  if (status != 0) {
    FUZZ_CHECK(status == 1);
    FUZZ_CHECK(out.empty());
    FUZZ_CHECK(messages.find("ERROR: ") != messages.npos);
    return;
  }
  const bool wrapped = out.starts_with("\x1b%-12345X@PJL JOB\n") && out.ends_with(kTrailer);
  const bool usb = job.what & What::uri && job.uri.starts_with("usb:");
  if (!usb) FUZZ_CHECK(wrapped);
  std::string_view body = out;
  if (wrapped) body.remove_suffix(kTrailer.size());
  const bool booklet = job.options.find("QVBookletFold") != job.options.npos;
  // What no rule can change comes out unchanged.
  if (!booklet && !holdsTrigger(job.bytes)) FUZZ_CHECK(body.ends_with(job.bytes));
  // The debug file may have any name, even that of a capture.
  if (!(job.what & What::capture) || job.what & What::log) return;
  std::string printed(out);
  if (!wrapped) printed += kTrailer;
  FUZZ_CHECK(readFile(directories.temporary + "/qvn_ps2") == printed);
  if (!booklet && job.bytes.find("JobPatchFile") == job.bytes.npos) {
    FUZZ_CHECK(readFile(directories.temporary + "/qvn_ps") == job.bytes);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Directories directories;
  static MemoryFile out, messages;
  Input input(data, size);
  const Job job = readJob(input);
  prepare(job, directories);
  resetLog();

  const int free = lowestFreeDescriptor();
  int status;
  const Sandbox sandbox;
  {
    const StandardInput in(job.bytes, job.how & fromPipe);
    const Redirected printed(STDOUT_FILENO, out.descriptor());
    const Redirected said(STDERR_FILENO, messages.descriptor());
    status = filter(job);
  }
  resetLog();
  FUZZ_CHECK(lowestFreeDescriptor() == free);
  const std::string_view said = messages.take();
  checkMessages(said, directories);
  checkOutput(job, status, out.take(), said, directories);
  return 0;
}
