// Runs the filter in this process. In this directory, only this file and its .cpp use the
// interfaces of the filter.
#pragma once

#include <optional>
#include <string>

#include "tests/reference/job_maker.h"
#include "tests/reference/reference_reordering.h"

namespace jobshaper::reference {

// What a run produced.
struct FilterOutput {
  int status = 0;
  std::string printed;     // with the header
  std::string captureIn;   // empty without a capture
  std::string captureOut;  // likewise
  std::string messages;    // on standard error, without "tmp at" lines
  std::string leftovers;   // temporary files that are still there
};

// Runs a job from the setup of the booklet to the trailer, as the program does, with standard error
// redirected.
FilterOutput runFilter(const RandomJob& random);

// The header of the job, with a line for this number of copies, if any.
std::string headerLines(const JobParameters& job, std::optional<std::int32_t> copies);

// Reorders a manual booklet. Returns no value if that fails.
std::optional<ReorderedJob> reorderByFilter(const ReorderingJob& random);

// Moves a page with reArrangedPages(), and then writes `later` to the side file, as a caller does.
// Returns no value if either fails.
std::optional<PageFiles> rearrangeByFilter(std::int32_t pageNumber, const PageFiles& files,
                                           bool withReversedStream, const std::string& later);

// Used by both kinds of run: the directory for their files.
const std::string& workDirectory();
// Write the page-count file, or the instruction pages, unless the last call wrote the same. Return
// the path.
std::string pageCountPath(const std::string& content);
std::string instructionDirectory(const JobParameters& job);
// Removes the lines that begin with "tmp at ".
std::string withoutDirectoryLines(const std::string& messages);

}  // namespace jobshaper::reference
