// Shared by the tests of faults: jobs that use what can fail.
#pragma once

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/log_settings.h"

namespace jobshaper::testing {

inline constexpr std::string_view kNoCaptureIn =
    "ERROR: Cannot write incoming print data to a log file.\n";
inline constexpr std::string_view kNoCaptureOut =
    "ERROR: Cannot write outgoing print data to a log file.\n";
inline constexpr std::string_view kCannotRead = "ERROR: Cannot read the print job.\n";

inline std::string tmpLine(const Job& job) { return join("tmp at ", job.tmp(), " \n"); }

inline std::string printed(std::string_view body) { return join(plainHeader(), body, trailer()); }

// Numbered lines of about this size in all.
inline std::string lines(std::size_t size) {
  std::string text;
  for (int i = 0; text.size() < size; ++i) text += "0 0 moveto (" + std::to_string(i) + ") show\n";
  return text;
}

// A manual booklet whose instruction page has this text.
inline Job instructedJob(std::string input, std::string_view page) {
  Job job = manualJob(std::move(input));
  writeFile(job.tmpFile("pages/en.lproj/instruction(null)"), page);
  return job.version("0x1050")
      .env("JOBSHAPER_INSTRUCTIONS", job.tmpFile("pages"))
      .env("LANG", "en");
}

// The options of a folded booklet with a cover sheet, whose page count is in this file.
inline std::string countIn(const std::string& path) {
  return "QVBookletFold=BiFold QVBookletCoverSource=Tray1 QVBookletPageCountFilename='" + path +
         "'";
}

// A page-size feature of this size, which is repeated after the paper source.
inline std::string longFeature(std::size_t size) {
  return join("*PageSize A4\n", lines(size), "*InputSlot\ncleartomark\n");
}

// A job with a diagnostic log of this name.
inline Job loggedJob(std::string_view name = "debug.log") {
  Job job = Job().log(7);
  writeFile(job.tmpFile(kLogSettings), propertyList(logEntry(integer("7"), integer("1"),
                                                             join("<string>", name, "</string>"))));
  return job;
}

// The captures of a job that was read and printed.
inline void expectCaptures(const Job& job, std::string_view in, std::string_view out,
                           Where where = Where::here()) {
  expectSame(readFile(job.tmpFile("qvn_ps")), in, "qvn_ps", "the job", where);
  expectSame(readFile(job.tmpFile("qvn_ps2")), out, "qvn_ps2", "the job", where);
}

}  // namespace jobshaper::testing
