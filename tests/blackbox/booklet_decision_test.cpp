// Which jobs are booklets, what number of copies a booklet asks the printer for, and what
// the debug file holds about it.
#include <gtest/gtest.h>

#include <string>

#include "tests/blackbox/booklet_jobs.h"

namespace jobshaper::testing {
namespace {

// A job with the PPD feature of the fold option, whose own code ends at the duplexer line.
const std::string kStart = "%!PS-Adobe-3.0\n[{\n%%BeginFeature: *QVBookletFold Choice\n";
const std::string kEnd =
    "1 statusdict /duplexer get exec\n%%EndFeature\n} stopped cleartomark\n%%Page: 1 1\n"
    "showpage\n%%Trailer\n";
const std::string kJob = kStart + "<< /Fold 9 >> setpagedevice\n" + kEnd;

// What becomes of kJob with this fold command.
std::string folded(const std::string& command) { return kStart + "\n" + command + "\n" + kEnd; }

const std::string kStitched = folded("<< /Fold 2 /Staple 4>> setpagedevice");

TEST(BookletDecision, EveryFoldHasItsCommand) {
  const std::string rows[][2] = {{"Booklet", ""},
                                 {"SaddleStitch", "<< /Fold 2 /Staple 4>> setpagedevice"},
                                 {"BiFold", "<< /Fold 1 >> setpagedevice"},
                                 {"DoNotFoldAndStaple", "<< /Fold 0 /Staple 0>> setpagedevice"},
                                 {"BookletFold", "<< /Fold 2 >> setpagedevice"},
                                 {"TriFold", "<< /Fold 2 >> setpagedevice"}};
  for (const auto& [fold, command] : rows) {
    expectFoldedEverywhere(bookletJob(kJob, fold), folded(command));
  }
}

TEST(BookletDecision, AnyOtherValueIsAPlainFold) {
  for (const char* options :
       {"=False", "=FALSE", "=PRINTERS", "=Printers", "=printers", "=booklet", "=saddlestitch",
        "=Bifold", "=SaddleStitch1", "=Saddle", "=true", "=0", "=false<20>", "=<20>false",
        "=PrinterS<20>", "=donotfoldandstaple", "=\"\"", "=", ""}) {
    expectFolded(Job().options(std::string("QVBookletFold") + options).input(kJob),
                 folded("<< /Fold 2 >> setpagedevice"));
  }
}

TEST(BookletDecision, FalsePrintersAndAbsentFoldMakeNoBooklet) {
  for (const char* options :
       {"", "QVBookletFold=false", "QVBookletFold=PrinterS", "noQVBookletFold",
        "QVBookletFold=\"false\"", "QVbookletFold=SaddleStitch qvbookletfold=SaddleStitch",
        "QVBookletFold=SaddleStitch QVBookletFold=false"}) {
    expectFolded(Job().options(options).input(kJob), kJob);
  }
  expectFolded(bookletJob(kJob, "false QVBookletFold=BiFold"),
               folded("<< /Fold 1 >> setpagedevice"));
}

TEST(BookletDecision, PrinterMadeBookletDependsOnNeitherLanguageNorFiles) {
  for (const char* lang : {"", "C", "en_US.UTF-8", "../../etc"}) {
    Job job = bookletJob(kJob);
    for (const char* name : {"qvn_manualPS42", "pageReOrdered42", "pageEven42", "newEvenOrder42",
                             "headerPS42", "newOddOrder42"}) {
      writeFile(job.tmpFile(name), "mine");
    }
    job.ppd("*PPD-Adobe: \"4.3\"\n*QvnManualBooklet:\n*ManualBooklet: True\n");
    expectFolded(job.env("LANG", lang), kStitched);
    for (const char* name : {"qvn_manualPS42", "pageReOrdered42", "pageEven42", "newEvenOrder42",
                             "headerPS42", "newOddOrder42"}) {
      EXPECT_EQ(readFile(job.tmpFile(name)), "mine") << name;
    }
  }
}

// ---- copies of a booklet

// A job with the copies argument, this value of the copies option, and other options.
Job copiesJob(const std::string& argument, const std::string& value,
              const std::string& more = "QVBookletFold=SaddleStitch") {
  return Job().copies(argument).input("a\n").options(
      more + " com.apple.print.PrintSettings.PMCopies..n.=" + value);
}

TEST(BookletCopies, AreAfterTheSwitchToPostScriptIfTheArgumentIs1AndTheOptionMore) {
  const std::string rows[][3] = {{"1", "2", "2"},
                                 {"1", "3", "3"},
                                 {"1", "999", "999"},
                                 {"1", "2147483647", "2147483647"},
                                 {"1", "2147483648", "2147483647"},
                                 {"1", "4294967299", "2147483647"},
                                 {"1", "99999999999999999999999", "2147483647"},
                                 {"1", "003", "3"},
                                 {"1", "+3", "3"},
                                 {"1", "\" 3\"", "3"},
                                 {"1", "\" \t\n\r 3\"", "3"},
                                 {"1", "<20>3", "3"},
                                 {"1", "\" +3\"", "3"},
                                 {"1", "3x", "3"},
                                 {"1", "3.9", "3"},
                                 {"1", "\"3 4\"", "3"},
                                 {"01", "3", "3"},
                                 {"+1", "3", "3"},
                                 {" 1", "3", "3"},
                                 {" \t\n\r1", "3", "3"},
                                 {"1 ", "3", "3"},
                                 {"1x", "3", "3"},
                                 {"1.5", "3", "3"}};
  for (const auto& [argument, option, copies] : rows) {
    expectFolded(copiesJob(argument, option), "@PJL SET COPIES = " + copies + "\na\n");
  }
  for (const char* fold : {"Booklet", "BiFold", "DoNotFoldAndStaple", "TriFold", "False"}) {
    expectFolded(copiesJob("1", "3", std::string("QVBookletFold=") + fold),
                 "@PJL SET COPIES = 3\na\n");
  }
}

TEST(BookletCopies, AreNotSentOtherwise) {
  for (const char* argument : {"2", "3", "0", "-1", "", " ", "x", "x1", "one", "11", "- 1", "+ 1",
                               "++1", "+-1", "4294967297", "-4294967295", "18446744073709551617"}) {
    expectFolded(copiesJob(argument, "3"), "a\n");
  }
  for (const char* option :
       {"0", "-3", "x", "x3", "\"\"", "\" \"", "- 3", "PrinterS", "01", "\" 1\"", "1x", "+1", "1.9",
        "--3", "\"+ 3\"", "-4294967293", "-2147483648", "-99999999999999999999999"}) {
    expectFolded(copiesJob("1", option), "a\n");
  }
  for (const char* argument : {"1", "2", "0"}) {
    expectFolded(bookletJob("a\n").copies(argument), "a\n");
  }
  for (const char* fold : {"", "QVBookletFold=false", "QVBookletFold=PrinterS"}) {
    expectFolded(copiesJob("1", "3", fold), "a\n");
  }
}

TEST(BookletCopies, SingleCopyStaysBeforeTheSwitchToPostScript) {
  for (const char* argument : {"1", "2"}) {
    expectOut(copiesJob(argument, "1"), headerWith("@PJL SET COPIES = 1\n") + "a\n" + trailer());
  }
}

TEST(BookletCopies, AreNotSentForRetainedJobs) {
  const std::string hold = "@PJL SET QDUPLICATEHELDJOBS = SAVE\n";
  const std::string isPublic = "@PJL SET HOLDTYPE = PUBLIC\n" + hold;
  const std::string rows[][2] = {
      {"JRPrinter", ""},
      {"JRConf JRHOLDKEY=1234",
       "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = \"1234\"\n" + hold},
      {"JRRepeat", "@PJL SET HOLD = ON\n" + isPublic},
      {"JRReserve", "@PJL SET HOLD = STORE\n" + isPublic},
      {"JRVerify", "@PJL SET HOLD = PROOF\n" + isPublic},
      {"Other", hold},
      {"\"\"", hold}};
  for (const auto& [printTo, lines] : rows) {
    expectOut(copiesJob("1", "3", "QVBookletFold=BiFold PrintTo=" + printTo),
              headerWith(lines) + "a\n" + trailer());
  }
}

TEST(BookletCopies, BelongToTheHeader) {
  Job job = copiesJob("1", "3").ppd("*QVGeneric: \"Color\"\n");
  expectOut(job, headerWith("@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n") +
                     "@PJL SET COPIES = 3\na\n" + trailer());
  expectRun(copiesJob("1", "3").version("0x102f").env("DEVICE_URI", "usb://printer"), "a\n");
}

// ---- what the debug file holds

// The records of a job after its header.
std::string records(const std::string& bookletRecords) {
  return logBraces("isOnlyPrintInside") + bookletRecords +
         logRecord("main", "Initialized begin and end markers.") + logRecord("main", "}");
}

TEST(BookletTrace, BookletIsRecordedWithItsPrintToValue) {
  const std::string isBooklet = logRecord("main", "Job is Booklet");
  for (const std::string fold :
       {"Booklet", "SaddleStitch", "BiFold", "DoNotFoldAndStaple", "TriFold", "Printers", ""}) {
    expectLogAfterHeader(bookletJob(kJob, fold),
                         records(isBooklet + logRecord("main", "value of verPrint (null)")));
  }
  for (const std::string value : {"JRVerify", "JRPrinter", "", "100%d%s%n", "\x8a\xff"}) {
    expectLogAfterHeader(bookletJob("", "BiFold PrintTo=" + value),
                         records(isBooklet + logRecord("main", "value of verPrint " + value)));
  }
  // The copies are not recorded.
  expectLogAfterHeader(copiesJob("1", "3"),
                       records(isBooklet + logRecord("main", "value of verPrint (null)")));
}

TEST(BookletTrace, OtherJobIsNotRecorded) {
  for (const char* fold : {"false", "PrinterS"}) {
    expectLogAfterHeader(bookletJob(kJob, fold), records(""));
  }
}

}  // namespace
}  // namespace jobshaper::testing
