#include "filter/job_filter.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "booklet/cover_queries.h"
#include "diag/log.h"
#include "filter/booklet_rules.h"
#include "filter/job_output.h"
#include "filter/job_setup.h"
#include "filter/job_state.h"
#include "filter/pjl_wrapping.h"
#include "filter/stream_rewriter.h"
#include "platform/cancellation.h"
#include "platform/descriptor.h"
#include "platform/piece_reader.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

void takeRetentionMode(JobState& job) {
  if (const auto mode = job.jobOptions.getValue("PrintTo"_option)) job.printTo = *mode;
}

// Returns false if the job cannot be read to its end.
bool rewriteStream(const JobState& job, JobOutput& output, std::size_t inputBlock) {
  PieceReader input(output.tap(), inputBlock);
  StreamRewriter rewriter(job, output);
  while (const auto block = input.next()) {
    const bool goesOn = rewriter.handleAll(block->pieces);
    output.flush(*block);  // the next read may block, and overwrites this block
    rewriter.reportPages();
    if (!goesOn) return true;
  }
  rewriter.finish();
  return !input.failed();
}

// A separate function so that the output is destroyed, and the captures written, before runJob()
// checks for cancellation.
bool writeJob(JobState& job, int descriptor, std::size_t inputBlock) {
  enlargePipe(descriptor);
  JobOutput output(descriptor, job.captureIn.get(), job.captureOut.get(), job.inputStream);
  writeHeader(job, output);
  const bool complete = rewriteStream(job, output, inputBlock);
  writeTrailer(job, output);
  // For an ordinary job, a read error is the end of input. Of a booklet, each half needs the other.
  if (complete || !(job.manualBooklet || job.additions.ownInput)) return true;
  std::fputs("ERROR: Cannot read the print job.\n", stderr);
  return false;
}

}  // namespace

JobEnd runJob(JobState& job, const System& system, const char* userID, int output,
              std::size_t inputBlock) {
  createHeader(job, userID);
  logJobSummary(job);
  job.onlyInside = isOnlyPrintInside(job.jobOptions);
  takeRetentionMode(job);
  deferCancellation();
  const BookletSetup booklet = setUpBooklet(job, system);
  if (booklet == BookletSetup::failed) return JobEnd::failed;
  const bool complete = booklet != BookletSetup::done || writeJob(job, output, inputBlock);
  removeManualBookletFiles(job);
  if (cancellationRequested()) return JobEnd::canceled;
  return complete ? JobEnd::printed : JobEnd::failed;
}

int filterJob(int argc, char* const argv[], const System& system, JobAdditions additions) {
  openMissingStandardStreams();
  signal(SIGPIPE, SIG_IGN);  // when the backend exits early, still read the job to its end
  signal(SIGXFSZ, SIG_IGN);  // a capture that reaches the file size limit must not end the job
  if (!checkArguments(argc)) return 1;

  JobState job;
  job.additions = std::move(additions);
  if (!setUpJob(job, argc, argv, system)) return 1;
  switch (runJob(job, system, argv[2], STDOUT_FILENO)) {
    case JobEnd::failed:
      return 1;
    case JobEnd::canceled:
      endByCancellation();  // CUPS sees which signal ended the filter
    case JobEnd::printed:
      break;
  }
  LogInfoBody("main", __LINE__, "}");
  stopDeferringCancellation();  // a signal that arrives from now on must be seen, too
  return 0;
}

}  // namespace jobshaper
