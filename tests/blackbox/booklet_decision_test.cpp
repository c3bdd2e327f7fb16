// Which jobs are booklets, what number of copies a booklet asks the printer for, and what
// the debug file holds about it.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/blackbox/booklet_jobs.h"

namespace jobshaper::testing {
namespace {

// A job with the PPD feature of the fold option, whose own code ends at the duplexer line.
constexpr std::string_view kJob =
    "%!PS-Adobe-3.0\n"
    "[{\n"
    "%%BeginFeature: *QVBookletFold Choice\n"
    "<< /Fold 9 >> setpagedevice\n"
    "1 statusdict /duplexer get exec\n"
    "%%EndFeature\n"
    "} stopped cleartomark\n"
    "%%Page: 1 1\n"
    "showpage\n"
    "%%Trailer\n";

// What becomes of kJob with this fold command.
std::string foldedJob(std::string_view command) {
  return std::string(
             "%!PS-Adobe-3.0\n"
             "[{\n"
             "%%BeginFeature: *QVBookletFold Choice\n"
             "\n") +
         command +
         "\n"
         "1 statusdict /duplexer get exec\n"
         "%%EndFeature\n"
         "} stopped cleartomark\n"
         "%%Page: 1 1\n"
         "showpage\n"
         "%%Trailer\n";
}

// ---- the booklet decision

TEST(BookletDecision, EveryFoldHasItsCommand) {
  struct Row {
    const char* fold;
    const char* command;
  };
  // clang-format off
  const Row rows[] = {
      {"Booklet",            ""},
      {"SaddleStitch",       "<< /Fold 2 /Staple 4>> setpagedevice"},
      {"BiFold",             "<< /Fold 1 >> setpagedevice"},
      {"DoNotFoldAndStaple", "<< /Fold 0 /Staple 0>> setpagedevice"},
      {"BookletFold",        "<< /Fold 2 >> setpagedevice"},
      {"TriFold",            "<< /Fold 2 >> setpagedevice"},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.fold);
    expectOutEverywhere(bookletJob(std::string(kJob), row.fold),
                        plainHeader() + foldedJob(row.command) + trailer());
  }
}

TEST(BookletDecision, UnknownFoldIsAPlainFold) {
  const char* const folds[] = {"False",         "FALSE",     "PRINTERS",     "Printers",
                               "printers",      "booklet",   "saddlestitch", "Bifold",
                               "SaddleStitch1", "Saddle",    "true",         "0",
                               "false<20>",     "<20>false", "PrinterS<20>", "donotfoldandstaple",
                               "\"\""};
  for (const char* fold : folds) {
    SCOPED_TRACE(fold);
    expectBody(bookletJob(std::string(kJob), fold), foldedJob("<< /Fold 2 >> setpagedevice"));
  }
}

TEST(BookletDecision, FoldWithAnEmptyValueIsAPlainFold) {
  expectBody(bookletJob(std::string(kJob), ""), foldedJob("<< /Fold 2 >> setpagedevice"));
}

TEST(BookletDecision, FoldWithoutAValueIsAPlainFold) {
  Job job;
  job.options("QVBookletFold").input(std::string(kJob));
  expectBody(job, foldedJob("<< /Fold 2 >> setpagedevice"));
}

TEST(BookletDecision, FalsePrinterSAndNoFoldAreNoBooklet) {
  const char* const options[] = {"", "QVBookletFold=false", "QVBookletFold=PrinterS",
                                 "noQVBookletFold", "QVBookletFold=\"false\""};
  for (const char* text : options) {
    SCOPED_TRACE(text);
    Job job;
    job.options(text).input(std::string(kJob));
    expectBody(job, kJob);
  }
}

TEST(BookletDecision, OptionNameIsCaseSensitive) {
  Job job;
  job.options("QVbookletFold=SaddleStitch qvbookletfold=SaddleStitch").input(std::string(kJob));
  expectBody(job, kJob);
}

TEST(BookletDecision, LastOfTwoFoldOptionsDecides) {
  expectBody(bookletJob(std::string(kJob), "SaddleStitch QVBookletFold=false"), kJob);
  expectBody(bookletJob(std::string(kJob), "false QVBookletFold=BiFold"),
             foldedJob("<< /Fold 1 >> setpagedevice"));
}

TEST(BookletDecision, LangDoesNotMatterToPrinterMadeBooklets) {
  for (const char* lang : {"", "C", "en_US.UTF-8", "../../etc"}) {
    SCOPED_TRACE(lang);
    Job job = bookletJob(std::string(kJob));
    job.env("LANG", lang);
    expectBody(job, foldedJob("<< /Fold 2 /Staple 4>> setpagedevice"));
  }
}

TEST(BookletDecision, PpdWithoutTheManualKeywordLeavesTheBookletToThePrinter) {
  Job job = bookletJob(std::string(kJob));
  job.ppd("*PPD-Adobe: \"4.3\"\n*QvnManualBooklet:\n*ManualBooklet: True\n");
  expectBody(job, foldedJob("<< /Fold 2 /Staple 4>> setpagedevice"));
}

TEST(BookletDecision, PrinterMadeBookletDeletesNoFiles) {
  Job job = bookletJob(std::string(kJob));
  const char* const names[] = {"qvn_manualPS42", "pageReOrdered42", "pageEven42",
                               "newEvenOrder42", "headerPS42",      "newOddOrder42"};
  for (const char* name : names) writeFile(job.tmpFile(name), "mine");
  expectBody(job, foldedJob("<< /Fold 2 /Staple 4>> setpagedevice"));
  for (const char* name : names) EXPECT_EQ(readFile(job.tmpFile(name)), "mine") << name;
}

// ---- copies of a booklet

constexpr const char* kPmCopies = "com.apple.print.PrintSettings.PMCopies..n.";

// A saddle-stitched job with the copies argument and the copies option; no option at all when
// absent.
Job copiesJob(const std::string& argument, const std::optional<std::string>& option,
              const std::string& more = "QVBookletFold=SaddleStitch") {
  Job job;
  job.copies(argument).input("a\n");
  job.options(more + (option ? std::string(" ") + kPmCopies + "=" + *option : ""));
  return job;
}

TEST(BookletCopies, StandBehindTheSwitchIntoPostScript) {
  struct Row {
    const char* argument;
    const char* option;
    const char* line;
  };
  // clang-format off
  const Row rows[] = {
      {"1",       "2",               "@PJL SET COPIES = 2\n"},
      {"1",       "3",               "@PJL SET COPIES = 3\n"},
      {"1",       "999",             "@PJL SET COPIES = 999\n"},
      {"1",       "2147483647",      "@PJL SET COPIES = 2147483647\n"},
      {"1",       "2147483648",      "@PJL SET COPIES = 2147483647\n"},
      {"1",       "4294967299",      "@PJL SET COPIES = 2147483647\n"},
      {"1",       "99999999999999999999999", "@PJL SET COPIES = 2147483647\n"},
      {"1",       "003",             "@PJL SET COPIES = 3\n"},
      {"1",       "+3",              "@PJL SET COPIES = 3\n"},
      {"1",       "\" 3\"",          "@PJL SET COPIES = 3\n"},
      {"1",       "\" \t\n\r 3\"",   "@PJL SET COPIES = 3\n"},
      {"1",       "<20>3",           "@PJL SET COPIES = 3\n"},
      {"1",       "\" +3\"",         "@PJL SET COPIES = 3\n"},
      {"1",       "3x",              "@PJL SET COPIES = 3\n"},
      {"1",       "3.9",             "@PJL SET COPIES = 3\n"},
      {"1",       "\"3 4\"",         "@PJL SET COPIES = 3\n"},
      {"01",      "3",               "@PJL SET COPIES = 3\n"},
      {"+1",      "3",               "@PJL SET COPIES = 3\n"},
      {" 1",      "3",               "@PJL SET COPIES = 3\n"},
      {" \t\n\r1", "3",              "@PJL SET COPIES = 3\n"},
      {"1 ",      "3",               "@PJL SET COPIES = 3\n"},
      {"1x",      "3",               "@PJL SET COPIES = 3\n"},
      {"1.5",     "3",               "@PJL SET COPIES = 3\n"},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string("argument \"") + row.argument + "\" option " + row.option);
    expectOut(copiesJob(row.argument, row.option), plainHeader() + row.line + "a\n" + trailer());
  }
}

TEST(BookletCopies, StayOutWithoutOneCopyInTheArgumentAndMoreInTheOption) {
  struct Row {
    const char* argument;
    const char* option;
  };
  // clang-format off
  const Row rows[] = {
      {"2", "3"}, {"3", "3"}, {"0", "3"}, {"-1", "3"}, {"", "3"}, {" ", "3"}, {"x", "3"},
      {"x1", "3"}, {"one", "3"}, {"11", "3"}, {"- 1", "3"}, {"+ 1", "3"}, {"++1", "3"}, {"+-1", "3"},
      {"4294967297", "3"}, {"-4294967295", "3"}, {"18446744073709551617", "3"},
      {"1", "0"}, {"1", "-3"}, {"1", "x"}, {"1", "x3"}, {"1", "\"\""}, {"1", "\" \""}, {"1", "- 3"},
      {"1", "PrinterS"}, {"1", "01"}, {"1", "\" 1\""}, {"1", "1x"}, {"1", "+1"}, {"1", "1.9"},
      {"1", "--3"}, {"1", "\"+ 3\""}, {"1", "-4294967293"}, {"1", "-2147483648"},
      {"1", "-99999999999999999999999"},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string("argument \"") + row.argument + "\" option " + row.option);
    expectBody(copiesJob(row.argument, row.option), "a\n");
  }
}

TEST(BookletCopies, StayOutWithoutTheOption) {
  for (const char* argument : {"1", "2", "0"}) {
    SCOPED_TRACE(argument);
    expectBody(copiesJob(argument, std::nullopt), "a\n");
  }
}

TEST(BookletCopies, SingleCopyKeepsItsPlaceAheadOfTheSwitch) {
  for (const char* argument : {"1", "2"}) {
    SCOPED_TRACE(argument);
    expectOut(copiesJob(argument, "1"), headerWith("@PJL SET COPIES = 1\n") + "a\n" + trailer());
  }
}

TEST(BookletCopies, EveryFoldGetsThem) {
  for (const char* fold : {"Booklet", "BiFold", "DoNotFoldAndStaple", "TriFold", "False"}) {
    SCOPED_TRACE(fold);
    expectOut(copiesJob("1", "3", std::string("QVBookletFold=") + fold),
              plainHeader() + "@PJL SET COPIES = 3\na\n" + trailer());
  }
}

TEST(BookletCopies, StayOutOfJobsThatAreNoBooklet) {
  for (const char* fold : {"", "QVBookletFold=false", "QVBookletFold=PrinterS"}) {
    SCOPED_TRACE(fold);
    expectBody(copiesJob("1", "3", fold), "a\n");
  }
}

TEST(BookletCopies, StayOutOfRetainedJobs) {
  const std::string hold = "@PJL SET QDUPLICATEHELDJOBS = SAVE\n";
  struct Row {
    const char* printTo;
    std::string lines;
  };
  const Row rows[] = {
      {"JRPrinter", ""},
      {"JRConf JRHOLDKEY=1234",
       "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = \"1234\"\n" + hold},
      {"JRRepeat", "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PUBLIC\n" + hold},
      {"JRReserve", "@PJL SET HOLD = STORE\n@PJL SET HOLDTYPE = PUBLIC\n" + hold},
      {"JRVerify", "@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n" + hold},
      {"Other", hold},
      {"\"\"", hold},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.printTo);
    expectOut(copiesJob("1", "3", std::string("QVBookletFold=BiFold PrintTo=") + row.printTo),
              headerWith(row.lines) + "a\n" + trailer());
  }
}

TEST(BookletCopies, FollowTheGenericDriverLines) {
  Job job = copiesJob("1", "3");
  job.ppd("*QVGeneric: \"Color\"\n");
  expectOut(job, headerWith("@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n") +
                     "@PJL SET COPIES = 3\na\n" + trailer());
}

TEST(BookletCopies, AreNotSentWithoutThePjlWrapping) {
  Job job = copiesJob("1", "3");
  job.version("0x102f").env("DEVICE_URI", "usb://printer");
  expectRun(job, "a\n", tmpLines(job));
}

TEST(BookletCopies, AreCapturedWithTheHeader) {
  Job job = copiesJob("1", "3");
  job.capture();
  const std::string out = plainHeader() + "@PJL SET COPIES = 3\na\n" + trailer();
  expectRun(job, out, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
}

// ---- what the debug file holds

std::string record(std::string_view function, std::string_view message) {
  return std::string("AI######\t[time]\t") + function + "\tL#\t" + message + "\n";
}

std::string mainRecord(std::string_view message) { return record("main", message); }

// The records from the last line of the job summary to the end of the run.
std::string lastRecords(Job job, const std::string& version) {
  job.log(1);
  if (!version.empty()) job.version(version);
  EXPECT_EQ(job.run().exitStatus, 0);
  const std::string log = maskLog(readFile(job.tmpFile("debug.log")));
  const std::size_t start = log.find(mainRecord("@PJL ENTER LANGUAGE = POSTSCRIPT\n"));
  if (start == std::string::npos) ADD_FAILURE() << log;
  return start == std::string::npos ? "" : log.substr(start);
}

// The records of a job that is a booklet with this PrintTo value.
std::string bookletRecords(std::string_view printTo) {
  return mainRecord("@PJL ENTER LANGUAGE = POSTSCRIPT\n") + record("isOnlyPrintInside", "{") +
         record("isOnlyPrintInside", "}") + mainRecord("Job is Booklet") +
         mainRecord(std::string("value of verPrint ") + printTo) +
         mainRecord("Initialized begin and end markers.") + mainRecord("}");
}

TEST(BookletTrace, BookletIsRecordedBetweenTheCoverQueryAndTheLoop) {
  for (const char* version : {"", "0x1049", "0x1050"}) {
    SCOPED_TRACE(version);
    EXPECT_EQ(lastRecords(bookletJob(std::string(kJob)), version), bookletRecords("(null)"));
  }
}

TEST(BookletTrace, EveryFoldIsRecordedAlike) {
  for (const char* fold : {"Booklet", "BiFold", "DoNotFoldAndStaple", "TriFold", "Printers", ""}) {
    SCOPED_TRACE(fold);
    EXPECT_EQ(lastRecords(bookletJob(std::string(kJob), fold), ""), bookletRecords("(null)"));
  }
}

TEST(BookletTrace, ShowsThePrintToValueAsItStands) {
  for (const char* value : {"JRVerify", "JRPrinter", "", "100%d%s%n", "\x8a\xff"}) {
    SCOPED_TRACE(value);
    const Job job = bookletJob("", std::string("BiFold PrintTo=") + value);
    EXPECT_EQ(lastRecords(job, ""), bookletRecords(value));
  }
}

TEST(BookletTrace, CopiesAreNotAmongTheRecordedHeaderLines) {
  EXPECT_EQ(lastRecords(copiesJob("1", "3"), ""), bookletRecords("(null)"));
}

TEST(BookletTrace, JobThatIsNoBookletHasNeitherRecord) {
  for (const char* fold : {"false", "PrinterS"}) {
    SCOPED_TRACE(fold);
    EXPECT_EQ(lastRecords(bookletJob(std::string(kJob), fold), ""),
              mainRecord("@PJL ENTER LANGUAGE = POSTSCRIPT\n") + record("isOnlyPrintInside", "{") +
                  record("isOnlyPrintInside", "}") +
                  mainRecord("Initialized begin and end markers.") + mainRecord("}"));
  }
}

}  // namespace
}  // namespace jobshaper::testing
