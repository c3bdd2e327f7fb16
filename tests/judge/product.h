// The filter's side of the comparison, in this process. The only place in this folder that knows
// the filter's own interfaces.
#pragma once

#include <optional>
#include <string>

#include "tests/judge/job_maker.h"
#include "tests/judge/reordering_judge.h"

namespace jobshaper::judge {

// What a run left behind.
struct Produced {
  int status = 0;
  std::string printed;     // header included
  std::string captureIn;   // empty without a capture
  std::string captureOut;  // likewise
  std::string messages;    // on standard error, without "tmp at" lines
  std::string leftovers;   // temporary files that are still there
};

// The job's way from the booklet set-up to the trailer, as the filter's main flow goes it.
// While it runs, standard error goes elsewhere.
Produced produce(const RandomJob& random);

// The header of the job, with a line for so many copies.
std::string headerLines(const JudgedJob& job, std::optional<std::int32_t> copies);

// None when the reordering failed.
std::optional<ReorderedJob> produceReordered(const ReorderingJob& random);

// None when it failed. What the caller writes afterwards, `later`, must find its way into the
// side file.
std::optional<PageFiles> produceRearranged(std::int32_t pageNumber, const PageFiles& files,
                                           bool withReversedStream, const std::string& later);

// What both kinds of run share: a place for files, and what it holds for a job.
const std::string& workFolder();
// The path of the page-count file, and of the instruction pages, written if they differ from
// the last call's.
std::string pageCountPath(const std::string& content);
std::string instructionFolder(const JudgedJob& job);
std::string withoutFolderLines(const std::string& messages);

}  // namespace jobshaper::judge
