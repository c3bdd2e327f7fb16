// pjlLines as a user calls it. What the setters send is in pjl_settings_test.cpp.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "tests/blackbox/pjl_lines.h"

namespace jobshaper::testing {
namespace {

constexpr char kUsage[] = "usage: pjlLines [-u USER] OPTIONS [SETTER ...]\n";

std::string headerFor(const Words& arguments) { return runPjlLines(arguments, Job()).out; }

void expectWrongCall(const Words& arguments, const std::string& message,
                     Where where = Where::here()) {
  expectOutcome(runPjlLines(arguments, Job()), "", message, 2, ::testing::PrintToString(arguments),
                where);
}

TEST(PjlLines, WritesTheHeaderOfAnEmptyJob) { expectLines("", {}, ""); }

TEST(PjlLines, ReadsTheOptionStringAsTheFilterDoes) {
  const std::string options =
      "PrintTo=JRConf JRHOLDKEY='12 34' JRUSERNAME=Ada<20>L<27>E QvnBlankPage=TRUE "
      "com.apple.print.PrintSettings.PMCopies..n.=1 JAUSERID=7 QvnPixelBoost=Fonts noCollate "
      "QVGeneric=Color";
  const std::string header = headerFor({"-u", "ada", options});
  expectRun(Job().options(options), header + trailer());
  EXPECT_NE(header.find("USERNAME = \"Ada L'E\"\n"), std::string::npos);
  EXPECT_NE(header.find("HOLDKEY = \"12 34\"\n"), std::string::npos);
}

TEST(PjlLines, ListsTheSettersWithTheirOptions) {
  expectOutcome(runPjlLines({"--list"}, Job()),
                R"(setCopies                 com.apple.print.PrintSettings.PMCopies..n.
setRotatePaper            com.apple.print.PrintSettings.PMOrientation..n.
setPaperSize              media
setCustomPaper=SIZE
setMediaType              MediaType
setPaperSource            AP_FIRSTPAGE_InputSlot, AP_D_InputSlot, InputSlot, )"
                "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1"
                R"(
setOutputBin              OutputBin
setTonerDarkness          TonerDarkness
setPictureGrade           PictureGrade
setSeparatorPage          SepPages
setSeparatorSource        SepSource
setOffsetPage             Offset
setCyan                   CyanBalance
setMagenta                MagentaBalance
setYellow                 YellowBalance
setBlack                  BlackBalance
setColorCorrection        MediaColor
setGrayCorrection         GrayCorrection
setManualRGBImage         ManualRGBImage
setManualRGBText          ManualRGBText
setManualRGBGraphics      ManualRGBGraphics
setManualCMYK             ManualCMYK
setColorSaver             ColorSaver
setBlackAndWhite          BLW
setBrightness             QvnBrightness
setContrast               QvnContrast
setSaturation             QvnSaturation
setImageSmoothing         ImageSmoothing
setLineDetail             QvnLineDetail
setCollation              com.apple.print.PrintSettings.PMCopyCollate..b.
setResolution             Resolution
addJobAcctgLines          JAUSERID, JAACCTNUM, JADEPTNUM
addQvnGenericDrvCommands  QVGeneric
setDuplicateHeldJobs
insertNumCopies=NUMBER
)",
                "");
}

TEST(PjlLines, HelpBeginsWithTheUsage) {
  const Outcome outcome = runPjlLines({"--help"}, Job());
  expectOutcome(outcome, kUsage + outcome.out.substr(std::size(kUsage) - 1), "");
  EXPECT_NE(outcome.out.find("--list"), std::string::npos);
}

TEST(PjlLines, TakesTheUserVerbatim) {
  EXPECT_EQ(headerFor({"-u", "Ada \"L\" \x8a", ""}), plainHeader("Ada \"L\" \x8a"));
  EXPECT_EQ(headerFor({"-u", "", ""}), plainHeader(""));
  EXPECT_EQ(headerFor({"-ubea", ""}), plainHeader("bea"));
}

TEST(PjlLines, UsesTheLoginNameWithoutAUser) {
  const Outcome outcome = runPjlLines({""}, Job().env("LOGNAME", "lovelace"));
  EXPECT_EQ(outcome.exitStatus, 0);
  const passwd* const entry = getpwuid(getuid());
  const char* const login = getlogin();
  EXPECT_EQ(outcome.out, plainHeader(entry ? entry->pw_name : login ? login : "lovelace"));
}

TEST(PjlLines, ReportsThatItsOutputIsLost) {
  const Job job;
  for (const std::string argument : {"", "--list", "--help"}) {
    expectOutcome(
        runPjlLines({argument}, job, [] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), 1); }), "",
        (argument.empty() ? "tmp at " + job.tmp() + " \n" : "") +
            "pjlLines: standard output: No space left on device\n",
        1, argument);
  }
}

TEST(PjlLines, OptionStringMayBeginWithAMinus) {
  EXPECT_EQ(headerFor({"-u", "ada", "--", "-x"}), plainHeader());
}

TEST(PjlLines, TakesCopiesOf32Bits) {
  expectLines("", {"insertNumCopies=2147483647", "insertNumCopies=-2147483648"},
              "@PJL SET COPIES = 2147483647\n@PJL SET COPIES = -2147483648\n");
  for (const std::string number : {"", "x", "3x", " 3", "+3", "3.0", "2147483648", "-2147483649"}) {
    expectWrongCall({"", "insertNumCopies=" + number},
                    "pjlLines: \"insertNumCopies=" + number + "\" needs a 32-bit integer\n");
  }
}

TEST(PjlLines, RefusesAnUnknownSetter) {
  for (const std::string setter : {"", "setpapersize", "setPaperSize ", "setPaper", "media=A4",
                                   "initFromArgsStore", "=3", "count", "-u"}) {
    expectWrongCall({"media=A4", "setPaperSize", setter},
                    "pjlLines: \"" + setter + "\" is not a setter; --list shows all setters\n");
  }
}

TEST(PjlLines, RefusesASetterWithAMissingOrNeedlessArgument) {
  const std::string rows[][2] = {{"setPaperSize=A4", "setPaperSize"},
                                 {"setCyan=", "setCyan"},
                                 {"setCustomPaper", "setCustomPaper=SIZE"},
                                 {"insertNumCopies", "insertNumCopies=NUMBER"}};
  for (const auto& [given, correct] : rows) {
    expectWrongCall({"", given}, "pjlLines: \"" + given + "\" must be given as " + correct + "\n");
  }
}

TEST(PjlLines, RefusesACallWithoutOptionString) {
  const std::string missing = "pjlLines: the option string is missing; give '' for none\n";
  expectWrongCall({}, missing + kUsage);
  expectWrongCall({"-u", "ada"}, missing + kUsage);
  expectWrongCall({"-u"}, std::string("pjlLines: option requires an argument -- 'u'\n") + kUsage);
  expectWrongCall({"-q"}, std::string("pjlLines: invalid option -- 'q'\n") + kUsage);
}

}  // namespace
}  // namespace jobshaper::testing
