// The printer's PPD file: which lines select the generic driver, and whether it is the color one.
// The result is visible in the header's QCOLORMODEL and RENDERMODE lines.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kColor = "@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n";
constexpr std::string_view kMono =
    "@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n";
constexpr std::string_view kNotGeneric = "";

void expectPpds(std::string_view lines, const std::vector<std::string>& ppds,
                Where where = Where::here()) {
  for (const std::string& ppd : ppds) {
    Job job;
    const ::testing::ScopedTrace trace(where.file, where.line,
                                       "PPD: " + ::testing::PrintToString(ppd.substr(0, 200)));
    expectRun(job.ppd(ppd), headerWith(lines) + trailer(), "", 0, where);
  }
}

// Lines with the keyword "*QVGeneric" and this text.
void expectValues(std::string_view lines, const std::vector<std::string>& texts,
                  Where where = Where::here()) {
  for (const std::string& text : texts) expectPpds(lines, {"*QVGeneric" + text + "\n"}, where);
}

// ---- the keyword

TEST(PpdKeyword, ColorMakesAColorQueueAndAnyOtherValueABlackOne) {
  expectValues(kColor, {": \"Color\"", ": Color"});
  expectValues(kMono, {": \"Mono\"", ": Mono", ": True", ": Colored", ": Colo", ": Color, Mono",
                       ": \xc3\xa4", ": \"color\"", ": \"COLOR\"", ": coloR"});
}

TEST(PpdKeyword, StartsItsLineAndIsNotCaseSensitive) {
  expectPpds(kColor, {"*qvgeneric: \"Color\"\n", "*QVGENERIC: \"Color\"\n"});
  expectPpds(kMono, {"*qVgEnErIc: Mono\n"});
  expectPpds(kNotGeneric, {" *QVGeneric: Color\n", "\t*QVGeneric: Color\n", "%*QVGeneric: Color\n",
                           "QVGeneric: Color\n", "**QVGeneric: Color\n", "*%QVGeneric: Color\n",
                           "*DefaultQVGeneric: Color\n", "*NickName: \"*QVGeneric: Color\"\n",
                           "*QVGeneri: Color\n", "*QVGener\n", "*Q\n", "*QV Generic: Color\n"});
}

TEST(PpdKeyword, LongerKeywordMatchesToo) {
  expectValues(kColor, {"Driver: Color", "2: Color", " Type/Kind of driver: Color", " : Color",
                        "\xc3\xa9: Color"});
  expectPpds(kMono, {"*qvgenericdriver: Mono\n"});
}

TEST(PpdKeyword, LastLineWins) {
  expectPpds(kColor,
             {"*QVGeneric: Mono\n*QVGeneric: Color\n",
              "*QVGeneric: Mono\n*Other: x\n*QVGeneric: Mono\n*Other: y\n*qvgeneric: Color\n",
              "*QVGeneric: Mono\n*QVGenericDriver: Color\n",
              "*QVGenericDriver: Mono\n*QVGeneric: Color\n"});
  expectPpds(kMono, {"*QVGeneric: Color\n*QVGeneric: Mono\n",
                     "*QVGeneric: Color\n*QVGenericDriver: Mono\n",
                     "*QVGenericDriver: Color\n*QVGeneric: Mono\n"});
}

TEST(PpdKeyword, ManualBookletKeywordIsAnotherOne) {
  expectPpds(kNotGeneric, {"*QvnManualBooklet: True\n", "*QvnManualBooklet: \"Color\"\n"});
  expectPpds(kColor, {"*QvnManualBooklet: True\n*QVGeneric: Color\n",
                      "*QVGeneric: Color\n*QvnManualBooklet: Mono\n"});
  expectPpds(kMono, {"*QVGeneric: Mono\n*QvnManualBooklet: Color\n",
                     "*QvnManualBooklet:\n*QVGeneric: Mono\n"});
}

// ---- the value

TEST(PpdValue, BeginsAfterTheFirstColonAndItsBlanks) {
  expectValues(
      kColor, {":Color", ":\"Color\"", ":     Color", ":\tColor", ": \t \t\"Color\"", " x: Color"});
  expectValues(kMono, {": Color ", ": Color\t", ": \"Color\" ", ": \"Color\"\t\r", ": \" Color\"",
                       ": \"Color \"", ": Color:", ": x: Color", ":: Color"});
}

TEST(PpdValue, EveryDoubleQuoteIsRemoved) {
  expectValues(kColor, {": \"Color", ": Color\"", ": C\"o\"l\"o\"r", ": \"\"\"Color\"\"\""});
  expectValues(kMono, {": 'Color'"});
}

TEST(PpdValue, LineWithoutAValueIsIgnored) {
  for (const std::string rest : {":", ":   \t ", ": \"\"", ": \"\"\"", ":\r", "", " Color",
                                 " \"Color\"", "Driver:   ", " Mono"}) {
    expectValues(kNotGeneric, {rest});
    expectPpds(kNotGeneric, {"*QVGeneric" + rest});
    expectPpds(kColor, {"*QVGeneric: Color\n*QVGeneric" + rest + "\n"});
  }
  expectPpds(kNotGeneric, {"*QVGeneric:\nColor\n", "*QVGeneric: \"\nColor\"\n"});
  expectPpds(kMono, {"*QVGeneric: \"Col\nor\"\n", "*QVGeneric: \" \"\n",
                     "*QVGeneric: Color\n*QVGeneric: \" \"\n"});
}

TEST(PpdValue, LineThatIsNotUtf8IsIgnored) {
  expectValues(kNotGeneric, {": \x80", ": Color\xff", "\x8a: Color", ": \xc3",
                             ": \xc0\xaf",            // overlong
                             ": \xed\xa0\x80",        // surrogate
                             ": \xf4\x90\x80\x80"});  // above U+10FFFF
  expectPpds(kColor, {"*QVGeneric: Color\n*QVGeneric: \xff\n",
                      "*NickName: \"\x8a\"\n*QVGeneric: Color\n*Title: \"\xff\"\n"});
  expectPpds(kMono, {"*QVGeneric: \xff\n*QVGeneric: Mono\n"});
}

// ---- the file

TEST(PpdFile, LinesMayEndInEveryUsualWay) {
  expectPpds(kColor, {"*PPD-Adobe: \"4.3\"\n*QVGeneric: \"Color\"\n*End\n",
                      "*PPD-Adobe: \"4.3\"\r\n*QVGeneric: \"Color\"\r\n*End\r\n",
                      "*PPD-Adobe: \"4.3\"\r*QVGeneric: \"Color\"\r*End\r",
                      "*PPD-Adobe: \"4.3\"\n\n\r\n\r*QVGeneric: Color\r\n", "*QVGeneric: Color",
                      "*QVGeneric: Mono\n*QVGeneric: \"Color\"", "*QVGeneric: Color\r",
                      "\n\n\n*QVGeneric: Color\n", "*QVGeneric: Mono\n\n\n*QVGeneric: Color\n"});
  expectPpds(kNotGeneric, {"", "\n", "\n\n\r\n\r"});
}

TEST(PpdFile, ByteOrderMarkHidesTheKeywordOfTheFirstLine) {
  expectPpds(kNotGeneric, {"\xef\xbb\xbf*QVGeneric: Color\n"});
  expectPpds(kMono, {"\xef\xbb\xbf*QVGeneric: Color\n*QVGeneric: Mono\n"});
}

TEST(PpdFile, ZeroByteEndsItsLineEarly) {
  expectPpds(kColor, {bytes("*QVGeneric: Color\0, perhaps\n"), bytes("*QVGeneric: Color\0\xff\n"),
                      bytes("*QVGeneric: Mono\n\0\n*QVGeneric: Color\n")});
  expectPpds(kNotGeneric, {bytes("*QVGeneric\0: Color\n"), bytes("*QVGeneric:\0 Color\n"),
                           bytes("*QVGen\0eric: Color\n"), bytes("\0*QVGeneric: Color\n")});
}

// A line is split after 1022 or 1023 bytes, depending on libcups.
TEST(PpdFile, OverlongLineIsSplitAndItsRestIsALineOfItsOwn) {
  expectPpds(kMono, {"*QVGeneric: Color" + std::string(3000, 'r') + "\n",
                     "*QVGeneric: Color" + std::string(3000, ' ') + "\n"});
  expectPpds(kNotGeneric, {"*QVGeneric: " + std::string(3000, ' ') + "Color\n",
                           "*QVGeneric" + std::string(3000, 'x') + ": Color\n"});
  expectPpds(kColor, {"*QVGeneric: " + std::string(990, ' ') + "Color\n",
                      "*QVGeneric: Color\n*QVGeneric: " + std::string(2000, ' ') + "Mono\n",
                      std::string(1022, 'x') + "*QVGeneric: Color\n" + std::string(1023, 'x') +
                          "*QVGeneric: Color\n"});
  for (std::size_t length = 1019; length <= 1026; ++length) {
    for (const std::string lineEnd : {"\n", "\r\n", "\r"}) {
      expectPpds(kColor, {std::string(length, 'x') + lineEnd + "*QVGeneric: Color" + lineEnd});
    }
  }
}

// Wherever the split is, it is inside a two-byte character in one of the two lines, and between two
// characters in the other one.
TEST(PpdFile, LineThatIsSplitInsideACharacterIsIgnored) {
  std::string characters;
  for (int i = 0; i < 1000; ++i) characters += "\xc3\xa9";
  Job job;
  const auto isMono = [&](std::string_view before) {
    job.ppd("*QVGeneric: Color\n*QVGeneric: " + std::string(10, 'x') + before + characters + "\n");
    const std::string out = job.run().out;
    if (out != headerWith(kMono) + trailer()) {
      EXPECT_EQ(out, headerWith(kColor) + trailer());
      return false;
    }
    return true;
  };
  EXPECT_NE(isMono(""), isMono("x"));
}

TEST(PpdFile, LongFileIsReadToItsEnd) {
  std::string ppd = "*PPD-Adobe: \"4.3\"\n*QVGeneric: Mono\n";
  while (ppd.size() < 4'000'000) ppd += "*Font Courier: Standard \"(002.004S)\" Standard ROM\n";
  expectPpds(kMono, {ppd});
  expectPpds(kColor, {ppd + "*QVGeneric: \"Color\"\n",
                      std::string(2'000'000, 'x') + "\n*QVGeneric: Color\n"});
}

TEST(PpdFile, CompressedFileIsReadLikeAnyOther) {
  // gzip of the line *QVGeneric: "Color"
  expectPpds(kColor, {bytes("\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xd3\x0a\x0c\x73\x4f\xcd"
                            "\x4b\x2d\xca\x4c\xb6\x52\x50\x72\xce\xcf\xc9\x2f\x52\xe2\x02\x00"
                            "\xa7\x7f\xfb\x8b\x14\x00\x00\x00")});
}

TEST(PpdFile, UnopenableFileIsReportedAndTheJobKeepsItsOption) {
  const std::string message = "ERROR: Unable to open PPD file\n";
  for (const char* path : {"/nonexistent/printer.ppd", "", "/dev/null/x"}) {
    expectRun(Job().env("PPD", path), plainHeader() + trailer(), message);
  }
  expectRun(Job().env("PPD", "/nonexistent/printer.ppd").options("QVGeneric=Color"),
            headerWith(kColor) + trailer(), message);
}

TEST(PpdFile, MissingVariableEmptyDeviceAndDirectoryHaveNoLines) {
  Job job;
  expectBody(job.unsetEnv("PPD"), "");
  expectBody(job.env("PPD", "/dev/null"), "");
  expectBody(job.env("PPD", job.tmp()), "");
}

TEST(PpdFile, StaysOpenWhileTheJobIsRead) {
  Job job;
  Process process(job.ppd("*QVGeneric: Color\n"));
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

// ---- the option of the job

TEST(GenericDriver, PpdReplacesTheOptionOfTheJob) {
  struct {
    const char *option, *ppd;
    std::string_view lines;
  } const rows[] = {{"QVGeneric=Color", "*QVGeneric: Mono\n", kMono},
                    {"QVGeneric=Mono", "*QVGeneric: \"Color\"\n", kColor},
                    {"*QVGeneric=Color", "*QVGeneric: Mono\n", kMono},
                    {"QVGeneric=Color", "*QvnManualBooklet: True\n*QVGeneric:\n", kColor}};
  for (const auto& [option, ppd, lines] : rows) {
    Job job;
    expectRun(job.options(option).ppd(ppd), headerWith(lines) + trailer());
  }
}

// The part of the log from the end of the option store's records to the options of the job summary.
void expectLog(const Job& job, const std::string& beforeHeader, const std::string& options,
               Where where = Where::here()) {
  const std::string start = logRecord("-[argumentStore initWithOptionString:]", "}");
  const std::string end = logRecord("main", "\n" + std::string(88, '='));
  std::string log = maskedLogOf(job);
  log.erase(0, log.find(start) + start.size());
  expectSame(log.substr(0, log.find(end)),
             beforeHeader + logBraces("-[pjlCreation initFromArgsStore:userID:jobName:]") +
                 logRecord("main", "\n\nFilter version = 3.9\n") + options,
             "log", "the job", where);
}

TEST(PpdTrace, OptionDumpShowsTheValueOfThePpd) {
  Job job;
  expectLog(job.options("a=1 b=2").ppd("*qvgenericdriver: \"Color\"\n"), "",
            logRecord("main", "QVGeneric\tColor") + logRecord("main", "a\t1") +
                logRecord("main", "b\t2"));
  expectLog(job.options("QVGeneric=Color").ppd("*QVGeneric: color\n"), "",
            logRecord("main", "QVGeneric\tMono"));
  expectLog(job.options("a=1").ppd("*QvnManualBooklet: True\n"), "", logRecord("main", "a\t1"));
}

TEST(PpdTrace, OnlyAnUnopenableFileHasARecordOfItsOwn) {
  Job job;
  expectLog(job.unsetEnv("PPD"), "", "");
  expectLog(job.ppd(""), "", "");
  expectLog(job.env("PPD", job.tmp()), "", "");
  expectLog(job.env("PPD", "/nonexistent/printer.ppd").options("a=1"),
            logRecord("initPPDValues", "ERROR: Unable to open PPD file\n"),
            logRecord("main", "a\t1"));
  EXPECT_NE(readFile(job.tmpFile("debug.log"))
                .find("\tinitPPDValues\tL1816\tERROR: Unable to open PPD file\n\n"),
            std::string::npos);
}

}  // namespace
}  // namespace jobshaper::testing
