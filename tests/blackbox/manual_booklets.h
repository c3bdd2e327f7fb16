// Shared by the tests of manual booklets: a job that is reordered, and the texts that the
// reordering and the rules add to it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/program.h"

namespace jobshaper::testing {

inline constexpr std::string_view kManualPpd = "*PPD-Adobe: \"4.3\"\n*QvnManualBooklet: True\n";
inline constexpr std::string_view kFirstPass =
    "statusdict dup /setmanualduplexmode known {begin 1 setmanualduplexmode end}{pop}ifelse\n";
inline constexpr std::string_view kSecondPass =
    "statusdict dup /setmanualduplexmode known {begin 2 setmanualduplexmode end}{pop}ifelse\n";
inline constexpr std::string_view kProcedures = "cg_md begin\nbp\nsdmtx\nep\nend\n";
inline constexpr std::string_view kRestore = "userdict /ESPsave get restore\n";
// The instruction page on a current system, if there is no file for it.
inline constexpr std::string_view kInstruction = "%%Page: 0 0\n";
inline constexpr std::string_view kNoInstruction = "instructionAsData is less than or equal to 0\n";
inline constexpr std::string_view kNoFile = "ERROR: Unable to create necessary file.\n";
inline constexpr std::string_view kNoRearranging = "ERROR: Critical error in rearranging pages.\n";
inline constexpr std::string_view kFatal = "ERROR: Fatal error in manual booklet!\n";

inline constexpr std::string_view kTop = "%!PS-Adobe-3.0\n%%EndSetup\n";
inline constexpr std::string_view kPages[] = {"",
                                              "%%Page: 1 1\n1a\n1b\n1c\n1d\n",
                                              "%%Page: 2 2\n2a\n2b\n2c\n2d\n",
                                              "%%Page: 3 3\n3a\n3b\n3c\n3d\n",
                                              "%%Page: 4 4\n4a\n4b\n4c\n4d\n",
                                              "%%Page: 5 5\n5a\n5b\n5c\n5d\n",
                                              "%%Page: 6 6\n6a\n6b\n6c\n6d\n",
                                              "%%Page: 7 7\n7a\n7b\n7c\n7d\n",
                                              "%%Page: 8 8\n8a\n8b\n8c\n8d\n"};
inline constexpr std::string_view kPage1 = kPages[1];
inline constexpr std::string_view kPage2 = kPages[2];
inline constexpr std::string_view kBlank =
    "%%Page: 1 1\n1a\n1b\n1c\ncg_md begin\nbp\nsdmtx\nep\nend\n";
inline constexpr std::string_view kTrailer = "%%Trailer\n%%Pages: 8\n%%EOF\n";

inline constexpr const char* kManualFiles[] = {"qvn_manualPS", "pageReOrdered", "pageEven",
                                               "newEvenOrder", "headerPS",      "newOddOrder"};

template <typename... Parts>
std::string join(const Parts&... parts) {
  std::string result;
  (result.append(std::string_view(parts)), ...);
  return result;
}

// "31": page 3, then page 1.
inline std::string pages(std::string_view numbers) {
  std::string result;
  for (const char number : numbers) result += kPages[number - '0'];
  return result;
}

// Of a language without an instruction page, so that it does not matter whether any are installed.
inline Job manualJob(std::string input, std::string_view options = "") {
  Job job;
  job.env("LANG", "zz")
      .ppd(kManualPpd)
      .options(join("QVBookletFold=Booklet", options))
      .input(std::move(input));
  return job;
}

// The lines of the log, the setup and the reordering.
inline std::string threeTmpLines(const Job& job) {
  const std::string line = "tmp at " + job.environment().at("TMPDIR") + " \n";
  return line + line + line;
}

inline void expectNoManualFiles(const Job& job, const std::string& jobId = "42") {
  for (const char* name : kManualFiles) {
    EXPECT_FALSE(std::filesystem::exists(job.tmpFile(name + jobId))) << name;
  }
}

// The same for systems before 10.5, where every page has its own save.
inline std::string onOldSystem(std::string body) {
  const auto insertAfter = [&body](std::string_view text, std::string_view addition) {
    for (std::size_t at = 0; (at = body.find(text, at)) != body.npos; at += text.size()) {
      body.insert(at + text.size(), addition);
    }
  };
  insertAfter(kProcedures, kRestore);
  insertAfter(kInstruction, "userdict/ESPsave save put\n\nuserdict /ESPsave get restore\n");
  return body;
}

// Runs a manual booklet without and with the capture, which must contain what was printed.
inline void expectBooklet(const Job& job, std::string_view body, std::string_view messages,
                          Where where = Where::here()) {
  const std::string out = join(plainHeader(), body, trailer());
  const std::string line = tmpLines(job).substr(0, tmpLines(job).size() / 2);
  expectRun(job, out, join(line, messages), 0, where);
  expectNoManualFiles(job);
  Job captured = job;
  expectRun(captured.capture(), out, join(kCaptureOn, line, messages), 0, where);
  expectSame(readFile(job.tmpFile("qvn_ps2")), out, "qvn_ps2", "the job", where);
  expectNoManualFiles(job);
  std::filesystem::remove(job.tmpFile("qvn_log"));
}

// On this system, and, unless the job sets a version, on 10.5 and 10.4.9.
inline void expectBookletEverywhere(const Job& job, std::string_view body,
                                    std::string_view messages, Where where = Where::here()) {
  expectBooklet(job, body, messages, where);
  if (job.program() != Job().program()) return;
  expectBooklet(Job(job).version("0x1050"), body, messages, where);
  expectBooklet(Job(job).version("0x1049"), onOldSystem(std::string(body)), messages, where);
}

// A job with an instruction page, for which there is no file.
inline void expectPrinted(const Job& job, std::string_view body, Where where = Where::here()) {
  expectBookletEverywhere(job, body, kNoInstruction, where);
}

// A job without any page, and thus without an instruction page.
inline void expectPrintedWithoutPages(const Job& job, std::string_view body,
                                      Where where = Where::here()) {
  expectBookletEverywhere(job, body, "", where);
}

}  // namespace jobshaper::testing
