#include "queue/queue_filter.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "filter/job_filter.h"
#include "filter/job_setup.h"
#include "platform/descriptor.h"
#include "platform/files.h"
#include "platform/pipe_reader.h"
#include "platform/system.h"
#include "queue/held_job.h"
#include "queue/imposition.h"
#include "queue/message.h"
#include "queue/option_string.h"
#include "settings/numbers.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

constexpr std::size_t kUserArgument = 2;
constexpr std::size_t kCopiesArgument = 4;
constexpr std::size_t kOptionsArgument = 5;
constexpr std::size_t kFileArgument = 6;

// The filter does not accept a longer DEVICE_URI, and reads only its beginning.
void shortenDeviceUri() {
  const char* const uri = std::getenv("DEVICE_URI");
  if (!uri || std::strlen(uri) <= kLongestDeviceUri) return;
  setenv("DEVICE_URI", std::string(uri, kLongestDeviceUri).c_str(), 1);
}

JobOrigin originOfJob() {
  const char* const contentType = std::getenv("CONTENT_TYPE");
  const char* const fileType = std::getenv("CUPS_FILETYPE");
  return {.contentType = contentType ? contentType : "",
          .isBanner = fileType && std::string_view(fileType) == "job-sheet"};
}

// Reads the job from the named file or standard input; returns what HeldJob::read() returns.
bool hold(HeldJob& held, const char* path) {
  if (!path) return held.read(STDIN_FILENO, temporaryDirectory());
  const Descriptor file = openForReading(path);
  if (file.valid()) return held.read(file.get(), temporaryDirectory());
  reportUnreadable();
  return false;
}

int cannotRead() {
  reportUnreadable();
  return 1;
}

}  // namespace

int filterQueueJob(int argc, char* const argv[], const System& system) {
  openMissingStandardStreams();
  signal(SIGPIPE, SIG_IGN);  // a message that nobody reads must not end the job
  signal(SIGXFSZ, SIG_IGN);  // where files must be small, a write only fails
  shortenDeviceUri();
  if (argc != 6 && argc != 7) return filterJob(argc, argv, system);  // reports what is wrong
  std::optional<HeldJob> held;
  const auto holdJob = [&] {
    if (!held) held.emplace();
    return hold(*held, argv[kFileArgument]);
  };
  QueueJob job;
  job.user = argv[2];
  job.title = argv[3];
  job.copies = argv[4];
  job.options = argv[5];
  job.ppdPath = std::getenv("PPD");
  job.origin = originOfJob();
  job.countPages = [&]() -> std::optional<int> {
    if (!holdJob()) return std::nullopt;
    return held->hasPages() ? static_cast<int>(held->pages().size()) : 0;
  };
  CompletedJob completed = completedJob(job);
  if (completed.refusal) {
    reportError("%s", completed.refusal->c_str());
    // The scheduler does not show a message that it reads after it knows that the filter has
    // failed.
    waitUntilRead(STDERR_FILENO);
    return 1;
  }
  if (completed.booklet.failed) return 1;
  if (completed.ppdIsUnusable) unsetenv("PPD");  // the filter would warn again, or read it all
  std::vector<char*> arguments(argv, argv + argc + 1);
  arguments[kUserArgument] = completed.user.data();
  arguments[kOptionsArgument] = completed.options.data();

  // Copies of a manual booklet are printed one after another, each with its own two passes.
  std::string oneCopy = "1";
  int times = 1;
  if (completed.booklet.isManual) {
    times = std::max(1, integerValue(job.copies));
    if (times > 1) {
      arguments[kCopiesArgument] = oneCopy.data();
      completed.options.append(" ").append(kCopiesOption).append("=1");
      arguments[kOptionsArgument] = completed.options.data();
    }
    if (!held && !holdJob()) return 1;
  }
  if (!held) return filterJob(argc, arguments.data(), system, std::move(completed.additions));

  const Descriptor file = rewrittenJob(*held,
                                       {.sides = std::move(completed.booklet.sides),
                                        .oneCopy = times > 1,
                                        .hidesEmbeddedPages = completed.booklet.isManual},
                                       temporaryDirectory());
  held.reset();
  if (!file.valid()) return 1;
  if (::dup2(file.get(), STDIN_FILENO) < 0) return cannotRead();
  arguments[kFileArgument] = nullptr;
  completed.additions.ownInput = true;
  int status = 0;
  for (int i = 0; i < times && status == 0; ++i) {
    if (::lseek(STDIN_FILENO, 0, SEEK_SET) != 0) return cannotRead();
    status = filterJob(kFileArgument, arguments.data(), system, completed.additions);
  }
  return status;
}

}  // namespace jobshaper
