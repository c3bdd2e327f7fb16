// The printer's PPD file: which lines select the generic driver, and whether it is the color one.
// The result is visible in the header's QCOLORMODEL and RENDERMODE lines.
#include "tests/blackbox/value_tables.h"

namespace jobshaper::testing {
namespace {

void expectPpds(std::string_view lines, const std::vector<std::string>& ppds,
                Where where = Where::here()) {
  for (const std::string& ppd : ppds) {
    Job job;
    expectOutcome(job.ppd(ppd).run(), headerWith(lines) + trailer(), tmpLines(job), 0,
                  "the PPD " + ::testing::PrintToString(ppd.substr(0, 1000)), where);
  }
}

// None of these lines selects the generic driver or changes an earlier selection.
void expectIgnored(const std::vector<std::string>& lines, Where where = Where::here()) {
  std::string ppd;
  for (const std::string& line : lines) ppd += line + "\n";
  expectPpds("", {ppd}, where);
  expectPpds(kColorLines, {"*QVGeneric: Color\n" + ppd}, where);
}

// ---- the keyword

TEST(PpdKeyword, StartsItsLineAndIsNotCaseSensitive) {
  expectPpds(kColorLines, {"*QVGeneric: Color\n", "*qvgeneric: Color\n"});
  expectPpds(kBlackLines, {"*QVGENERIC: Mono\n"});
  // With a byte order mark, the first line starts with that.
  expectIgnored({"\xef\xbb\xbf*QVGeneric: Color", " *QVGeneric: Color", "\t*QVGeneric: Color",
                 "%*QVGeneric: Color", "QVGeneric: Color", "**QVGeneric: Color",
                 "*%QVGeneric: Color", "*DefaultQVGeneric: Color",
                 "*NickName: \"*QVGeneric: Color\"", "*QVGeneri: Color", "*QVGener", "*Q", "*",
                 "*QV Generic: Color", "*QvnManualBooklet: Color"});
}

TEST(PpdKeyword, LongerKeywordMatchesToo) {
  expectPpds(kColorLines, {"*QVGeneric2: Color\n", "*QVGeneric Type/Kind of driver: Color\n"});
  expectPpds(kBlackLines, {"*qvgenericdriver: Mono\n"});
}

TEST(PpdKeyword, LastLineWins) {
  expectPpds(kColorLines,
             {"*QVGeneric: Mono\n*Other: x\n*qvgeneric: Color\n*QvnManualBooklet: Mono\n",
              "*QVGeneric: Mono\n*QVGenericDriver: Color\n"});
  expectPpds(kBlackLines, {"*QVGenericDriver: Color\n*QVGeneric: Mono\n"});
}

// ---- the value

TEST(PpdValue, IsColorOnlyIfItIsExactlyThatWithoutDoubleQuotes) {
  expectPpds(kColorLines, {"*QVGeneric:\t \"Color\"\n", "*QVGeneric:C\"ol\"or\"\n"});
  for (const std::string value :
       {"Colored", "Colo", "color", "COLOR", "'Color'", "Color ", "\" Color\"",
        "Color:", "x: Color", "\xc3\xa4", "\"Col\nor\"", "\" \""}) {
    expectPpds(kBlackLines, {"*QVGeneric: Color\n*QVGeneric: " + value + "\n"});
  }
}

TEST(PpdValue, LineWithoutAValueIsIgnored) {
  expectIgnored({"*QVGeneric:", "*QVGeneric:   \t ", "*QVGeneric: \"\"", "*QVGeneric: \"\"\"",
                 "*QVGeneric:\r", "*QVGeneric", "*QVGeneric Color", "*QVGeneric \"Mono\"",
                 "*QVGenericDriver:   ", "*QVGeneric:\nColor"});
}

TEST(PpdValue, LineThatIsNotUtf8IsIgnored) {
  expectIgnored({"*QVGeneric: \x80", "*QVGeneric: Color\xff", "*QVGeneric\x8a: Color",
                 "*QVGeneric: \xc3", "*NickName: \"\x8a\""});
  expectPpds(kBlackLines, {"*QVGeneric: \xff\n*QVGeneric: Mono\n"});
}

// ---- the file

TEST(PpdFile, LinesMayEndInEveryUsualWay) {
  expectPpds(kColorLines, {"*PPD-Adobe: \"4.3\"\r\n\n\r\n\r*QVGeneric: \"Color\"\r\n*End\r\n",
                           "*PPD-Adobe: \"4.3\"\r*QVGeneric: Color\r*End\r",
                           "*QVGeneric: Mono\n*QVGeneric: Color"});
  expectPpds("", {""});
}

TEST(PpdFile, ZeroByteEndsItsLineEarly) {
  expectPpds(kColorLines, {bytes("*QVGeneric: Mono\n\0\n*QVGeneric: Color\0, \xff\n")});
  expectIgnored({bytes("*QVGeneric\0: Color"), bytes("*QVGeneric:\0 Color"),
                 bytes("*QVGen\0eric: Color"), bytes("\0*QVGeneric: Color")});
}

// A line is split after 1022 or 1023 bytes, depending on libcups.
TEST(PpdFile, OverlongLineIsSplitAndItsRestIsALineOfItsOwn) {
  expectPpds(kBlackLines, {"*QVGeneric: Color" + std::string(3000, ' ') + "\n"});
  expectPpds(kColorLines, {"*QVGeneric: " + std::string(990, ' ') + "Color\n",
                           std::string(1022, 'x') + "*QVGeneric: Color\n" + std::string(1023, 'x') +
                               "*QVGeneric: Color\n"});
  expectIgnored({"*QVGeneric: " + std::string(3000, ' ') + "Mono",
                 "*QVGeneric" + std::string(3000, 'x') + ": Mono"});
}

TEST(PpdFile, CompressedFileIsReadLikeAnyOther) {
  // gzip of the line *QVGeneric: "Color"
  expectPpds(kColorLines, {bytes("\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xd3\x0a\x0c\x73\x4f\xcd"
                                 "\x4b\x2d\xca\x4c\xb6\x52\x50\x72\xce\xcf\xc9\x2f\x52\xe2\x02\x00"
                                 "\xa7\x7f\xfb\x8b\x14\x00\x00\x00")});
}

TEST(PpdFile, UnopenableFileIsReportedAndTheJobKeepsItsOption) {
  const std::string message = "ERROR: Unable to open PPD file\n";
  for (const char* path : {"/nonexistent/printer.ppd", "", "/dev/null/x"}) {
    expectRun(Job().env("PPD", path).options("QVGeneric=Color"),
              headerWith(kColorLines) + trailer(), message);
  }
}

TEST(PpdFile, DirectoryAndDeviceHaveNoLines) {
  for (const char* path : {"/", "/dev/null"}) expectBody(Job().env("PPD", path), "");
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
  } const rows[] = {{"QVGeneric=Color", "*QVGeneric: Mono\n", kBlackLines},
                    {"QVGeneric=Mono", "*QVGeneric: \"Color\"\n", kColorLines},
                    {"*QVGeneric=Color", "*QVGeneric: Mono\n", kBlackLines},
                    {"QVGeneric=Color", "*QvnManualBooklet: True\n*QVGeneric:\n", kColorLines}};
  for (const auto& [option, ppd, lines] : rows) {
    expectRun(Job().options(option).ppd(ppd), headerWith(lines) + trailer());
  }
}

TEST(GenericDriver, OptionDumpShowsColorOrMono) {
  for (const auto& [ppd, shown] : {std::pair("*qvgenericdriver: \"Color\"\n", "QVGeneric\tColor"),
                                   std::pair("*QVGeneric: color\n", "QVGeneric\tMono")}) {
    const std::string log = maskedLogOf(Job().options("QVGeneric=x").ppd(ppd));
    EXPECT_NE(log.find(logRecord("main", shown)), std::string::npos) << log;
  }
}

}  // namespace
}  // namespace jobshaper::testing
