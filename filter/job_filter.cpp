#include "filter/job_filter.h"

#include <signal.h>
#include <unistd.h>

#include "diag/log.h"
#include "filter/job_output.h"
#include "filter/job_setup.h"
#include "filter/job_state.h"
#include "filter/piece_reader.h"
#include "filter/pjl_wrapping.h"
#include "filter/stream_rewriter.h"

namespace jobshaper {

namespace {

void takeRetentionMode(JobState& job) {
  if (const auto mode = job.jobOptions.getValue("PrintTo")) job.printTo = *mode;
}

void rewriteStream(const JobState& job, JobOutput& output) {
  PieceReader input(job.inputStream);
  StreamRewriter rewriter(job, output);
  bool more = true;
  while (more) {
    more = input.read();
    while (const auto piece = input.nextPiece()) rewriter.handle(*piece);
    output.flush();  // before the next read, which may wait
  }
}

}  // namespace

int filterJob(int argc, char* const argv[], const System& system) {
  openMissingStandardStreams();
  signal(SIGPIPE, SIG_IGN);  // a backend that leaves does not end the job
  if (!checkArguments(argc)) return 1;

  JobState job;
  if (!setUpJob(job, argc, argv, system)) return 1;
  createHeader(job, argv[2]);
  logJobSummary(job);
  takeRetentionMode(job);

  JobOutput output(STDOUT_FILENO, job.captureIn.get(), job.captureOut.get());
  writeHeader(job, output);
  rewriteStream(job, output);
  writeTrailer(job, output);

  LogInfoBody("main", __LINE__, "}");
  return 0;
}

}  // namespace jobshaper
