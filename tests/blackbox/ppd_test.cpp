// The printer's PPD file: which lines select the generic driver, and whether it is the color one.
// The result is visible in the header's QCOLORMODEL and RENDERMODE lines.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "tests/support/program.h"

namespace {

using namespace jobshaper::testing;

constexpr std::string_view kPage = "showpage\n";
constexpr std::string_view kColor =
    "@PJL SET QCOLORMODEL = CMYK\n"
    "@PJL SET RENDERMODE  = COLOR\n";
constexpr std::string_view kMono =
    "@PJL SET QCOLORMODEL = BLACK\n"
    "@PJL SET RENDERMODE  = GRAYSCALE\n";
constexpr std::string_view kNotGeneric = "";

void expectJob(Job& job, std::string_view lines, const std::string& messages = "") {
  const Outcome outcome = job.input(std::string(kPage)).run();
  EXPECT_EQ(outcome.out, headerWith(lines) + std::string(kPage) + trailer());
  EXPECT_EQ(outcome.err, tmpLines(job) + messages);
  EXPECT_EQ(outcome.exitStatus, 0);
}

void expectPpd(std::string_view ppd, std::string_view lines) {
  SCOPED_TRACE("PPD: " + std::string(ppd.substr(0, 200)));
  Job job;
  job.ppd(ppd);
  expectJob(job, lines);
}

// The part of the log from the end of the option store's records to the options of the job summary.
std::string logAroundPpd(const std::string& log) {
  const std::string_view storeEnd = "\t-[argumentStore initWithOptionString:]\tL#\t}\n";
  const std::size_t begin = log.find(storeEnd);
  const std::size_t end = log.find("AI######\t[time]\tmain\tL#\t\n=====");
  if (begin == std::string::npos || end == std::string::npos) return "incomplete log:\n" + log;
  return log.substr(begin + storeEnd.size(), end - begin - storeEnd.size());
}

constexpr std::string_view kBuilderRecords =
    "AI######\t[time]\t-[pjlCreation initFromArgsStore:userID:jobName:]\tL#\t{\n"
    "AI######\t[time]\t-[pjlCreation initFromArgsStore:userID:jobName:]\tL#\t}\n"
    "AI######\t[time]\tmain\tL#\t\n\nFilter version = 3.9\n\n";

void expectLog(Job& job, const std::string& beforeBuilder, const std::string& options) {
  job.log(1).input(std::string(kPage)).run();
  EXPECT_EQ(logAroundPpd(maskLog(readFile(job.tmpFile("debug.log")))),
            beforeBuilder + std::string(kBuilderRecords) + options);
}

TEST(PpdKeyword, ColourMakesAColourQueue) {
  expectPpd("*QVGeneric: \"Color\"\n", kColor);
  expectPpd("*QVGeneric: Color\n", kColor);
}

TEST(PpdKeyword, AnyOtherValueMakesABlackQueue) {
  expectPpd("*QVGeneric: \"Mono\"\n", kMono);
  expectPpd("*QVGeneric: Mono\n", kMono);
  expectPpd("*QVGeneric: True\n", kMono);
  expectPpd("*QVGeneric: Colour\n", kMono);
  expectPpd("*QVGeneric: Colo\n", kMono);
  expectPpd("*QVGeneric: Color, Mono\n", kMono);
  expectPpd("*QVGeneric: \xc3\xa4\n", kMono);
}

TEST(PpdKeyword, ValueIsCaseSensitive) {
  expectPpd("*QVGeneric: \"color\"\n", kMono);
  expectPpd("*QVGeneric: \"COLOR\"\n", kMono);
  expectPpd("*QVGeneric: coloR\n", kMono);
}

TEST(PpdKeyword, KeywordIsCaseInsensitive) {
  expectPpd("*qvgeneric: \"Color\"\n", kColor);
  expectPpd("*QVGENERIC: \"Color\"\n", kColor);
  expectPpd("*qVgEnErIc: Mono\n", kMono);
}

TEST(PpdKeyword, MustBeAtTheStartOfItsLine) {
  expectPpd(" *QVGeneric: Color\n", kNotGeneric);
  expectPpd("\t*QVGeneric: Color\n", kNotGeneric);
  expectPpd("%*QVGeneric: Color\n", kNotGeneric);
  expectPpd("QVGeneric: Color\n", kNotGeneric);
  expectPpd("**QVGeneric: Color\n", kNotGeneric);
  expectPpd("*%QVGeneric: Color\n", kNotGeneric);
  expectPpd("*DefaultQVGeneric: Color\n", kNotGeneric);
  expectPpd("*NickName: \"*QVGeneric: Color\"\n", kNotGeneric);
}

TEST(PpdKeyword, IncompleteKeywordIsNone) {
  expectPpd("*QVGeneri: Color\n", kNotGeneric);
  expectPpd("*QVGener\n", kNotGeneric);
  expectPpd("*Q\n", kNotGeneric);
  expectPpd("*QV Generic: Color\n", kNotGeneric);
}

TEST(PpdKeyword, LongerKeywordMatchesToo) {
  expectPpd("*QVGenericDriver: Color\n", kColor);
  expectPpd("*QVGeneric2: Color\n", kColor);
  expectPpd("*qvgenericdriver: Mono\n", kMono);
  expectPpd("*QVGeneric Type/Kind of driver: Color\n", kColor);
  expectPpd("*QVGeneric : Color\n", kColor);
  expectPpd("*QVGeneric\xc3\xa9: Color\n", kColor);
}

TEST(PpdKeyword, LastLineWins) {
  expectPpd("*QVGeneric: Color\n*QVGeneric: Mono\n", kMono);
  expectPpd("*QVGeneric: Mono\n*QVGeneric: Color\n", kColor);
  expectPpd("*QVGeneric: Mono\n*Other: x\n*QVGeneric: Mono\n*Other: y\n*qvgeneric: Color\n",
            kColor);
}

TEST(PpdKeyword, LaterLongerKeywordWins) {
  expectPpd("*QVGeneric: Mono\n*QVGenericDriver: Color\n", kColor);
  expectPpd("*QVGeneric: Color\n*QVGenericDriver: Mono\n", kMono);
  expectPpd("*QVGenericDriver: Mono\n*QVGeneric: Color\n", kColor);
  expectPpd("*QVGenericDriver: Color\n*QVGeneric: Mono\n", kMono);
}

TEST(PpdKeyword, ManualBookletKeywordMakesNoGenericQueue) {
  expectPpd("*QvnManualBooklet: True\n", kNotGeneric);
  expectPpd("*QvnManualBooklet: \"Color\"\n", kNotGeneric);
}

TEST(PpdKeyword, BothKeywordsCanBeGiven) {
  expectPpd("*QvnManualBooklet: True\n*QVGeneric: Color\n", kColor);
  expectPpd("*QVGeneric: Color\n*QvnManualBooklet: Mono\n", kColor);
  expectPpd("*QVGeneric: Mono\n*QvnManualBooklet: Color\n", kMono);
  expectPpd("*QvnManualBooklet:\n*QVGeneric: Mono\n", kMono);
}

TEST(PpdValue, BlanksAndTabsBeforeItAreSkipped) {
  expectPpd("*QVGeneric:Color\n", kColor);
  expectPpd("*QVGeneric:\"Color\"\n", kColor);
  expectPpd("*QVGeneric:     Color\n", kColor);
  expectPpd("*QVGeneric:\tColor\n", kColor);
  expectPpd("*QVGeneric: \t \t\"Color\"\n", kColor);
}

TEST(PpdValue, BlanksAndTabsAfterItBelongToIt) {
  expectPpd("*QVGeneric: Color \n", kMono);
  expectPpd("*QVGeneric: Color\t\n", kMono);
  expectPpd("*QVGeneric: \"Color\" \n", kMono);
  expectPpd("*QVGeneric: \"Color\"\t\r\n", kMono);
}

TEST(PpdValue, BlanksInQuotesBelongToIt) {
  expectPpd("*QVGeneric: \" Color\"\n", kMono);
  expectPpd("*QVGeneric: \"Color \"\n", kMono);
}

TEST(PpdValue, EveryQuoteIsRemoved) {
  expectPpd("*QVGeneric: \"Color\n", kColor);
  expectPpd("*QVGeneric: Color\"\n", kColor);
  expectPpd("*QVGeneric: C\"o\"l\"o\"r\n", kColor);
  expectPpd("*QVGeneric: \"\"\"Color\"\"\"\n", kColor);
  expectPpd("*QVGeneric: 'Color'\n", kMono);
}

TEST(PpdValue, BeginsAfterTheFirstColon) {
  expectPpd("*QVGeneric: Color:\n", kMono);
  expectPpd("*QVGeneric: x: Color\n", kMono);
  expectPpd("*QVGeneric:: Color\n", kMono);
  expectPpd("*QVGeneric x: Color\n", kColor);
}

TEST(PpdValue, EmptyOneStoresNothing) {
  expectPpd("*QVGeneric:\n", kNotGeneric);
  expectPpd("*QVGeneric:", kNotGeneric);
  expectPpd("*QVGeneric:   \t \n", kNotGeneric);
  expectPpd("*QVGeneric: \"\"\n", kNotGeneric);
  expectPpd("*QVGeneric: \"\"\"\n", kNotGeneric);
  expectPpd("*QVGeneric:\r\n", kNotGeneric);
}

TEST(PpdValue, EmptyOneLeavesTheEarlierValue) {
  expectPpd("*QVGeneric: Color\n*QVGeneric:\n", kColor);
  expectPpd("*QVGeneric: Color\n*QVGeneric: \"\"\n", kColor);
  expectPpd("*QVGeneric: Color\n*QVGenericDriver:   \n", kColor);
}

TEST(PpdValue, BlankInQuotesIsNotEmpty) {
  expectPpd("*QVGeneric: \" \"\n", kMono);
  expectPpd("*QVGeneric: Color\n*QVGeneric: \" \"\n", kMono);
}

TEST(PpdValue, DoesNotReachIntoTheNextLine) {
  expectPpd("*QVGeneric:\nColor\n", kNotGeneric);
  expectPpd("*QVGeneric: \"\nColor\"\n", kNotGeneric);
  expectPpd("*QVGeneric: \"Col\nor\"\n", kMono);
}

TEST(PpdValue, LineWithoutColonStoresNothing) {
  expectPpd("*QVGeneric\n", kNotGeneric);
  expectPpd("*QVGeneric", kNotGeneric);
  expectPpd("*QVGeneric Color\n", kNotGeneric);
  expectPpd("*QVGeneric \"Color\"\n", kNotGeneric);
  expectPpd("*QVGeneric: Color\n*QVGeneric\n", kColor);
  expectPpd("*QVGeneric: Color\n*QVGeneric Mono\n", kColor);
}

TEST(PpdValue, LineThatIsNotUtf8StoresNothing) {
  expectPpd("*QVGeneric: \x80\n", kNotGeneric);
  expectPpd("*QVGeneric: Color\xff\n", kNotGeneric);
  expectPpd("*QVGeneric\x8a: Color\n", kNotGeneric);
  expectPpd("*QVGeneric: \xc3\n", kNotGeneric);
  expectPpd("*QVGeneric: \xc0\xaf\n", kNotGeneric);          // overlong
  expectPpd("*QVGeneric: \xed\xa0\x80\n", kNotGeneric);      // surrogate
  expectPpd("*QVGeneric: \xf4\x90\x80\x80\n", kNotGeneric);  // above U+10FFFF
}

TEST(PpdValue, LineThatIsNotUtf8LeavesTheOthers) {
  expectPpd("*QVGeneric: Color\n*QVGeneric: \xff\n", kColor);
  expectPpd("*QVGeneric: \xff\n*QVGeneric: Mono\n", kMono);
  expectPpd("*NickName: \"\x8a\"\n*QVGeneric: Color\n*Title: \"\xff\"\n", kColor);
}

TEST(PpdFile, LinesMayEndInEveryUsualWay) {
  expectPpd("*PPD-Adobe: \"4.3\"\n*QVGeneric: \"Color\"\n*End\n", kColor);
  expectPpd("*PPD-Adobe: \"4.3\"\r\n*QVGeneric: \"Color\"\r\n*End\r\n", kColor);
  expectPpd("*PPD-Adobe: \"4.3\"\r*QVGeneric: \"Color\"\r*End\r", kColor);
  expectPpd("*PPD-Adobe: \"4.3\"\n\n\r\n\r*QVGeneric: Color\r\n", kColor);
}

TEST(PpdFile, LastLineMayBeUnterminated) {
  expectPpd("*QVGeneric: Color", kColor);
  expectPpd("*QVGeneric: Mono\n*QVGeneric: \"Color\"", kColor);
  expectPpd("*QVGeneric: Color\r", kColor);
}

TEST(PpdFile, MarkBeforeTheFirstLineHidesItsKeyword) {
  expectPpd("\xef\xbb\xbf*QVGeneric: Color\n", kNotGeneric);
  expectPpd("\xef\xbb\xbf*QVGeneric: Color\n*QVGeneric: Mono\n", kMono);
}

TEST(PpdFile, WithoutLinesItIsNoGenericQueue) {
  expectPpd("", kNotGeneric);
  expectPpd("\n", kNotGeneric);
  expectPpd("\n\n\r\n\r", kNotGeneric);
}

TEST(PpdFile, LinesAfterEmptyOnesAreRead) {
  expectPpd("\n\n\n*QVGeneric: Color\n", kColor);
  expectPpd("*QVGeneric: Mono\n\n\n*QVGeneric: Color\n", kColor);
}

TEST(PpdFile, ZeroByteEndsItsLineEarly) {
  expectPpd(bytes("*QVGeneric: Color\0, perhaps\n"), kColor);
  expectPpd(bytes("*QVGeneric: Color\0\xff\n"), kColor);
  expectPpd(bytes("*QVGeneric\0: Color\n"), kNotGeneric);
  expectPpd(bytes("*QVGeneric:\0 Color\n"), kNotGeneric);
  expectPpd(bytes("*QVGen\0eric: Color\n"), kNotGeneric);
  expectPpd(bytes("\0*QVGeneric: Color\n"), kNotGeneric);
  expectPpd(bytes("*QVGeneric: Mono\n\0\n*QVGeneric: Color\n"), kColor);
}

TEST(PpdFile, TruncatedLineKeepsItsFirstPart) {
  // The value of the overlong line is neither "Color" nor empty, and its rest is not a keyword.
  expectPpd("*QVGeneric: Color" + std::string(3000, 'r') + "\n", kMono);
  expectPpd("*QVGeneric: Color" + std::string(3000, ' ') + "\n", kMono);
  expectPpd("*QVGeneric: " + std::string(990, ' ') + "Color\n", kColor);
}

TEST(PpdFile, TextAfterTheCutIsNotPartOfTheLine) {
  expectPpd("*QVGeneric: " + std::string(3000, ' ') + "Color\n", kNotGeneric);
  expectPpd("*QVGeneric" + std::string(3000, 'x') + ": Color\n", kNotGeneric);
  expectPpd("*QVGeneric: Color\n*QVGeneric: " + std::string(2000, ' ') + "Mono\n", kColor);
}

TEST(PpdFile, RestOfACutLineIsALineOfItsOwn) {
  // A line is split after 1022 or 1023 bytes, depending on libcups.
  expectPpd(std::string(1022, 'x') + "*QVGeneric: Color\n" + std::string(1023, 'x') +
                "*QVGeneric: Color\n",
            kColor);
}

TEST(PpdFile, CutInsideACharacterStoresNothing) {
  // Wherever the split is, it is inside a two-byte character in one of the two lines, and between
  // two characters in the other one.
  const std::string even = "*QVGeneric: " + std::string(10, 'x');
  std::string characters;
  for (int i = 0; i < 1000; ++i) characters += "\xc3\xa9";
  Job job;
  job.ppd("*QVGeneric: Color\n" + even + characters + "\n");
  const std::string first = job.input(std::string(kPage)).run().out;
  job.ppd("*QVGeneric: Color\n" + even + "x" + characters + "\n");
  const std::string second = job.run().out;
  const std::string stored = headerWith(kMono) + std::string(kPage) + trailer();
  const std::string notStored = headerWith(kColor) + std::string(kPage) + trailer();
  EXPECT_TRUE((first == stored && second == notStored) || (first == notStored && second == stored))
      << first << second;
}

TEST(PpdFile, LineEndAtTheCutDoesNoHarm) {
  for (std::size_t length = 1019; length <= 1026; ++length) {
    for (const char* lineEnd : {"\n", "\r\n", "\r"}) {
      SCOPED_TRACE(length);
      expectPpd(std::string(length, 'x') + lineEnd + "*QVGeneric: Color" + lineEnd, kColor);
    }
  }
}

TEST(PpdFile, LongFileIsReadToItsEnd) {
  std::string ppd = "*PPD-Adobe: \"4.3\"\n*QVGeneric: Mono\n";
  while (ppd.size() < 4'000'000) ppd += "*Font Courier: Standard \"(002.004S)\" Standard ROM\n";
  expectPpd(ppd + "*QVGeneric: \"Color\"\n", kColor);
  expectPpd(ppd, kMono);
}

TEST(PpdFile, LongFileWithoutLineEndsIsReadToItsEnd) {
  expectPpd(std::string(2'000'000, 'x') + "\n*QVGeneric: Color\n", kColor);
}

TEST(PpdFile, CompressedFileIsReadLikeAnyOther) {
  // gzip of the line *QVGeneric: "Color"
  expectPpd(bytes("\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xd3\x0a\x0c\x73\x4f\xcd"
                  "\x4b\x2d\xca\x4c\xb6\x52\x50\x72\xce\xcf\xc9\x2f\x52\xe2\x02\x00"
                  "\xa7\x7f\xfb\x8b\x14\x00\x00\x00"),
            kColor);
}

TEST(PpdFile, WithoutPpdNothingIsSaid) {
  Job job;
  job.unsetEnv("PPD");
  expectJob(job, kNotGeneric);
}

TEST(PpdFile, UnopenableOneIsReportedAndTheJobGoesOn) {
  for (const std::string& path :
       {std::string("/nonexistent/printer.ppd"), std::string(), std::string("/dev/null/x")}) {
    SCOPED_TRACE(path);
    Job job;
    job.env("PPD", path);
    expectJob(job, kNotGeneric, "ERROR: Unable to open PPD file\n");
  }
}

TEST(PpdFile, UnopenableOneLeavesTheOptionOfTheJob) {
  Job job;
  job.env("PPD", "/nonexistent/printer.ppd").options("QVGeneric=Color");
  expectJob(job, kColor, "ERROR: Unable to open PPD file\n");
}

TEST(PpdFile, EmptyDeviceIsAnEmptyFile) {
  Job job;
  job.env("PPD", "/dev/null");
  expectJob(job, kNotGeneric);
}

TEST(PpdFile, DirectoryOpensAndHasNoLines) {
  Job job;
  job.env("PPD", job.tmp());
  expectJob(job, kNotGeneric);
}

TEST(PpdFile, StaysOpenWhileTheJobIsRead) {
  Job job;
  job.ppd("*QVGeneric: Color\n");
  Process process(job.program(), job.argv(), job.environment());
  ASSERT_TRUE(process.waitForOutputText("ENTER LANGUAGE"));
  int open = 0;
  const std::string directory = "/proc/" + std::to_string(process.pid()) + "/fd";
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    std::error_code gone;
    open += std::filesystem::read_symlink(entry.path(), gone) == job.environment().at("PPD");
  }
  EXPECT_EQ(open, 1);
  EXPECT_EQ(process.finish().exitStatus, 0);
}

TEST(GenericDriver, PpdReplacesTheOptionOfTheJob) {
  Job mono;
  mono.options("QVGeneric=Color").ppd("*QVGeneric: Mono\n");
  expectJob(mono, kMono);
  Job color;
  color.options("QVGeneric=Mono").ppd("*QVGeneric: \"Color\"\n");
  expectJob(color, kColor);
}

TEST(GenericDriver, PpdWithoutTheKeywordLeavesTheOptionOfTheJob) {
  Job job;
  job.options("QVGeneric=Color").ppd("*QvnManualBooklet: True\n*QVGeneric:\n");
  expectJob(job, kColor);
}

TEST(GenericDriver, OptionOfAnotherSpellingIsNotReplaced) {
  Job job;
  job.options("*QVGeneric=Color").ppd("*QVGeneric: Mono\n");
  expectJob(job, kMono);
}

TEST(GenericDriver, OptionDumpShowsTheValueOfThePpd) {
  Job color;
  expectLog(color.options("a=1 b=2").ppd("*qvgenericdriver: \"Color\"\n"), "",
            "AI######\t[time]\tmain\tL#\tQVGeneric\tColor\n"
            "AI######\t[time]\tmain\tL#\ta\t1\n"
            "AI######\t[time]\tmain\tL#\tb\t2\n");
  Job mono;
  expectLog(mono.options("QVGeneric=Color").ppd("*QVGeneric: color\n"), "",
            "AI######\t[time]\tmain\tL#\tQVGeneric\tMono\n");
}

TEST(GenericDriver, OptionDumpLacksItWithoutTheKeyword) {
  Job job;
  expectLog(job.options("a=1").ppd("*QvnManualBooklet: True\n"), "",
            "AI######\t[time]\tmain\tL#\ta\t1\n");
  Job without;
  expectLog(without, "", "");
}

TEST(PpdTrace, UnopenablePpdIsLoggedBeforeTheHeaderIsBuilt) {
  Job job;
  job.env("PPD", "/nonexistent/printer.ppd").options("a=1");
  expectLog(job, "AI######\t[time]\tinitPPDValues\tL#\tERROR: Unable to open PPD file\n\n",
            "AI######\t[time]\tmain\tL#\ta\t1\n");
}

TEST(PpdTrace, UnopenablePpdIsLoggedWithItsFixedLineNumber) {
  Job job;
  job.env("PPD", "/nonexistent/printer.ppd").log(1).run();
  EXPECT_NE(readFile(job.tmpFile("debug.log"))
                .find("\tinitPPDValues\tL1816\tERROR: Unable to open PPD file\n\n"),
            std::string::npos);
}

TEST(PpdTrace, MissingPpdIsNotLogged) {
  Job job;
  expectLog(job.unsetEnv("PPD"), "", "");
}

TEST(PpdTrace, PpdWithoutKeywordsIsNotLogged) {
  Job job;
  expectLog(job.ppd(""), "", "");
  Job directory;
  expectLog(directory.env("PPD", directory.tmp()), "", "");
}

}  // namespace
