#include "filter/job_filter.h"

#include <signal.h>
#include <unistd.h>

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

namespace jobshaper {

namespace {

void takeRetentionMode(JobState& job) {
  if (const auto mode = job.jobOptions.getValue("PrintTo")) job.printTo = *mode;
}

void rewriteStream(const JobState& job, JobOutput& output) {
  enlargePipe(STDOUT_FILENO);
  PieceReader input(job.inputStream);
  StreamRewriter rewriter(job, output);
  bool more = true;
  while (more) {
    more = input.read();
    if (!rewriter.handleAll(input.pieces())) more = false;
    output.flush(input);  // the next read may wait, and takes the pieces' place
  }
}

// The files are gone, and whoever started the filter sees which signal ended it.
[[noreturn]] void endCancelledJob(const JobState& job) {
  removeManualBookletFiles(job);
  endByCancellation();
}

}  // namespace

int filterJob(int argc, char* const argv[], const System& system) {
  openMissingStandardStreams();
  signal(SIGPIPE, SIG_IGN);  // a backend that leaves does not end the job
  signal(SIGXFSZ, SIG_IGN);  // nor does a limit on the size of files, which a capture may reach
  if (!checkArguments(argc)) return 1;

  JobState job;
  if (!setUpJob(job, argc, argv, system)) return 1;
  createHeader(job, argv[2]);
  logJobSummary(job);
  job.onlyInside = isOnlyPrintInside(job.jobOptions);
  takeRetentionMode(job);
  deferCancellation();
  const BookletSetup booklet = setUpBooklet(job, system);
  if (booklet == BookletSetup::failed) return 1;
  if (booklet == BookletSetup::cancelled) endCancelledJob(job);

  {
    JobOutput output(STDOUT_FILENO, job.captureIn.get(), job.captureOut.get());
    writeHeader(job, output);
    rewriteStream(job, output);
    writeTrailer(job, output);
  }
  if (cancellationRequested()) endCancelledJob(job);
  removeManualBookletFiles(job);

  LogInfoBody("main", __LINE__, "}");
  return 0;
}

}  // namespace jobshaper
