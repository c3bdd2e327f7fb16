// The page before a manual booklet that tells the user how to turn the printed stack: which
// file it is read from, where it is in the output, and what is sent without it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/permissions.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kText = "%%Page: 0 0 turn the stack\nshowpage\n";

// A job of two pages on a system with a directory of instruction pages.
class InstructionPage : public ::testing::Test {
 protected:
  InstructionPage() : job_(manualJob(join(kTop, kPage1, kPage2))) {
    job_.version("0x1050").env("JOBSHAPER_INSTRUCTIONS", directory_.path()).env("LANG", "de_DE");
  }

  // The installed files are literally named like this.
  std::string file(std::string_view code) const {
    return directory_.file(join(code, ".lproj/instruction(null)"));
  }

  // The page is printed on this version of the system, without and with a capture.
  void expectPage(std::string_view text, const char* version = "0x1050",
                  Where where = Where::here()) {
    const std::string_view name = version;
    const bool old = name < "0x1050" || name == "failed";
    const std::string page =
        old ? join("%%Page: 0 0\nuserdict/ESPsave save put\n", text, "\n", kRestore)
            : join("%%Page: 0 0\n", text);
    const std::string rest =
        join(kPage1, kSecondPass, kBlank, old ? kRestore : std::string_view(), kPage2);
    expectBooklet(Job(job_).version(version), join(kTop, kFirstPass, page, rest),
                  text.empty() ? kNoInstruction : "", where);
    // It is not in the captured input.
    expectSame(readFile(job_.tmpFile("qvn_ps")), join(kTop, kFirstPass, rest), "qvn_ps", "the job",
               where);
  }

  TemporaryDirectory directory_;
  Job job_;
};

TEST_F(InstructionPage, IsBetweenFirstPassRequestAndFirstPageAndSavedBefore1050) {
  writeFile(file("de_DE"), kText);
  for (const char* version :
       {"0x1049", "0x104f", "0x102f", "failed", "0x1050", "0x1051", "0x1450"}) {
    expectPage(kText, version);
  }
}

TEST_F(InstructionPage, PassesByteByByteAndNoRuleAppliesToIt) {
  std::string longText;
  while (longText.size() < 5000000) longText += std::to_string(longText.size()) + " 0 moveto\n";
  for (const std::string& text :
       {bytes("@PJL SET COPIES = 9\n\x1b%-12345X\r\n%%BeginProlog\n*JobPatchFile\n*QVBookletFold\n"
              "%%Page: 7 7\n%%Trailer\nzero\0byte \x80\xff\rno line end"),
        bytes("\0"), longText}) {
    writeFile(file("de_DE"), text);
    expectPage(text);
    expectPage(text, "0x1049");
  }
}

TEST_F(InstructionPage, IsLeftOutOfAJobWithoutPages) {
  writeFile(file("de_DE"), kText);
  expectPrintedWithoutPages(job_.input(std::string(kTop)), join(kTop, kSecondPass, kProcedures));
}

// ---- language

TEST_F(InstructionPage, LanguageNamesTheDirectory) {
  struct {
    const char *version, *lang;  // nullptr if it is unset
    std::string code;
  } const rows[] = {{"0x1050", "fr_FR.UTF-8", "fr_FR"},
                    {"0x1050", "fr_FR", "fr_FR"},
                    {"0x1050", "en_US", "en"},
                    {"0x1050", "en_US.UTF-8", "en"},
                    {"0x1050", "en", "en"},
                    {"0x1050", "en.UTF-8", "en"},
                    {"0x1050", nullptr, "en"},
                    {"0x1050", "C", "C"},
                    {"0x1050", "C.UTF-8", "C"},
                    {"0x1050", "", ""},
                    {"0x1050", ".UTF-8", ""},
                    {"0x1050", "en_GB.UTF-8", "en_GB"},
                    {"0x1050", "EN_US", "EN_US"},
                    {"0x1050", "en_us", "en_us"},
                    {"0x1050", "en_US@euro", "en_US@euro"},
                    {"0x1050", "zh_TW.Big5.x", "zh_TW"},
                    {"0x1050", "de_DE.a/b", "de_DE"},
                    {"0x1050", "%s%@", "%s%@"},
                    {"0x1450", "en_US.UTF-8", "en"},
                    {"0x1049", "fr_FR.UTF-8", "fr_FR.UTF-8"},
                    {"0x1049", "fr_FR", "fr_FR"},
                    {"0x1049", "en_US", "en"},
                    {"0x1049", "en_US.UTF-8", "en_US.UTF-8"},
                    {"0x1049", "en", "en"},
                    {"0x1049", "en.UTF-8", "en.UTF-8"},
                    {"0x1049", nullptr, "en"},
                    {"0x1049", "C", "C"},
                    {"0x1049", "", ""},
                    {"0x1049", ".UTF-8", ".UTF-8"},
                    {"failed", "en_US.UTF-8", "en_US.UTF-8"},
                    {"failed", "en_US", "en"}};
  for (const auto& [version, lang, code] : rows) {
    job_.unsetEnv("LANG");
    if (lang) job_.env("LANG", lang);
    // These would be read if the file's name were different.
    const std::string path = directory_.file(code + ".lproj");
    writeFile(path + "/instruction(null)", kText);
    writeFile(path + "/instruction", "not this one");
    writeFile(path + "/instruction.ps", "nor this one");
    expectPage(kText, version);
    fs::remove_all(path);
  }
}

TEST_F(InstructionPage, IsNotReadFromAnotherDirectory) {
  writeFile(file("en"), kText);
  writeFile(file("de"), kText);
  writeFile(directory_.file("in/en.lproj/instruction(null)"), kText);
  writeFile(directory_.file("in/fr/FR.lproj/instruction(null)"), kText);
  fs::create_directory(directory_.file("in/en"));
  job_.env("JOBSHAPER_INSTRUCTIONS", directory_.file("in"));
  for (const std::string& lang :
       {std::string("de_DE"), std::string("../en"), directory_.file("en"), std::string("/en"),
        std::string("en/../en"), std::string("fr/FR")}) {
    job_.env("LANG", lang);
    expectPage("", "0x1049");
    expectPage("");
  }
}

// ---- without a file

TEST_F(InstructionPage, IsReportedOnceIfItCannotBeReadAndTheJobGoesOn) {
  const std::vector<std::function<void(const std::string& path)>> makers{
      [](const std::string&) {},
      [](const std::string& path) { writeFile(path, ""); },
      [](const std::string& path) { fs::create_directory(path); },
      [](const std::string& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); },
      [](const std::string& path) { fs::create_symlink("nowhere", path); },
      [](const std::string& path) {
        writeFile(path, kText), fs::permissions(path, fs::perms::none);
      }};
  for (const auto& make : makers) {
    fs::remove_all(directory_.file("de_DE.lproj"));
    fs::create_directory(directory_.file("de_DE.lproj"));
    make(file("de_DE"));
    std::thread([this] {
      obeyPermissions();
      expectPage("");
      expectPage("", "0x1049");
    }).join();
  }
  job_.env("JOBSHAPER_INSTRUCTIONS", directory_.file("no such directory"));
  expectPage("");
  // The blank page begins like the first page, but has no instruction page.
  expectPrinted(job_.input(std::string(kPage1)),
                join(kFirstPass, kInstruction, kPage1, kSecondPass, kBlank));
}

TEST_F(InstructionPage, IsNotInOtherJobs) {
  writeFile(file("de_DE"), kText);
  for (const auto& [ppd, options] :
       {std::pair{"*ColorDevice: True\n", "QVBookletFold=Booklet"},
        std::pair{"*QvnManualBooklet: True\n", "QVBookletFold=PrinterS"}}) {
    expectBody(job_.ppd(ppd).options(options), join(kTop, kPage1, kPage2));
  }
}

}  // namespace
}  // namespace jobshaper::testing
