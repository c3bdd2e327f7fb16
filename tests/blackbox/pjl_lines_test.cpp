// pjlLines as a user calls it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "tests/support/program.h"

// Set by the build: the path of the program.
#ifndef PJL_LINES_PROGRAM
#error "PJL_LINES_PROGRAM is not set"
#endif

namespace jobshaper::testing {
namespace {

constexpr char kUsage[] = "usage: pjlLines [-u USER] OPTIONS [SETTER ...]\n";

// One run, with TMPDIR and the variables of the test as environment.
struct Lines {
  explicit Lines(std::vector<std::string> arguments,
                 const std::map<std::string, std::string>& more = {},
                 const BeforeExec& beforeExec = nullptr) {
    std::map<std::string, std::string> environment = job.environment();
    for (const auto& [name, value] : more) environment[name] = value;
    arguments.insert(arguments.begin(), "pjlLines");
    Process process(PJL_LINES_PROGRAM, arguments, environment, beforeExec);
    outcome = process.finish();
  }

  // The lines that the setters appended after a plain header of "ada".
  std::string appended() const {
    const std::string header = plainHeader();
    EXPECT_EQ(outcome.out.substr(0, header.size()), header);
    return outcome.out.substr(std::min(header.size(), outcome.out.size()));
  }
  // The log announces itself once.
  std::string tmpLine() const { return "tmp at " + job.tmp() + " \n"; }

  Job job;  // owns the temporary directory
  Outcome outcome;
};

void expectWrongCall(const std::vector<std::string>& arguments, const std::string& message) {
  const Lines lines(arguments);
  EXPECT_EQ(lines.outcome.exitStatus, 2) << message;
  EXPECT_EQ(lines.outcome.out, "") << message;
  EXPECT_EQ(lines.outcome.err, message);
}

TEST(PjlLines, WritesTheHeaderOfAnEmptyJob) {
  const Lines lines({"-u", "ada", ""});
  EXPECT_EQ(lines.outcome.exitStatus, 0);
  EXPECT_EQ(lines.outcome.out, plainHeader());
  EXPECT_EQ(lines.outcome.err, lines.tmpLine());
}

TEST(PjlLines, ReadsTheOptionStringAsTheFilterDoes) {
  const std::string options =
      "PrintTo=JRConf JRHOLDKEY='12 34' JRUSERNAME=Ada<20>L<27>E QvnBlankPage=TRUE "
      "com.apple.print.PrintSettings.PMCopies..n.=1 JAUSERID=7 QvnPixelBoost=Fonts noCollate "
      "QVGeneric=Color";
  const Outcome filter = Job().options(options).run();
  const std::string trailing = trailer();
  ASSERT_GT(filter.out.size(), trailing.size());
  EXPECT_EQ(Lines({"-u", "ada", options}).outcome.out,
            filter.out.substr(0, filter.out.size() - trailing.size()));
  EXPECT_NE(filter.out.find("USERNAME = \"Ada L'E\"\n"), std::string::npos);
  EXPECT_NE(filter.out.find("HOLDKEY = \"12 34\"\n"), std::string::npos);
}

TEST(PjlLines, CallsTheSettersInTheirOrder) {
  const Lines lines({"-u", "ada", "media=A4 Resolution=300dpi SepPages=NoneF", "setResolution",
                     "setPaperSize", "insertNumCopies=3", "setSeparatorPage", "setPaperSize"});
  EXPECT_EQ(lines.outcome.exitStatus, 0);
  EXPECT_EQ(lines.appended(),
            "@PJL SET RESOLUTION = 300\n@PJL SET PAPER = A4\n@PJL SET COPIES = 3\n"
            "@PJL SET QSEPARATORSHEETS = NONE\n@PJL SET PAPER = A4\n");
}

TEST(PjlLines, KnowsEverySetter) {
  const std::string options =
      "com.apple.print.PrintSettings.PMCopies..n.=02 "
      "com.apple.print.PrintSettings.PMOrientation..n.=2 "
      "com.apple.print.PrintSettings.PMCopyCollate..b.=true "
      "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1=Tray1 "
      "media=C4 MediaType=Vinyl OutputBin=Bin10 TonerDarkness=9 PictureGrade=TrueM "
      "SepPages=Pages SepSource=EnvFeeder Offset=Copies CyanBalance=1 MagentaBalance=2 "
      "YellowBalance=3 BlackBalance=4 MediaColor=Manual GrayCorrection=Auto "
      "ManualRGBImage=Vivid ManualRGBText=Off ManualRGBGraphics=sRGBDisplay ManualCMYK=USCMYK "
      "ColorSaver=FalseM BLW=TrueM QvnBrightness=5 QvnContrast=6 QvnSaturation=7 "
      "ImageSmoothing=TrueF QvnLineDetail=FalseF Resolution=1200IQ JAACCTNUM=8";
  struct {
    std::string setter;
    std::string lines;
  } const calls[] = {
      {"setCopies", "@PJL SET COPIES = 2\n"},
      {"setRotatePaper", "@PJL SET QIMAGEORIENTATION = ROTATEPAPER\n"},
      {"setPaperSize", "@PJL SET PAPER = COM9\n"},
      {"setCustomPaper=612x792",
       "@PJL SET QCUSTOMPAPERUNITS = INCHES\n@PJL SET QCUSTOMPAPERWIDTH = 8.50\n"
       "@PJL SET QCUSTOMPAPERHEIGHT = 11.00\n"},
      {"setMediaType", "@PJL SET MEDIATYPE = \"VINYL\"\n"},
      {"setPaperSource", "@PJL SET QPAPERSOURCE = TRAY1\n"},
      {"setOutputBin", "@PJL SET OUTBIN = OPTIONALOUTBIN10\n"},
      {"setTonerDarkness", "@PJL SET DENSITY = 4\n"},
      {"setPictureGrade", "@PJL SET QPICTUREGRADE = ON\n"},
      {"setSeparatorPage", "@PJL SET QSEPARATORSHEETS = BETWEENPAGES\n"},
      {"setSeparatorSource", "@PJL SET QSEPARATORSOURCE = FEEDER\n"},
      {"setOffsetPage", "@PJL SET JOBOFFSET = BETWEENCOPIES\n"},
      {"setCyan", "@PJL SET QCOLORBALANCECYAN = 1\n"},
      {"setMagenta", "@PJL SET QCOLORBALANCEMAGENTA = 2\n"},
      {"setYellow", "@PJL SET QCOLORBALANCEYELLOW = 3\n"},
      {"setBlack", "@PJL SET QCOLORBALANCEBLACK = 4\n"},
      {"setColorCorrection", "@PJL SET QCOLORCORRECTION = MANUAL\n"},
      {"setGrayCorrection", "@PJL SET QCOLORCORRECTION = AUTO\n"},
      {"setManualRGBImage", "@PJL SET QMANUALCOLORRGBIMAGE = VIVID\n"},
      {"setManualRGBText", "@PJL SET QMANUALCOLORRGBTEXT = OFF\n"},
      {"setManualRGBGraphics", "@PJL SET QMANUALCOLORRGBGRAPHICS = SRGBDISPLAY\n"},
      {"setManualCMYK",
       "@PJL SET QMANUALCOLORCMYKIMAGE = SWOP\n@PJL SET QMANUALCOLORCMYKTEXT = SWOP\n"
       "@PJL SET QMANUALCOLORCMYKGRAPHICS = SWOP\n"},
      {"setColorSaver", "@PJL SET QCOLORSAVER = OFF\n"},
      {"setBlackAndWhite", "@PJL SET QCOLORMODEL = BLACK\n"},
      {"setBrightness", "@PJL SET QIMAGEBRIGHTNESS = 5\n"},
      {"setContrast", "@PJL SET QIMAGECONTRAST = 6\n"},
      {"setSaturation", "@PJL SET QIMAGESATURATION = 7\n"},
      {"setImageSmoothing", "@PJL SET QIMAGESMOOTHING = ON\n"},
      {"setLineDetail", "@PJL SET QLINEDETAIL = OFF\n"},
      {"setCollation", "@PJL SET QCOLLATION = ON\n"},
      {"setResolution",
       "@PJL SET RESOLUTION = 600\n@PJL SET QIMAGEENHANCE = ON\n"
       "@PJL SET QIMAGEENHANCETYPE = 2\n@PJL SET QSCREENING = IET\n"},
      {"addJobAcctgLines",
       "@PJL SET QJOBCREDUSERNAME = \"\"\n@PJL SET QJOBCREDACCOUNTID = \"8\"\n"
       "@PJL SET QJOBCREDDEPTID = \"\"\n"},
      {"addQvnGenericDrvCommands", ""},  // because QVGeneric is not given
      {"setDuplicateHeldJobs", "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"},
      {"insertNumCopies=-3", "@PJL SET COPIES = -3\n"},
  };
  std::vector<std::string> arguments = {"-u", "ada", options};
  std::string expected;
  for (const auto& call : calls) {
    EXPECT_EQ(Lines({"-u", "ada", options, call.setter}).appended(), call.lines) << call.setter;
    arguments.push_back(call.setter);
    expected += call.lines;
  }
  EXPECT_EQ(Lines(arguments).appended(), expected);
}

TEST(PjlLines, GenericDriverSetterReadsTheOptionAgain) {
  const std::string lines = "@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n";
  const std::string language = "@PJL ENTER LANGUAGE = POSTSCRIPT\n";
  const Outcome outcome =
      Lines({"-u", "ada", "QVGeneric=Mono", "addQvnGenericDrvCommands"}).outcome;
  EXPECT_TRUE(outcome.out.ends_with(lines + language + lines)) << outcome.out;
}

TEST(PjlLines, ListsTheSettersWithTheirOptions) {
  const Lines lines({"--list"});
  EXPECT_EQ(lines.outcome.exitStatus, 0);
  EXPECT_EQ(lines.outcome.err, "");
  EXPECT_EQ(lines.outcome.out,
            "setCopies                 com.apple.print.PrintSettings.PMCopies..n.\n"
            "setRotatePaper            com.apple.print.PrintSettings.PMOrientation..n.\n"
            "setPaperSize              media\n"
            "setCustomPaper=SIZE\n"
            "setMediaType              MediaType\n"
            "setPaperSource            AP_FIRSTPAGE_InputSlot, AP_D_InputSlot, InputSlot, "
            "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1\n"
            "setOutputBin              OutputBin\n"
            "setTonerDarkness          TonerDarkness\n"
            "setPictureGrade           PictureGrade\n"
            "setSeparatorPage          SepPages\n"
            "setSeparatorSource        SepSource\n"
            "setOffsetPage             Offset\n"
            "setCyan                   CyanBalance\n"
            "setMagenta                MagentaBalance\n"
            "setYellow                 YellowBalance\n"
            "setBlack                  BlackBalance\n"
            "setColorCorrection        MediaColor\n"
            "setGrayCorrection         GrayCorrection\n"
            "setManualRGBImage         ManualRGBImage\n"
            "setManualRGBText          ManualRGBText\n"
            "setManualRGBGraphics      ManualRGBGraphics\n"
            "setManualCMYK             ManualCMYK\n"
            "setColorSaver             ColorSaver\n"
            "setBlackAndWhite          BLW\n"
            "setBrightness             QvnBrightness\n"
            "setContrast               QvnContrast\n"
            "setSaturation             QvnSaturation\n"
            "setImageSmoothing         ImageSmoothing\n"
            "setLineDetail             QvnLineDetail\n"
            "setCollation              com.apple.print.PrintSettings.PMCopyCollate..b.\n"
            "setResolution             Resolution\n"
            "addJobAcctgLines          JAUSERID, JAACCTNUM, JADEPTNUM\n"
            "addQvnGenericDrvCommands  QVGeneric\n"
            "setDuplicateHeldJobs\n"
            "insertNumCopies=NUMBER\n");
}

TEST(PjlLines, HelpBeginsWithTheUsage) {
  const Lines lines({"--help"});
  EXPECT_EQ(lines.outcome.exitStatus, 0);
  EXPECT_EQ(lines.outcome.err, "");
  EXPECT_TRUE(lines.outcome.out.starts_with(kUsage)) << lines.outcome.out;
  EXPECT_NE(lines.outcome.out.find("--list"), std::string::npos);
}

TEST(PjlLines, TakesTheUserVerbatim) {
  EXPECT_EQ(Lines({"-u", "Ada \"L\" \x8a", ""}).outcome.out, plainHeader("Ada \"L\" \x8a"));
  EXPECT_EQ(Lines({"-u", "", ""}).outcome.out, plainHeader(""));
  EXPECT_EQ(Lines({"-ubea", ""}).outcome.out, plainHeader("bea"));
}

TEST(PjlLines, WithoutAUserTheLoginNameIsUsed) {
  const Outcome outcome = Lines({""}, {{"LOGNAME", "lovelace"}}).outcome;
  EXPECT_EQ(outcome.exitStatus, 0);
  const passwd* const entry = getpwuid(getuid());
  const char* const login = getlogin();
  EXPECT_EQ(outcome.out, plainHeader(entry ? entry->pw_name : login ? login : "lovelace"));
}

TEST(PjlLines, ReportsThatItsOutputIsLost) {
  for (const std::string argument : {"", "--list", "--help"}) {
    const Lines lines({argument}, {}, [] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), 1); });
    EXPECT_EQ(lines.outcome.exitStatus, 1);
    EXPECT_EQ(lines.outcome.err, (argument.empty() ? lines.tmpLine() : "") +
                                     "pjlLines: standard output: No space left on device\n");
  }
}

TEST(PjlLines, OptionsAfterTheOptionStringAreSetters) {
  expectWrongCall({"", "-u"}, "pjlLines: \"-u\" is not a setter; --list shows all setters\n");
}

TEST(PjlLines, OptionStringMayBeginWithAMinus) {
  EXPECT_EQ(Lines({"-u", "ada", "--", "-x"}).outcome.out, plainHeader());
}

TEST(PjlLines, ACustomSizeWithoutXAppendsNothing) {
  const Lines lines({"-u", "ada", "", "setCustomPaper=", "setCustomPaper=A4"});
  EXPECT_EQ(lines.outcome.exitStatus, 0);
  EXPECT_EQ(lines.appended(), "");
  EXPECT_EQ(lines.outcome.err, lines.tmpLine());
}

TEST(PjlLines, ArgumentOfASetterMayHoldEqualsSigns) {
  EXPECT_EQ(Lines({"-u", "ada", "", "setCustomPaper=72=x72=3"}).appended(),
            "@PJL SET QCUSTOMPAPERUNITS = INCHES\n@PJL SET QCUSTOMPAPERWIDTH = 1.00\n"
            "@PJL SET QCUSTOMPAPERHEIGHT = 1.00\n");
}

TEST(PjlLines, PassesTheMessageOfASetterOn) {
  const Lines lines(
      {"-u", "ada", "media=Custom.Custom.1x1", "setPaperSize", "setDuplicateHeldJobs"});
  EXPECT_EQ(lines.outcome.exitStatus, 0);
  EXPECT_EQ(lines.appended(), "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  EXPECT_EQ(lines.outcome.err, lines.tmpLine() + "ERROR: Custom media size value is nil.\n");
}

TEST(PjlLines, TakesCopiesOf32Bits) {
  EXPECT_EQ(Lines({"-u", "ada", "", "insertNumCopies=2147483647", "insertNumCopies=-2147483648"})
                .appended(),
            "@PJL SET COPIES = 2147483647\n@PJL SET COPIES = -2147483648\n");
}

TEST(PjlLines, RefusesABadNumber) {
  for (const std::string number : {"", "x", "3x", " 3", "+3", "3.0", "2147483648", "-2147483649"}) {
    expectWrongCall({"", "insertNumCopies=" + number},
                    "pjlLines: \"insertNumCopies=" + number + "\" needs a 32-bit integer\n");
  }
}

TEST(PjlLines, RefusesAnUnknownSetter) {
  for (const std::string setter : {"", "setpapersize", "setPaperSize ", "setPaper", "media=A4",
                                   "initFromArgsStore", "=3", "count"}) {
    expectWrongCall({"media=A4", "setPaperSize", setter},
                    "pjlLines: \"" + setter + "\" is not a setter; --list shows all setters\n");
  }
}

TEST(PjlLines, RefusesAnArgumentTooManyOrMissing) {
  expectWrongCall({"", "setPaperSize=A4"},
                  "pjlLines: \"setPaperSize=A4\" must be given as setPaperSize\n");
  expectWrongCall({"", "setCyan="}, "pjlLines: \"setCyan=\" must be given as setCyan\n");
  expectWrongCall({"", "setCustomPaper"},
                  "pjlLines: \"setCustomPaper\" must be given as setCustomPaper=SIZE\n");
  expectWrongCall({"", "insertNumCopies"},
                  "pjlLines: \"insertNumCopies\" must be given as insertNumCopies=NUMBER\n");
}

TEST(PjlLines, RefusesACallWithoutOptionString) {
  expectWrongCall({}, kUsage);
  expectWrongCall({"-u", "ada"}, kUsage);
  expectWrongCall({"-u"}, std::string("pjlLines: option requires an argument -- 'u'\n") + kUsage);
  expectWrongCall({"-q"}, std::string("pjlLines: invalid option -- 'q'\n") + kUsage);
}

}  // namespace
}  // namespace jobshaper::testing
