// The page in front of a manual booklet that tells the user how to turn the printed stack: which
// file it is read from, where it stands, and what is sent without it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/permissions.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kText = "%%Page: 0 0 turn the stack\nshowpage\n";

// A job of two pages on a system with a folder for instruction pages.
class InstructionPage : public ::testing::Test {
 protected:
  InstructionPage() : job_(manualJob(join(kTop, kPage1, kPage2))) {
    job_.version("0x1050").env("JOBSHAPER_INSTRUCTIONS", folder_.path()).env("LANG", "de_DE");
    before_ = threeTmpLines(job_);
  }

  void captureJob() {
    const std::string line = "tmp at " + job_.tmp() + " \n";
    before_ = join(line, line, kCaptureOn, line);
    job_.capture();
  }

  // The file is named after the missing object that its name is formed with.
  std::string file(std::string_view code) const {
    return folder_.file(join(code, ".lproj/instruction(null)"));
  }

  void expectCurrent(std::string_view text, std::string_view message) const {
    expectOutcome(job_.run(),
                  join(plainHeader(), kTop, kFirstPass, "%%Page: 0 0\n", text, kPage1, kSecondPass,
                       kBlank, kPage2, trailer()),
                  join(before_, message));
    expectNoManualFiles(job_);
  }

  void expectBefore1050(std::string_view text, std::string_view message) const {
    expectOutcome(job_.run(),
                  join(plainHeader(), kTop, kFirstPass, "%%Page: 0 0\nuserdict/ESPsave save put\n",
                       text, "\nuserdict /ESPsave get restore\n", kPage1, kSecondPass, kBlank,
                       "userdict /ESPsave get restore\n", kPage2, trailer()),
                  join(before_, message));
    expectNoManualFiles(job_);
  }

  TemporaryFolder folder_;
  Job job_;
  std::string before_;  // what standard error holds ahead of the line loop
};

// ---- text around the page

TEST_F(InstructionPage, StandsBetweenFirstPassRequestAndFirstPage) {
  writeFile(file("de_DE"), kText);
  expectCurrent(kText, "");
}

TEST_F(InstructionPage, IsSavedAndRestoredBefore1050) {
  writeFile(file("de_DE"), kText);
  for (const char* version : {"0x1049", "0x104f", "0x102f", "failed"}) {
    job_.version(version);
    expectBefore1050(kText, "");
  }
}

TEST_F(InstructionPage, IsNotSavedFrom1050On) {
  writeFile(file("de_DE"), kText);
  for (const char* version : {"0x1050", "0x1051", "0x1450"}) {
    job_.version(version);
    expectCurrent(kText, "");
  }
}

TEST_F(InstructionPage, PassesByteByByteAndNoRuleAppliesToIt) {
  const std::string text = bytes(
      "@PJL SET COPIES = 9\n\x1b%-12345X\r\n%%BeginProlog\n*JobPatchFile\n*QVBookletFold\n"
      "%%Page: 7 7\n%%Trailer\nzero\0byte \x80\xff\rno line end");
  writeFile(file("de_DE"), text);
  expectCurrent(text, "");
  job_.version("0x1049");
  expectBefore1050(text, "");
}

TEST_F(InstructionPage, MayBeLong) {
  std::string text;
  while (text.size() < 5000000) text += std::to_string(text.size()) + " 0 moveto\n";
  writeFile(file("de_DE"), text);
  expectCurrent(text, "");
}

TEST_F(InstructionPage, MayBeASingleByte) {
  writeFile(file("de_DE"), bytes("\0"));
  expectCurrent(bytes("\0"), "");
}

TEST_F(InstructionPage, GoesToTheOutgoingCaptureAndNotToTheIncomingOne) {
  writeFile(file("de_DE"), kText);
  captureJob();
  expectCurrent(kText, "");
  EXPECT_EQ(readFile(job_.tmpFile("qvn_ps")),
            join(kTop, kFirstPass, kPage1, kSecondPass, kBlank, kPage2));
  EXPECT_EQ(readFile(job_.tmpFile("qvn_ps2")),
            join(plainHeader(), kTop, kFirstPass, "%%Page: 0 0\n", kText, kPage1, kSecondPass,
                 kBlank, kPage2, trailer()));
}

TEST_F(InstructionPage, GoesToTheOutgoingCaptureWithSaveAndRestoreBefore1050) {
  captureJob();
  job_.version("0x1049");
  expectBefore1050("", kNoInstruction);
  EXPECT_EQ(readFile(job_.tmpFile("qvn_ps")),
            join(kTop, kFirstPass, kPage1, kSecondPass, kBlank, kRestore, kPage2));
  EXPECT_EQ(readFile(job_.tmpFile("qvn_ps2")),
            join(plainHeader(), kTop, kFirstPass,
                 "%%Page: 0 0\nuserdict/ESPsave save put\n\nuserdict /ESPsave get restore\n",
                 kPage1, kSecondPass, kBlank, kRestore, kPage2, trailer()));
}

TEST_F(InstructionPage, IsLeftOutOfAJobWithoutPages) {
  writeFile(file("de_DE"), kText);
  job_.input(std::string(kTop));
  expectPrintedWithoutPages(job_, join(kTop, kSecondPass, kProcedures));
}

// ---- language

struct Language {
  const char* version;
  std::optional<const char*> lang;
  std::string_view code;
};

void PrintTo(const Language& language, std::ostream* out) {
  *out << language.version << " LANG=" << language.lang.value_or("(unset)");
}

class InstructionLanguage : public InstructionPage,
                            public ::testing::WithParamInterface<Language> {};

TEST_P(InstructionLanguage, NamesTheFolder) {
  const auto& [version, lang, code] = GetParam();
  job_.version(version);
  job_.unsetEnv("LANG");
  if (lang) job_.env("LANG", *lang);
  writeFile(file(code), kText);
  // The names that would be read if the file's name had another end.
  writeFile(folder_.file(join(code, ".lproj/instruction")), "not this one");
  writeFile(folder_.file(join(code, ".lproj/instruction.ps")), "nor this one");
  if (std::string_view(version) == "0x1049" || std::string_view(version) == "failed") {
    expectBefore1050(kText, "");
  } else {
    expectCurrent(kText, "");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Current, InstructionLanguage,
    ::testing::Values(Language{"0x1050", "fr_FR.UTF-8", "fr_FR"},
                      Language{"0x1050", "fr_FR", "fr_FR"}, Language{"0x1050", "en_US", "en"},
                      Language{"0x1050", "en_US.UTF-8", "en"}, Language{"0x1050", "en", "en"},
                      Language{"0x1050", "en.UTF-8", "en"}, Language{"0x1050", std::nullopt, "en"},
                      Language{"0x1050", "C", "C"}, Language{"0x1050", "C.UTF-8", "C"},
                      Language{"0x1050", "", ""}, Language{"0x1050", ".UTF-8", ""},
                      Language{"0x1050", "en_GB.UTF-8", "en_GB"},
                      Language{"0x1050", "EN_US", "EN_US"}, Language{"0x1050", "en_us", "en_us"},
                      Language{"0x1050", "en_US@euro", "en_US@euro"},
                      Language{"0x1050", "zh_TW.Big5.x", "zh_TW"},
                      Language{"0x1050", "de_DE.a/b", "de_DE"}, Language{"0x1050", "%s%@", "%s%@"},
                      Language{"0x1450", "en_US.UTF-8", "en"}));

INSTANTIATE_TEST_SUITE_P(
    Before1050, InstructionLanguage,
    ::testing::Values(Language{"0x1049", "fr_FR.UTF-8", "fr_FR.UTF-8"},
                      Language{"0x1049", "fr_FR", "fr_FR"}, Language{"0x1049", "en_US", "en"},
                      Language{"0x1049", "en_US.UTF-8", "en_US.UTF-8"},
                      Language{"0x1049", "en", "en"}, Language{"0x1049", "en.UTF-8", "en.UTF-8"},
                      Language{"0x1049", std::nullopt, "en"}, Language{"0x1049", "C", "C"},
                      Language{"0x1049", "", ""}, Language{"0x1049", ".UTF-8", ".UTF-8"},
                      Language{"failed", "en_US.UTF-8", "en_US.UTF-8"},
                      Language{"failed", "en_US", "en"}));

TEST_F(InstructionPage, OfAnotherLanguageIsNoReplacement) {
  writeFile(file("en"), kText);
  writeFile(file("de"), kText);
  expectCurrent("", kNoInstruction);
}

TEST_F(InstructionPage, FolderIsNotLeftByTheLanguage) {
  writeFile(folder_.file("in/en.lproj/instruction(null)"), kText);
  writeFile(folder_.file("en.lproj/instruction(null)"), kText);
  fs::create_directory(folder_.file("in/en"));
  job_.env("JOBSHAPER_INSTRUCTIONS", folder_.file("in"));
  for (const std::string& lang :
       {std::string("../en"), folder_.file("en"), std::string("/en"), std::string("en/../en")}) {
    job_.env("LANG", lang).version("0x1049");
    expectBefore1050("", kNoInstruction);
  }
}

TEST_F(InstructionPage, FolderOfALanguageHasNoFolderBelowIt) {
  writeFile(folder_.file("fr/FR.lproj/instruction(null)"), kText);
  job_.env("LANG", "fr/FR.UTF-8");
  expectCurrent("", kNoInstruction);
}

// ---- without a file

TEST_F(InstructionPage, WithoutFolderIsReportedAndTheJobGoesOn) {
  job_.env("JOBSHAPER_INSTRUCTIONS", folder_.file("no such folder"));
  expectCurrent("", kNoInstruction);
}

TEST_F(InstructionPage, WithoutFileIsReportedAndTheJobGoesOn) {
  fs::create_directory(folder_.file("de_DE.lproj"));
  expectCurrent("", kNoInstruction);
  job_.version("0x1049");
  expectBefore1050("", kNoInstruction);
}

TEST_F(InstructionPage, OfAnEmptyFileIsReported) {
  writeFile(file("de_DE"), "");
  expectCurrent("", kNoInstruction);
}

TEST_F(InstructionPage, OfADirectoryIsReported) {
  fs::create_directories(file("de_DE"));
  expectCurrent("", kNoInstruction);
}

TEST_F(InstructionPage, OfAPipeNobodyWritesIsReportedWithoutWaiting) {
  fs::create_directory(folder_.file("de_DE.lproj"));
  ASSERT_EQ(mkfifo(file("de_DE").c_str(), 0600), 0);
  expectCurrent("", kNoInstruction);
}

TEST_F(InstructionPage, OfADanglingLinkIsReported) {
  fs::create_directory(folder_.file("de_DE.lproj"));
  fs::create_symlink("nowhere", file("de_DE"));
  expectCurrent("", kNoInstruction);
}

TEST_F(InstructionPage, OfAFileWithoutReadPermissionIsReported) {
  writeFile(file("de_DE"), kText);
  fs::permissions(file("de_DE"), fs::perms::none);
  std::thread([this] {
    obeyPermissions();
    expectCurrent("", kNoInstruction);
  }).join();
}

TEST_F(InstructionPage, IsReportedOnceThoughTheBlankPageBeginsLikeTheFirst) {
  job_.input(join(kPage1)).version("0x1050");
  expectPrinted(job_, join(kFirstPass, kInstruction, kPage1, kSecondPass, kBlank));
}

// ---- only manual booklets have one

TEST(InstructionPageOf, PrinterMadeBookletOrPlainJobDoesNotExist) {
  TemporaryFolder folder;
  writeFile(folder.file("en.lproj/instruction(null)"), kText);
  for (const auto& [ppd, options] :
       {std::pair{"*ColorDevice: True\n", "QVBookletFold=Booklet"},
        std::pair{"*QvnManualBooklet: True\n", "QVBookletFold=PrinterS"}}) {
    Job job;
    job.version("0x1050").env("JOBSHAPER_INSTRUCTIONS", folder.path()).env("LANG", "en_US.UTF-8");
    job.ppd(ppd).options(options).input(join(kTop, kPage1));
    expectOutcome(job.run(), join(plainHeader(), kTop, kPage1, trailer()), tmpLines(job));
  }
}

}  // namespace
}  // namespace jobshaper::testing
