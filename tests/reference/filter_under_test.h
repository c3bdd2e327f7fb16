// The filter's side of the comparison, in this process. The only place in this directory that knows
// the filter's own interfaces.
#pragma once

#include <optional>
#include <string>

#include "tests/reference/job_maker.h"
#include "tests/reference/reference_reordering.h"

namespace jobshaper::reference {

// What a run left.
struct FilterOutput {
  int status = 0;
  std::string printed;     // header included
  std::string captureIn;   // empty without a capture
  std::string captureOut;  // likewise
  std::string messages;    // on standard error, without "tmp at" lines
  std::string leftovers;   // temporary files that are still there
};

// The job's way from the booklet set-up to the trailer, as the filter's main flow goes it.
// While it runs, standard error goes elsewhere.
FilterOutput runFilter(const RandomJob& random);

// The header of the job, with a line for so many copies.
std::string headerLines(const JobParameters& job, std::optional<std::int32_t> copies);

// None when the reordering failed.
std::optional<ReorderedJob> reorderByFilter(const ReorderingJob& random);

// None when it failed. What the caller writes afterwards, `later`, must find its way into the
// side file.
std::optional<PageFiles> rearrangeByFilter(std::int32_t pageNumber, const PageFiles& files,
                                           bool withReversedStream, const std::string& later);

// What both kinds of run share: a place for files, and what it holds for a job.
const std::string& workDirectory();
// The path of the page-count file, and of the instruction pages, written if they differ from
// the last call's.
std::string pageCountPath(const std::string& content);
std::string instructionDirectory(const JobParameters& job);
std::string withoutDirectoryLines(const std::string& messages);

}  // namespace jobshaper::reference
