// What the tests of booklets made by the printer share: folded jobs with and without a cover
// sheet, and what is printed of them on every system.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/program.h"

namespace jobshaper::testing {

// Cover options that leave nothing but the inside of the cover to print.
inline constexpr std::string_view kOnlyInside =
    " QVBookletCoverPage=true QVInsideFrontCover=true QVInsideBackCover=False";
inline constexpr std::string_view kOutside = " QVBookletCoverPage=true QVOutsideFrontCover=true";

inline void expectRun(const Job& job, std::string_view out, std::string_view err) {
  expectOutcome(job.run(), out, err);
}

inline void expectOutAlone(const Job& job, std::string_view out) {
  expectRun(job, out, tmpLines(job));
}

// With a capture, which contains what was printed.
inline void expectOutAndCapture(Job job, std::string_view out) {
  expectRun(job.capture(), out, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
  std::filesystem::remove(job.tmpFile("qvn_log"));
}

// The whole output, without a capture on this system and with one on 10.4.9.
inline void expectOut(const Job& job, std::string_view out) {
  expectOutAlone(job, out);
  expectOutAndCapture(Job(job).version("0x1049"), out);
}

// On this system, on 10.4.9 and on 10.5, each without and with a capture.
inline void expectOutEverywhere(Job job, std::string_view out) {
  expectOut(job, out);
  expectOutAndCapture(job, out);
  expectOutAlone(job.version("0x1049"), out);
  expectOutAlone(job.version("0x1050"), out);
  expectOutAndCapture(job, out);
}

inline void expectBody(const Job& job, std::string_view body) {
  expectOut(job, plainHeader() + body + trailer());
}

inline Job bookletJob(std::string input, const std::string& fold = "SaddleStitch") {
  Job job;
  job.options("QVBookletFold=" + fold).input(std::move(input));
  return job;
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

// The page line `page` behind the request for a cover sheet with outside print.
inline std::string request(std::string_view page, std::string_view parameters) {
  return std::string(page) + "[{\n<< /DeferredMediaSelection true " + parameters +
         " >> setpagedevice\n} stopped cleartomark\n";
}

}  // namespace jobshaper::testing
