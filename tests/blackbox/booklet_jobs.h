// What the tests of booklets made by the printer share: folded jobs with and without a cover
// sheet, and what is printed of them on every system.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {

// Cover options that leave nothing but the inside of the cover to print.
inline const std::string kOnlyInside =
    " QVBookletCoverPage=true QVInsideFrontCover=true QVInsideBackCover=False";
inline const std::string kOutside = " QVBookletCoverPage=true QVOutsideFrontCover=true";

// Runs the job with a capture, which must contain what was printed.
inline void expectCaptured(Job job, std::string_view out, Where where = Where::here()) {
  expectRun(job.capture(), out, kCaptureOn, 0, where);
  expectSame(readFile(job.tmpFile("qvn_ps2")), out, "qvn_ps2", "the job", where);
  std::filesystem::remove(job.tmpFile("qvn_log"));
}

// Runs the job without a capture on this system, and with one on 10.4.9.
inline void expectOut(const Job& job, std::string_view out, Where where = Where::here()) {
  expectRun(job, out, "", 0, where);
  expectCaptured(Job(job).version("0x1049"), out, where);
}

inline void expectFolded(const Job& job, std::string_view body, Where where = Where::here()) {
  expectOut(job, plainHeader() + body + trailer(), where);
}

// On this system, on 10.4.9 and on 10.5, each without and with a capture.
inline void expectFoldedEverywhere(Job job, std::string_view body, Where where = Where::here()) {
  const std::string out = plainHeader() + body + trailer();
  expectOut(job, out, where);
  expectCaptured(job, out, where);
  expectRun(job.version("0x1049"), out, "", 0, where);
  expectRun(job.version("0x1050"), out, "", 0, where);
  expectCaptured(job, out, where);
}

inline Job bookletJob(std::string input, const std::string& fold = "SaddleStitch") {
  return Job().options("QVBookletFold=" + fold).input(std::move(input));
}

// A job of so many pages, in which the line of page `at` reads `line` instead.
inline std::string pages(int count, int at = 0, std::string_view line = {}) {
  std::string result = "%!PS-Adobe-3.0\n";
  for (int page = 1; page <= count; ++page) {
    const std::string number = std::to_string(page);
    result += page == at ? std::string(line) : "%%Page: " + number + " " + number + "\n";
    result += "showpage\n";
  }
  return result + "%%Trailer\n%%EOF\n";
}

// A folded booklet with these further options, whose page-count file holds this text.
inline Job coverJob(std::string_view pageCount, std::string_view options, std::string input) {
  Job job;
  const std::string path = job.tmpFile("count");
  writeFile(path, pageCount);
  job.options("QVBookletFold=BiFold QVBookletPageCountFilename='" + path + "' " + options);
  return job.input(std::move(input));
}

// The page line `page` and the request for a cover sheet after it.
inline std::string request(std::string_view page, std::string_view parameters) {
  return std::string(page) + "[{\n<< /DeferredMediaSelection true " + parameters +
         " >> setpagedevice\n} stopped cleartomark\n";
}

// Before the page line if only the inside of the cover is printed.
inline const std::string kSimplex = "1 dict dup /Duplex false put setpagedevice\n";

// On every system, the log of the job after the last line of the header.
inline void expectLogAfterHeader(const Job& job, std::string_view expected,
                                 Where where = Where::here()) {
  for (const char* version : {"", "0x1049", "0x1050"}) {
    expectSame(logAfterHeader(*version ? Job(job).version(version) : job), expected, "log",
               std::string("the job on ") + version, where);
  }
}

}  // namespace jobshaper::testing
