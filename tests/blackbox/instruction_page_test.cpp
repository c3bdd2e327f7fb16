// The page before a manual booklet that tells the user how to turn the printed stack: which
// file it is read from, where it is in the output, and what is sent without it.
#include <functional>
#include <string>
#include <string_view>
#include <thread>

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

  void expectPage(std::string_view text, Where where = Where::here()) {
    expectPrinted(job_,
                  join(kTop, kFirstPass, kInstruction, text, kPage1, kSecondPass, kBlank, kPage2),
                  text.empty() ? kNoInstruction : "", where);
  }

  // The page and the blank page on a system where every page has its own save.
  void expectSavedPage(std::string_view text, Where where = Where::here()) {
    expectPrinted(job_,
                  join(kTop, kFirstPass, "%%Page: 0 0\nuserdict/ESPsave save put\n", text, "\n",
                       kRestore, kPage1, kSecondPass, kBlank, kRestore, kPage2),
                  text.empty() ? kNoInstruction : "", where);
  }

  TemporaryDirectory directory_;
  Job job_;
};

TEST_F(InstructionPage, PassesByteByByteAndNoRuleAppliesToItAndItIsNotInTheCapturedInput) {
  std::string text = bytes(
      "@PJL SET COPIES = 9\n\x1b%-12345X\r\n%%BeginProlog\n*JobPatchFile\n*QVBookletFold\n"
      "%%Page: 7 7\n%%Trailer\nzero\0byte \x80\xff\r\n");
  while (text.size() < 200000) text += std::to_string(text.size()) + " 0 moveto\n";
  text += "no line end";
  writeFile(file("de_DE"), text);
  const std::string rest = join(kPage1, kSecondPass, kBlank, kPage2);
  const std::string out =
      join(plainHeader(), kTop, kFirstPass, kInstruction, text, rest, trailer());
  expectRun(job_.capture(), out, join(kCaptureOn, reorderingLine(job_)));
  EXPECT_EQ(readFile(job_.tmpFile("qvn_ps2")), out);
  EXPECT_EQ(readFile(job_.tmpFile("qvn_ps")), join(kTop, kFirstPass, rest));
}

TEST_F(InstructionPage, IsLeftOutOfAJobWithoutPages) {
  writeFile(file("de_DE"), kText);
  expectPrintedWithoutPages(job_.input(std::string(kTop)), join(kTop, kSecondPass, kProcedures));
}

TEST_F(InstructionPage, IsInTheDirectoryOfTheLanguageAndSavedBefore1050) {
  struct {
    const char *version, *lang;  // nullptr if it is unset
    std::string code;
  } const rows[] = {{"0x1050", "fr_FR.UTF-8", "fr_FR"},
                    {"0x1050", "fr_FR", "fr_FR"},
                    {"0x1050", "en_US.UTF-8", "en"},
                    {"0x1050", nullptr, "en"},
                    {"0x1050", "", ""},
                    {"0x1050", ".UTF-8", ""},
                    {"0x1050", "en_us", "en_us"},
                    {"0x1050", "en_US@euro", "en_US@euro"},
                    {"0x1050", "zh_TW.Big5.x", "zh_TW"},
                    {"0x1050", "de_DE.a/b", "de_DE"},
                    {"0x1050", "%s%@", "%s%@"},
                    {"0x1450", "en", "en"},
                    {"0x102f", "en", "en"},
                    {"0x104f", "fr_FR.UTF-8", "fr_FR.UTF-8"},
                    {"0x104f", "en_US", "en"},
                    {"failed", "en_US.UTF-8", "en_US.UTF-8"}};
  for (const auto& [version, lang, code] : rows) {
    job_.version(version).unsetEnv("LANG");
    if (lang) job_.env("LANG", lang);
    // The others would be read if the file's name were different.
    const std::string path = directory_.file(code + ".lproj");
    writeFile(path + "/instruction(null)", kText);
    writeFile(path + "/instruction", "not this one");
    writeFile(path + "/instruction.ps", "nor this one");
    const bool isSaved = std::string_view(version) < "0x1050" || version[0] == 'f';
    isSaved ? expectSavedPage(kText) : expectPage(kText);
    fs::remove_all(path);
  }
}

TEST_F(InstructionPage, IsNotReadFromAnotherDirectory) {
  writeFile(file("en"), kText);
  writeFile(directory_.file("in/en.lproj/instruction(null)"), kText);
  writeFile(directory_.file("in/fr/FR.lproj/instruction(null)"), kText);
  fs::create_directory(directory_.file("in/en"));
  job_.env("JOBSHAPER_INSTRUCTIONS", directory_.file("in"));
  for (const std::string& lang : {std::string("en_GB"), std::string("../en"),
                                  std::string("en/../en"), std::string("fr/FR")}) {
    job_.env("LANG", lang);
    expectPage("");
  }
}

TEST_F(InstructionPage, IsReportedOnceIfItCannotBeReadAndTheJobGoesOn) {
  job_.version("0x1049");
  expectSavedPage("");  // no directory
  const std::function<void(const std::string& path)> makers[] = {
      [](const std::string&) {}, [](const std::string& path) { writeFile(path, ""); },
      [](const std::string& path) { fs::create_directory(path); },
      [](const std::string& path) {
        writeFile(path, kText);
        fs::permissions(path, fs::perms::none);
      }};
  for (const auto& make : makers) {
    fs::remove_all(directory_.file("de_DE.lproj"));
    fs::create_directory(directory_.file("de_DE.lproj"));
    make(file("de_DE"));
    std::thread([this] {
      obeyPermissions();
      expectSavedPage("");
    }).join();
  }
}

TEST_F(InstructionPage, IsNotInOtherBooklets) {
  writeFile(file("de_DE"), kText);
  expectBody(job_.ppd("*ColorDevice: True\n"), join(kTop, kPage1, kPage2));
}

}  // namespace
}  // namespace jobshaper::testing
