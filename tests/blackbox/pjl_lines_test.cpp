// pjlLines: what its setters send for each value of their options, and its command line.
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include "tests/blackbox/value_tables.h"

// Set by the build: the path of the program.
#ifndef PJL_LINES_PROGRAM
#error "PJL_LINES_PROGRAM is not set"
#endif

namespace jobshaper::testing {
namespace {

using Words = std::vector<std::string>;

// One run with these arguments, with TMPDIR and the variables of the job as environment.
Outcome runPjlLines(Words arguments, const Job& job = Job(),
                    const BeforeExec& beforeExec = nullptr) {
  arguments.insert(arguments.begin(), "pjlLines");
  return Process(PJL_LINES_PROGRAM, arguments, job.environment(), beforeExec).finish();
}

// A setter as a user names it, and the lines that it is to append.
struct Call {
  std::string setter, lines;
};

// Checks a run for ada's job with these options: the header, in which they cause these lines, and
// what each setter appends.
void expectCalls(const std::string& options, std::vector<Call> calls,
                 const std::string& headerLines = "", const std::string& messages = "",
                 Where where = Where::here()) {
  const Job job;
  Words arguments{"-u", "ada", options};
  for (const Call& call : calls) arguments.push_back(call.setter);
  const Outcome outcome = runPjlLines(arguments, job);
  calls.insert(calls.begin(), {"the header", headerWith(headerLines)});
  std::string_view rest = outcome.out;
  for (const auto& [setter, lines] : calls) {
    if (!rest.starts_with(lines)) {
      return expectSame(rest, lines, "output from " + setter + " on", options, where);
    }
    rest.remove_prefix(lines.size());
  }
  expectOutcome({std::string(rest), outcome.err, outcome.exitStatus, outcome.signal}, "",
                "tmp at " + job.tmp() + " \n" + messages, 0, options, where);
}

// ---- settings of one option

std::string inches(const std::string& width, const std::string& height) {
  return "@PJL SET QCUSTOMPAPERUNITS = INCHES\n@PJL SET QCUSTOMPAPERWIDTH = " + width +
         "\n@PJL SET QCUSTOMPAPERHEIGHT = " + height + "\n";
}

std::string tray(const std::string& number) {
  return "@PJL SET QPAPERSOURCE = TRAY" + number + "\n";
}

std::string cmyk(const std::string& sent) {
  return sent + "\n@PJL SET QMANUALCOLORCMYKTEXT = " + sent +
         "\n@PJL SET QMANUALCOLORCMYKGRAPHICS = " + sent;
}

std::string enhanced(const std::string& type) {
  return "600\n@PJL SET QIMAGEENHANCE = ON\n@PJL SET QIMAGEENHANCETYPE = " + type +
         "\n@PJL SET QSCREENING = IET";
}

const std::string kPapers =
    "A3: A3; A4: A4; A5: A5; A6: A6; B4: JIS B4; B5: JISB5; Letter: LETTER; Legal: LEGAL; "
    "Executive: EXECUTIVE; Folio: FOLIO; Statement: STATEMENT; Universal: CUSTOM; "
    "OthEnv: OTHERENVELOPE; Monarch: MONARCH; Comm10: COM10; DL: DL; C4: COM9; C5: C5; ISOB5: B5; "
    "11x17, Tabloid: LEDGER; Oficio: OFICIO";
const std::string kMedia =
    "Plain: \"PLAIN\"; Bond: \"BOND\"; Transparency: \"TRANSPARENCY\"; "
    "Card, Cardstock: \"CARDSTOCK\"; Labels, LabelsPaper: \"LABELS\"; Letterhead: \"LETTERHEAD\"; "
    "Preprint: \"PREPRINTED\"; Colored: \"COLORED\"; Envelope: \"ENVELOPE\"; Light: \"LIGHT\"; "
    "Heavy: \"HEAVY\"; Rough, RoughCotton: \"ROUGH\"; Recycled: \"RECYCLED\"; "
    "HeavyGlossy: \"HEAVYGLOSSY\"; RoughEnvelope: \"ROUGHENVELOPE\"; Custom1: \"CUSTOMTYPE1\"; "
    "Custom2: \"CUSTOMTYPE2\"; Custom3: \"CUSTOMTYPE3\"; Custom4: \"CUSTOMTYPE4\"; "
    "Custom5: \"CUSTOMTYPE5\"; Custom6: \"CUSTOMTYPE6\"; Vinyl, VinylPaper: \"VINYL\"; "
    "Glossy: \"GLOSSY\"; "
    // Any other type is sent unchanged.
    "Custom7: \"Custom7\"; plain: \"plain\"; PLAIN: \"PLAIN\"; '': \"\"; printers: \"printers\"; "
    "\"It's <3C>= \n%s\x8a\": \"It's <= \n%s\x8a\"";
const std::string kTrays =
    "Tray1: TRAY1; Tray2, EnvDrawr2: TRAY2; Tray3, EnvDrawr3: TRAY3; Tray4, EnvDrawr4: TRAY4; "
    "Tray5: TRAY5; MultipurposeFeeder: MPFEEDER; EnvFeeder: FEEDER";
const std::string kCopies =
    "0: 0; 01: 1; 2: 2; 007: 7; ' \t\n\v\f\r5': 5; +6: 6; -3: -3; --3: 0; '- 3': 0; 12abc: 12; "
    "3.9: 3; "
    "1e3: 1; 0x10: 0; many, PrinterS, '': 0; "
    "2147483647, 2147483648, 4294967297, 99999999999999999999: 2147483647; "
    "-2147483648, -2147483649, -99999999999999999999: -2147483648";
const std::string kAnyValue =
    "3: 3; -2: -2; '': ; printers: printers; "
    "'-1.50 %d%@<20>\"x\" \n\x8a<3C>27>': -1.50 %d%@ \"x\" \n\x8a<27>";
const std::string kRgb =
    "Vivid: VIVID; sRGBVivid: SRGBVIVID; sRGBDisplay: SRGBDISPLAY; "
    "DisplayRealBlack: DISPLAYREALBLACK; Off: OFF";
const std::string kNotRgb =
    "vivid, SRGBVivid, sRGBvivid, srgbDisplay, Display, displayRealBlack, off, OFF, VividCMYK, "
    "FalseM, 'Off ', PrinterS, ''";
// The last letter of both values depends on the setting.
const std::string kNotM = "TrueF, FalseF, true, False, truem, TRUEM, falseM, On, 1, PrinterS, ''";
const std::string kNotF = "TrueM, FalseM, true, False, truef, TRUEF, falseF, On, 1, PrinterS, ''";

const std::string kFirst = "AP_FIRSTPAGE_InputSlot=", kPreset = "AP_D_InputSlot=";
const std::string kFeed = "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1=";
const std::string kCollate = "com.apple.print.PrintSettings.PMCopyCollate..b.";

const std::vector<ValueTable> kSettings{
    {"com.apple.print.PrintSettings.PMCopies..n.", "setCopies", "COPIES", kCopies},
    {"com.apple.print.PrintSettings.PMOrientation..n.", "setRotatePaper", "QIMAGEORIENTATION",
     "2: ROTATEPAPER", "1, 3, 4, 02, ' 2', '2 ', 22, landscape, PrinterS, ''"},
    ValueTable("media", "setPaperSize", "PAPER", kPapers,
               "a4, A2, LETTER, A4Small, 'A4 ', JIS<20>B4, JISB5, Ledger, 11X17, Custom, Custom., "
               "612x792Custom., Custom.A4, PrinterS, ''")
        // An unknown size is read in points after its one "Custom.".
        .sends("Custom.612.00x792, 612x792, A.Custom.612x792, Custom.<20>612<20>x<20>792",
               inches("8.50", "11.00"))
        .sends("144x144Custom.72x72", inches("1.00", "1.00"))
        .sends("Custom.11x17, 11x17in", inches("0.15", "0.24"))
        .sends("custom.612x792, Custom612x792", inches("0.00", "11.00"))
        .sends("executive", inches("0.00", "0.00")),
    {"MediaType", "setMediaType", "MEDIATYPE", kMedia, "PrinterS"},
    ValueTable("InputSlot", "setPaperSource", "QPAPERSOURCE",
               kTrays + "; ManualPaper: MANUALPAPER; ManualEnv: MANUALENVELOPE",
               "EnvDrawr1, EnvDrawr5, Tray6, Tray, tray1, TRAY1, envfeeder, manualpaper, "
               "AutoSelect, 'Tray1 ', PrinterS, ''")
        // After a first page of its own, only a different source is sent.
        .given(kFirst + "Tray1 InputSlot=Tray2", tray("2"))
        .given(kFirst + "Tray1 InputSlot=Tray1", "")
        .given(kFirst + "PrinterS InputSlot=Tray3", tray("3"))
        .given(kFirst + " InputSlot=Tray4", tray("4"))
        .given(kFirst + "Tray1", "")
        .given(kFirst + "Tray1 " + kPreset + "Tray2 InputSlot=Tray3", tray("3"))
        .given(kFirst + "Tray1 " + kPreset + "Tray2 InputSlot=Tray1", "")
        .given(kFirst + "Tray1 " + kPreset + "Tray2 " + kFeed + "Tray3", "")
        // Otherwise the first of three options wins, even with an unknown value.
        .given(kPreset + "Tray1 InputSlot=Tray2 " + kFeed + "Tray3", tray("1"))
        .given(kPreset + "Tray5 InputSlot=Tray5", tray("5"))
        .given(kPreset + "Bogus InputSlot=Tray2", "")
        .given(kPreset + "PrinterS InputSlot=Tray2", "")
        .given(kPreset + " InputSlot=Tray2", "")
        .given(kPreset + "EnvDrawr4", tray("4"))
        .given("InputSlot=Tray2 " + kFeed + "Tray3", tray("2"))
        .given("InputSlot=PrinterS " + kFeed + "Tray3", "")
        .given("InputSlot= " + kFeed + "Tray3", "")
        .given(kFeed + "Tray3", tray("3"))
        .given(kFeed + "PrinterS", ""),
    {"OutputBin", "setOutputBin", "OUTBIN",
     "Bin1, FinisherBin1: OPTIONALOUTBIN1; Bin2, FinisherBin2: OPTIONALOUTBIN2; "
     "Bin3: OPTIONALOUTBIN3; Bin4: OPTIONALOUTBIN4; Bin5: OPTIONALOUTBIN5; Bin6: OPTIONALOUTBIN6; "
     "Bin7: OPTIONALOUTBIN7; Bin8: OPTIONALOUTBIN8; Bin9: OPTIONALOUTBIN9; "
     "Bin10: OPTIONALOUTBIN10; StandardBin, 2ndExitBin: UPPER",
     "Bin11, Bin0, FinisherBin3, bin1, BIN1, Upper, standardbin, finisherbin1, 2ndexitbin, "
     "PrinterS, ''"},
    {"TonerDarkness", "setTonerDarkness", "DENSITY",
     "6: 1; 7: 2; 8: 3; 9: 4; 10: 5; 0: 0; 1: 1; 5: 5; 11: 11; 06: 06; ' 8':  8; " + kAnyValue,
     "PrinterS"},
    {"PictureGrade", "setPictureGrade", "QPICTUREGRADE", "TrueM: ON; FalseM: OFF", kNotM},
    {"SepPages", "setSeparatorPage", "QSEPARATORSHEETS",
     "Jobs: BETWEENJOBS; Copies: BETWEENCOPIES; Pages: BETWEENPAGES; None, NoneF: NONE",
     "NoneM, Nonef, jobs, COPIES, pages, none, NONE, PrinterS, ''"},
    // Separator sheets are not fed manually.
    {"SepSource", "setSeparatorSource", "QSEPARATORSOURCE", kTrays,
     "ManualPaper, ManualEnv, Tray6, EnvDrawr1, tray1, TRAY1, multipurposefeeder, PrinterS, ''"},
    {"Offset", "setOffsetPage", "JOBOFFSET", "Jobs: BETWEENJOBS; Copies: BETWEENCOPIES; None: NONE",
     "NoneF, Pages, jobs, COPIES, none, PrinterS, ''"},
    {"CyanBalance", "setCyan", "QCOLORBALANCECYAN", kAnyValue, "PrinterS"},
    {"MagentaBalance", "setMagenta", "QCOLORBALANCEMAGENTA", kAnyValue, "PrinterS"},
    {"YellowBalance", "setYellow", "QCOLORBALANCEYELLOW", kAnyValue, "PrinterS"},
    {"BlackBalance", "setBlack", "QCOLORBALANCEBLACK", kAnyValue, "PrinterS"},
    {"MediaColor", "setColorCorrection", "QCOLORCORRECTION",
     "Manual: MANUAL; FalseM: OFF; Auto: AUTO",
     "FalseF, falsem, False, TrueM, Off, auto, manual, MANUAL, PrinterS, ''"},
    // The same variable, but without a manual mode.
    {"GrayCorrection", "setGrayCorrection", "QCOLORCORRECTION", "FalseM: OFF; Auto: AUTO",
     "Manual, FalseF, falsem, False, TrueM, Off, auto, AUTO, PrinterS, ''"},
    {"ManualRGBImage", "setManualRGBImage", "QMANUALCOLORRGBIMAGE", kRgb, kNotRgb},
    {"ManualRGBText", "setManualRGBText", "QMANUALCOLORRGBTEXT", kRgb, kNotRgb},
    {"ManualRGBGraphics", "setManualRGBGraphics", "QMANUALCOLORRGBGRAPHICS", kRgb, kNotRgb},
    {"ManualCMYK", "setManualCMYK", "QMANUALCOLORCMYKIMAGE",
     "VividCMYK: " + cmyk("VIVIDCMYK") + "; EuroCMYK: " + cmyk("EURO") +
         "; USCMYK: " + cmyk("SWOP") + "; Off: " + cmyk("OFF"),
     "Vivid, vividcmyk, EUROCMYK, Euro, UScmyk, SWOP, off, OFF, PrinterS, ''"},
    {"ColorSaver", "setColorSaver", "QCOLORSAVER", "TrueM: ON; FalseM: OFF", kNotM},
    {"BLW", "setBlackAndWhite", "QCOLORMODEL", "TrueM: BLACK; FalseM: CMYK", kNotM},
    {"QvnBrightness", "setBrightness", "QIMAGEBRIGHTNESS", kAnyValue, "PrinterS"},
    {"QvnContrast", "setContrast", "QIMAGECONTRAST", kAnyValue, "PrinterS"},
    {"QvnSaturation", "setSaturation", "QIMAGESATURATION", kAnyValue, "PrinterS"},
    {"ImageSmoothing", "setImageSmoothing", "QIMAGESMOOTHING", "TrueF: ON; FalseF: OFF", kNotF},
    {"QvnLineDetail", "setLineDetail", "QLINEDETAIL", "TrueF: ON; FalseF: OFF", kNotF},
    // Without a value it is "true", or "false" if the name begins with "no".
    ValueTable(kCollate, "setCollation", "QCOLLATION",
               "true: ON; false, TRUE, True, 'true ', yes, 1, PrinterS, '': OFF")
        .given(kCollate, "@PJL SET QCOLLATION = ON\n")
        .given("no" + kCollate, "@PJL SET QCOLLATION = OFF\n"),
    {"Resolution", "setResolution", "RESOLUTION",
     "300dpi: 300; 600dpi: 600; 1200dpi: 1200; 1200IQ, 4800CQ: " + enhanced("2") +
         "; 2400IQ: " + enhanced("4"),
     "2400dpi, 4800IQ, 2400CQ, 4800cq, 1200iq, 600DPI, 600, 300, PrinterS, ''"},
};

// Each job takes a row of every table. Every other one calls the setters in reverse order.
TEST(PjlSettings, EveryValueHasItsLinesInTheOrderOfTheCalls) {
  bool reversed = false;
  for (const auto& rows : combined(kSettings)) {
    std::string options;
    std::vector<Call> calls;
    for (const auto& [setter, option, lines] : rows) {
      options += option + " ";
      calls.insert(reversed ? calls.begin() : calls.end(), {setter, lines});
    }
    expectCalls(options, calls);
    reversed = !reversed;
  }
}

// ---- other setters

// "SIZE: WIDTH HEIGHT; SIZE: WIDTH HEIGHT", all in one run.
void expectSizes(const std::string& rows, Where where = Where::here()) {
  std::vector<Call> calls;
  for (const std::string& row : split(rows, "; ")) {
    const std::size_t colon = row.find(": ");
    const std::vector<std::string> sent = split(row.substr(colon + 2), " ");
    calls.push_back({"setCustomPaper=" + row.substr(0, colon), inches(sent.at(0), sent.at(1))});
  }
  expectCalls("", calls, "", "", where);
}

TEST(PjlSettings, CustomSizeIsReadAsTwoNumbers) {
  const std::string largest = "4726143703312900830718113659507179520.00";
  expectSizes(
      "612x792: 8.50 11.00;  \t\n\v\f\r612x\r 792: 8.50 11.00; +612x-792: 8.50 -11.00; "
      "612.x.72: 8.50 0.01; 6.12e2x7.92E+2: 8.50 11.00; 61200e-2x0.000792e6: 8.50 11.00; "
      "612ptx792 points: 8.50 11.00; 72ex144e+: 1.00 2.00; 72e 1x144e-z: 1.00 2.00; "
      "612,5x1,000: 8.50 0.01; 1e-50x1e-40: 0.00 0.00; -0.1x0.1: -0.00 0.00; "
      "612X9x792: 8.50 11.00; 72=x72=3: 1.00 1.00");
  // Not a decimal number.
  expectSizes(
      "--72x+-72: 0.00 0.00; + 72x.: 0.00 0.00; wide x high: 0.00 0.00; infxINFINITY: 0.00 0.00; "
      "nanx-inf: 0.00 0.00; 0X48x0b1: 0.00 0.00; -e5x-nan(1): 0.00 0.00; Custom.72x72: 0.00 1.00");
  // Only the first x separates; what follows a second one is ignored.
  expectSizes(
      "0x48: 0.00 0.67; 72x144x216: 1.00 2.00; 72xx144: 1.00 0.00; x: 0.00 0.00; x72: 0.00 1.00; "
      "72x: 1.00 0.00");
  // An exact tie is rounded to the even digit.
  expectSizes("9x27: 0.12 0.38; 45x63: 0.62 0.88");
  // Reading and division round to single precision: 7.045, 14.495 and 138888.903 change.
  expectSizes("507.24x1043.64: 7.05 14.49; 16777217x10000001: 233016.89 138888.91");
  // Double precision would lose the last digit, and with it the direction of the rounding.
  expectSizes("16777217.0000000001x72: 233016.92 1.00");
  expectSizes("1e99x-1e99: " + largest + " -" + largest + "; 3.5e38x3.4e38: " + largest +
              " 4722222226181094803064583608141348864.00; 1e2147483648x1e-2147483648: " + largest +
              " 0.00; 0e99999x-0.0001e42: 0.00 -1388888862090382289984523087026061312.00");
  expectCalls("",
              {{"setCustomPaper=612", ""}, {"setCustomPaper=", ""}, {"setCustomPaper=6X7", ""}});
}

// The message comes with every call, and the other setters go on.
TEST(PjlSettings, SecondCustomLeavesNoSize) {
  const std::string message = "ERROR: Custom media size value is nil.\n";
  for (const std::string size : {"Custom.Custom.1x1", "Custom.72x72Custom.", "aCustom.bCustom.c"}) {
    expectCalls("MediaType=Plain media=" + size,
                {{"setPaperSize", ""},
                 {"setMediaType", "@PJL SET MEDIATYPE = \"PLAIN\"\n"},
                 {"setPaperSize", ""}},
                "", message + message);
  }
}

TEST(PjlSettings, LinesOfTheHeaderCanBeAppendedAgain) {
  const std::string copies = "@PJL SET COPIES = ", accounting = accountingLines("u", "a", "d");
  const std::string duplicates = "@PJL SET QDUPLICATEHELDJOBS = SAVE\n";
  expectCalls(
      "com.apple.print.PrintSettings.PMCopies..n.=1 JAUSERID=u JAACCTNUM=a JADEPTNUM=d "
      "QVGeneric=Color",
      {{"setDuplicateHeldJobs", duplicates},
       {"addQvnGenericDrvCommands", kColorLines},
       {"addJobAcctgLines", accounting},
       {"setCopies", copies + "1\n"},
       {"insertNumCopies=2147483647", copies + "2147483647\n"},
       {"insertNumCopies=-2147483648", copies + "-2147483648\n"},
       {"setDuplicateHeldJobs", duplicates}},
      copies + "1\n" + accounting + kColorLines);
  expectCalls(
      "", {{"addQvnGenericDrvCommands", ""}, {"addJobAcctgLines", accountingLines("", "", "")}});
  // Not in the header without a user.
  expectCalls("JAACCTNUM=a<20>1 JADEPTNUM=\"50%s\x8a\"",
              {{"addJobAcctgLines", accountingLines("", "a 1", "50%s\xc3\xa4")}});
}

// ---- the command line

constexpr char kUsage[] = "usage: pjlLines [-u USER] OPTIONS [SETTER ...]\n";

void expectWrongCall(const Words& arguments, const std::string& message,
                     Where where = Where::here()) {
  expectOutcome(runPjlLines(arguments), "", message, 2, ::testing::PrintToString(arguments), where);
}

TEST(PjlLines, ListsTheSettersWithTheirOptions) {
  std::string list;
  const auto add = [&](std::string setter, const std::string& options) {
    if (!options.empty()) setter.resize(26, ' ');
    list += setter + options + "\n";
  };
  for (const ValueTable& table : kSettings) {
    if (table.setter() == "setPaperSource") {
      add(table.setter(),
          "AP_FIRSTPAGE_InputSlot, AP_D_InputSlot, InputSlot, "
          "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1");
    } else {
      add(table.setter(), table.option());
    }
    if (table.setter() == "setPaperSize") add("setCustomPaper=SIZE", "");
  }
  add("addJobAcctgLines", "JAUSERID, JAACCTNUM, JADEPTNUM");
  add("addQvnGenericDrvCommands", "QVGeneric");
  add("setDuplicateHeldJobs", "");
  add("insertNumCopies=NUMBER", "");
  expectOutcome(runPjlLines({"--list"}), list, "");
}

TEST(PjlLines, HasAHelp) {
  expectOutcome(runPjlLines({"--help"}),
                std::string(kUsage) +
                    "\nWrites the PJL header of a job with these CUPS options to standard output,\n"
                    "followed by the lines that the named setters append.\n\n"
                    "  -u USER   owner of the job; by default, you\n"
                    "  --list    list the setters and the options that each reads\n"
                    "  --help    show this help\n",
                "");
}

TEST(PjlLines, TakesTheUserVerbatimAndOptionsThatBeginWithAMinus) {
  for (const std::string user : {"Ada \"L\" \x8a", ""}) {
    EXPECT_EQ(runPjlLines({"-u", user, "--", "-x"}).out, plainHeader(user));
  }
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

TEST(PjlLines, RefusesAWrongSetter) {
  struct {
    std::string error;
    Words setters;
  } const rows[] = {
      {"needs a 32-bit integer",
       {"insertNumCopies=", "insertNumCopies=3x", "insertNumCopies= 3", "insertNumCopies=+3",
        "insertNumCopies=2147483648", "insertNumCopies=-2147483649"}},
      {"is not a setter; --list shows all setters",
       {"", "setpapersize", "setPaper", "media=A4", "=3", "-u"}},
      {"must be given as setPaperSize", {"setPaperSize=A4", "setPaperSize="}},
      {"must be given as setCustomPaper=SIZE", {"setCustomPaper"}},
      {"must be given as insertNumCopies=NUMBER", {"insertNumCopies"}}};
  for (const auto& [error, setters] : rows) {
    for (const std::string& setter : setters) {
      expectWrongCall({"media=A4", "setPaperSize", setter},
                      "pjlLines: \"" + setter + "\" " + error + "\n");
    }
  }
}

TEST(PjlLines, RefusesACallWithoutOptionString) {
  const std::string missing = "pjlLines: the option string is missing; give '' for none\n";
  expectWrongCall({"-u", "ada"}, missing + kUsage);
  expectWrongCall({"-u"}, std::string("pjlLines: option requires an argument -- 'u'\n") + kUsage);
  expectWrongCall({"-q"}, std::string("pjlLines: invalid option -- 'q'\n") + kUsage);
}

}  // namespace
}  // namespace jobshaper::testing
