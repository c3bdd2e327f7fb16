// Shared by the tests of manual booklets: a job that is reordered, and the texts that the
// reordering and the rules add to it.
#pragma once

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

// The body of a job whose second pass begins with these blank pages.
inline std::string printed(std::string_view top, std::string_view odd, std::string_view blank,
                           std::string_view even) {
  return join(top, kFirstPass, kInstruction, odd, kSecondPass, blank, even);
}

// The log, the setup and the reordering each write one.
inline std::string reorderingLine(const Job& job) {
  return "tmp at " + job.environment().at("TMPDIR") + " \n";
}
inline std::string threeTmpLines(const Job& job) { return tmpLines(job) + reorderingLine(job); }

inline void expectNoManualFiles(const Job& job, const std::string& jobId = "42",
                                Where where = Where::here()) {
  for (const char* name : kManualFiles) {
    if (std::filesystem::exists(job.tmpFile(name + jobId))) {
      ADD_FAILURE_AT(where.file, where.line) << name << jobId << " is left";
    }
  }
}

// Checks a whole run. Unless a test says otherwise, there is no file of an instruction page.
inline void expectPrinted(const Job& job, std::string_view body,
                          std::string_view messages = kNoInstruction, Where where = Where::here()) {
  expectRun(job, join(plainHeader(), body, trailer()), reorderingLine(job) + messages, 0, where);
  expectNoManualFiles(job, "42", where);
}

// A job without any page, and thus without an instruction page.
inline void expectPrintedWithoutPages(const Job& job, std::string_view body,
                                      Where where = Where::here()) {
  expectPrinted(job, body, "", where);
}

}  // namespace jobshaper::testing
