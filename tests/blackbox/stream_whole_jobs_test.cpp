// Whole jobs as the print dialog sends them, with all rules together: the output, the capture files
// and the debug file.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/blackbox/stream_jobs.h"

namespace jobshaper::testing {
namespace {

// In these jobs, "~" is the line end of the job; the texts that the filter inserts always end in a
// newline.
std::string lines(std::string_view text, std::string_view lineEnd) {
  std::string result;
  for (const char c : text) {
    if (c == '~') {
      result += lineEnd;
    } else {
      result += c;
    }
  }
  return result;
}

// Runs the job with capture and log, from standard input and from a file, and compares everything
// that it writes.
void expectJob(const std::string& options, const std::string& version, const std::string& input,
               const std::string& captured, const std::string& header, const std::string& body,
               const std::string& messages) {
  for (const bool named : {false, true}) {
    SCOPED_TRACE(named ? "from a file" : "from standard input");
    Job job;
    job.options(options).version(version).capture().log(1);
    if (named) {
      job.fileWith(input);
    } else {
      job.input(input);
    }
    const Outcome outcome = job.run();
    const std::string out = header + body + trailer();
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, tmpLines(job) + kCaptureOn);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), captured);
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
    EXPECT_EQ(loopMessages(job), messages);
  }
}

// ---- a retained poster job in the usual style

constexpr const char* kVerifyOptions =
    "PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=3 QVPosterEnablePS=True "
    "com.apple.print.PrintSettings.PMCopyCollate..b.=true";

std::string verifyHeader() {
  return headerWith(
      "@PJL SET HOLD = PROOF\n"
      "@PJL SET HOLDTYPE = PUBLIC\n"
      "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
}

constexpr std::string_view kVerifyStart =
    "\x1b%-12345X@PJL JOB~"
    "@PJL SET RESOLUTION = 600~"
    "@PJL ENTER LANGUAGE = POSTSCRIPT~"
    "%!PS-Adobe-3.0~"
    "%%Title: (Letter to the editor)~"
    "%%Pages: (atend)~"
    "%%EndComments~"
    "%RBINumCopies: 3~"
    "%%BeginProlog~"
    "[{~"
    "%%BeginFeature: *JobPatchFile 1~";
constexpr std::string_view kVerifyPatch =
    "%%Driver PPD File 1~"
    "%%EndFeature~";
constexpr std::string_view kVerifyRest =
    "} stopped cleartomark~"
    "/say { moveto show } bind def~"
    "%%EndProlog~"
    "%%BeginSetup~"
    "[{~"
    "%%BeginFeature: *PageSize A4~"
    "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
    "%%EndFeature~"
    "} stopped cleartomark~"
    "[{~"
    "%%BeginFeature: *PageRegion A4~"
    "<< /PageSize [595 842] >> setpagedevice~"
    "%%EndFeature~"
    "} stopped cleartomark~"
    "[{~"
    "%%BeginFeature: *Collate False~"
    "<< /Collate false >> setpagedevice~"
    "%%EndFeature~"
    "} stopped cleartomark~"
    "[{~"
    "%%BeginFeature: *InputSlot Tray1~"
    "<< /ManualFeed false /MediaPosition 0 >> setpagedevice~"
    "%%EndFeature~"
    "} stopped cleartomark~"
    "%%EndSetup~"
    "%%Page: 1 1~"
    "[{~"
    "%%BeginFeature: *InputSlot Tray2~"
    "<< /ManualFeed false /MediaPosition 1 >> setpagedevice~"
    "%%EndFeature~"
    "} stopped { cleartomark } if~"
    "(100%, caf\x8e) 72 700 say~"
    "%%BeginFeature: *JobPatchFile 2~"
    "showpage~"
    "%%Page: 2 2~"
    "/Collate true def~"
    "showpage~"
    "%%BeginProlog~"
    "%%Trailer~"
    "%%EOF~"
    "\x1b%-12345X@PJL EOJ~"
    "\x1b%-12345X";

TEST(StreamWholeJob, RetainedPosterJobInTheUsualStyle) {
  constexpr std::string_view body =
      "%!PS-Adobe-3.0~"
      "%%Title: (Letter to the editor)~"
      "%%Pages: (atend)~"
      "%%EndComments~"
      "%!\n"
      "%Set collate copies = copy:\n"
      "<< /CollatedCopies 3 >> setuserparams\n"
      "%EndUserSetup\n"
      "%RBINumCopies: 3~"
      "%%BeginProlog\n"
      "%%BeginFeature: *JobPatchFile 1\n"
      "%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n"
      "[{~"
      "} stopped cleartomark~"
      "/say { moveto show } bind def~"
      "%%EndProlog~"
      "%%BeginSetup~"
      "[{~"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *PageRegion A4~"
      "<< /PageSize [595 842] >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *Collate False~"
      "<< /Collate true >> setpagedevice\n"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *InputSlot Tray1~"
      "<< /ManualFeed false /MediaPosition 0 >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{\n"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark\n"
      "%%EndSetup~"
      "%%Page: 1 1~"
      "[{~"
      "%%BeginFeature: *InputSlot Tray2~"
      "<< /ManualFeed false /MediaPosition 1 >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{\n"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark\n"
      "(100%, caf\x8e) 72 700 say~"
      "%%BeginFeature: *JobPatchFile 2~"
      "showpage~"
      "%%Page: 2 2~"
      "<< /Collate true >> setpagedevice\n"
      "showpage~"
      "%%BeginProlog~"
      "%%Trailer~"
      "%%EOF~";
  for (const char* lineEnd : {"\n", "\r"}) {
    SCOPED_TRACE(::testing::PrintToString(lineEnd));
    const std::string start = lines(kVerifyStart, lineEnd);
    const std::string rest = lines(kVerifyRest, lineEnd);
    expectJob(kVerifyOptions, "0x103f", start + lines(kVerifyPatch, lineEnd) + rest, start + rest,
              verifyHeader(), lines(body, lineEnd), kUsualMessages);
  }
}

// If a line end has two bytes, the newline of a line that is dropped or replaced remains. After the
// JobPatchFile line, only its newline and the next line are skipped.
TEST(StreamWholeJob, RetainedPosterJobWithCarriageReturnAndNewline) {
  constexpr std::string_view body =
      "\n"
      "\n"
      "\n"
      "%!PS-Adobe-3.0~"
      "%%Title: (Letter to the editor)~"
      "%%Pages: (atend)~"
      "%%EndComments~"
      "%!\n"
      "%Set collate copies = copy:\n"
      "<< /CollatedCopies 3 >> setuserparams\n"
      "%EndUserSetup\n"
      "%RBINumCopies: 3~"
      "%%BeginProlog\n"
      "%%BeginFeature: *JobPatchFile 1\n"
      "%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n"
      "\n"
      "[{~"
      "\n"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "/say { moveto show } bind def~"
      "%%EndProlog~"
      "%%BeginSetup~"
      "[{~"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *PageRegion A4~"
      "<< /PageSize [595 842] >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *Collate False~"
      "<< /Collate true >> setpagedevice\n"
      "\n"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *InputSlot Tray1~"
      "<< /ManualFeed false /MediaPosition 0 >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark\r"
      "[{\n"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature\r"
      "} stopped cleartomark\n"
      "\n"
      "%%EndSetup~"
      "%%Page: 1 1~"
      "[{~"
      "%%BeginFeature: *InputSlot Tray2~"
      "<< /ManualFeed false /MediaPosition 1 >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark\r"
      "[{\n"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature\r"
      "} stopped cleartomark\n"
      "\n"
      "(100%, caf\x8e) 72 700 say~"
      "%%BeginFeature: *JobPatchFile 2~"
      "showpage~"
      "%%Page: 2 2~"
      "<< /Collate true >> setpagedevice\n"
      "\n"
      "showpage~"
      "%%BeginProlog~"
      "%%Trailer~"
      "%%EOF~"
      "\n";
  const std::string start = lines(kVerifyStart, "\r\n");
  const std::string rest = lines(kVerifyRest, "\r\n");
  const std::string captured = start.substr(0, start.size() - 1) + "\n%%EndFeature\r\n" + rest;
  expectJob(kVerifyOptions, "0x103f", start + lines(kVerifyPatch, "\r\n") + rest, captured,
            verifyHeader(), lines(body, "\r\n"), kUsualMessages);
}

// The same job on a newer system and without job retention: only the rules that depend on neither
// apply.
TEST(StreamWholeJob, SameJobWithoutItsOptionsOnANewerSystem) {
  constexpr std::string_view body =
      "%!PS-Adobe-3.0~"
      "%%Title: (Letter to the editor)~"
      "%%Pages: (atend)~"
      "%%EndComments~"
      "%RBINumCopies: 3~"
      "%%BeginProlog\n"
      "%%BeginFeature: *JobPatchFile 1\n"
      "%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n"
      "[{~"
      "} stopped cleartomark~"
      "/say { moveto show } bind def~"
      "%%EndProlog~"
      "%%BeginSetup~"
      "[{~"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *PageRegion A4~"
      "<< /PageSize [595 842] >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *Collate False~"
      "<< /Collate false >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{~"
      "%%BeginFeature: *InputSlot Tray1~"
      "<< /ManualFeed false /MediaPosition 0 >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{\n"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark\n"
      "%%EndSetup~"
      "%%Page: 1 1~"
      "[{~"
      "%%BeginFeature: *InputSlot Tray2~"
      "<< /ManualFeed false /MediaPosition 1 >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark~"
      "[{\n"
      "%%BeginFeature: *PageSize A4~"
      "<< /PageSize [595 842] /ImagingBBox null >> setpagedevice~"
      "%%EndFeature~"
      "} stopped cleartomark\n"
      "(100%, caf\x8e) 72 700 say~"
      "%%BeginFeature: *JobPatchFile 2~"
      "showpage~"
      "%%Page: 2 2~"
      "/Collate true def~"
      "showpage~"
      "%%BeginProlog~"
      "%%Trailer~"
      "%%EOF~";
  for (const char* lineEnd : {"\n", "\r"}) {
    SCOPED_TRACE(::testing::PrintToString(lineEnd));
    const std::string start = lines(kVerifyStart, lineEnd);
    const std::string rest = lines(kVerifyRest, lineEnd);
    expectJob("", "0x1040", start + lines(kVerifyPatch, lineEnd) + rest, start + rest,
              plainHeader(), lines(body, lineEnd), kUsualMessages);
  }
}

// ---- a confidential job in the alternative style, with an image

constexpr const char* kConfOptions = "PrintTo=JRConf JRHOLDKEY=0815";

std::string confHeader() {
  return headerWith(
      "@PJL SET HOLD = ON\n"
      "@PJL SET HOLDTYPE = PRIVATE\n"
      "@PJL SET HOLDKEY = \"0815\"\n"
      "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
}

constexpr std::string_view kConfStart =
    "%!PS-Adobe-3.0~"
    "%RBINumCopies: 1~"
    "/sfcl{ [ } def /}efcl { stopped cleartomark } def~"
    "sfcl{~"
    "%%BeginFeature: *JobPatchFile 1~";
constexpr std::string_view kConfPatch =
    "%%Driver PPD File 1~"
    "%%EndFeature~";
constexpr std::string_view kConfSetup =
    "}efcl~"
    "%%BeginProlog~"
    "%%EndProlog~"
    "sfcl{~"
    "%%BeginFeature: *InputSlot Tray1~"
    "<< /MediaPosition 0 >> setpagedevice~"
    "%%EndFeature~"
    "}efcl~"
    "sfcl{~"
    "%%BeginFeature: *CustomPageSize True~"
    "300 400 0 0 0~"
    "<< /PageSize [300 400] >> setpagedevice~"
    "%%EndFeature~"
    "}efcl~"
    "sfcl{~"
    "%%BeginFeature: *InputSlot ManualPaper~"
    "<< /ManualFeed true >> setpagedevice~"
    "%%EndFeature~"
    "}efcl~"
    "%%EndSetup~"
    "%%Page: 1 1~";
constexpr std::string_view kConfLast =
    "~%%EndData~"
    "sfcl{ *InputSlot Tray3 }efcl~"
    "showpage~"
    "%%Trailer~"
    "%%EOF";

std::string image() {
  return "%%BeginData: 4000 Binary Bytes\n" + bytes("@PJL \0\1\2\xff\r%%BeginProlog\0\n\n\r") +
         std::string(3000, '\xfe') + bytes("JobPatchFile\0InputSlot\r}efcl\0\n") +
         std::string(1024, '\0');
}

// The page size comes after the first tray, so it is repeated only after the later trays.
TEST(StreamWholeJob, ConfidentialJobInTheAlternativeStyle) {
  constexpr std::string_view setup =
      "%!PS-Adobe-3.0~"
      "%!\n"
      "%Set collate copies = copy:\n"
      "<< /CollatedCopies (null) >> setuserparams\n"
      "%EndUserSetup\n"
      "%RBINumCopies: 1~"
      "/sfcl{ [ } def /}efcl { stopped cleartomark } def~"
      "sfcl{~"
      "}efcl~"
      "%%BeginProlog\n"
      "%%BeginFeature: *JobPatchFile 1\n"
      "%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n"
      "%%EndProlog~"
      "sfcl{~"
      "%%BeginFeature: *InputSlot Tray1~"
      "<< /MediaPosition 0 >> setpagedevice~"
      "%%EndFeature~"
      "}efcl~"
      "sfcl{~"
      "%%BeginFeature: *CustomPageSize True~"
      "300 400 0 0 0~"
      "<< /PageSize [300 400] >> setpagedevice~"
      "%%EndFeature~"
      "}efcl~"
      "sfcl{~"
      "%%BeginFeature: *InputSlot ManualPaper~"
      "<< /ManualFeed true >> setpagedevice~"
      "%%EndFeature~"
      "}efcl~"
      "sfcl{\n"
      "%%BeginFeature: *CustomPageSize True~"
      "300 400 0 0 0~"
      "<< /PageSize [300 400] >> setpagedevice~"
      "%%EndFeature~"
      "}efcl\n"
      "%%EndSetup~"
      "%%Page: 1 1~";
  constexpr std::string_view last =
      "~%%EndData~"
      "}efcl~"
      "sfcl{\n"
      "%%BeginFeature: *CustomPageSize True~"
      "300 400 0 0 0~"
      "<< /PageSize [300 400] >> setpagedevice~"
      "%%EndFeature~"
      "}efcl\n"
      "showpage~"
      "%%Trailer~"
      "%%EOF";
  for (const char* lineEnd : {"\n", "\r"}) {
    SCOPED_TRACE(::testing::PrintToString(lineEnd));
    const std::string start = lines(kConfStart, lineEnd);
    const std::string rest = lines(kConfSetup, lineEnd) + image() + lines(kConfLast, lineEnd);
    expectJob(kConfOptions, "0x1050", start + lines(kConfPatch, lineEnd) + rest, start + rest,
              confHeader(), lines(setup, lineEnd) + image() + lines(last, lineEnd),
              kSwitchMessages);
  }
}

TEST(StreamWholeJob, ConfidentialJobWithCarriageReturnAndNewline) {
  constexpr std::string_view setup =
      "%!PS-Adobe-3.0~"
      "%!\n"
      "%Set collate copies = copy:\n"
      "<< /CollatedCopies (null) >> setuserparams\n"
      "%EndUserSetup\n"
      "%RBINumCopies: 1~"
      "/sfcl{ [ } def /}efcl { stopped cleartomark } def~"
      "sfcl{~"
      "\n"
      "%%EndFeature~"
      "}efcl~"
      "%%BeginProlog\n"
      "%%BeginFeature: *JobPatchFile 1\n"
      "%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n"
      "\n"
      "%%EndProlog~"
      "sfcl{~"
      "%%BeginFeature: *InputSlot Tray1~"
      "<< /MediaPosition 0 >> setpagedevice~"
      "%%EndFeature~"
      "}efcl~"
      "sfcl{~"
      "%%BeginFeature: *CustomPageSize True~"
      "300 400 0 0 0~"
      "<< /PageSize [300 400] >> setpagedevice~"
      "%%EndFeature~"
      "}efcl~"
      "sfcl{~"
      "%%BeginFeature: *InputSlot ManualPaper~"
      "<< /ManualFeed true >> setpagedevice~"
      "%%EndFeature~"
      "}efcl\r"
      "sfcl{\n"
      "%%BeginFeature: *CustomPageSize True~"
      "300 400 0 0 0~"
      "<< /PageSize [300 400] >> setpagedevice~"
      "%%EndFeature\r"
      "}efcl\n"
      "\n"
      "%%EndSetup~"
      "%%Page: 1 1~";
  constexpr std::string_view last =
      "~%%EndData~"
      "}efcl\r"
      "sfcl{\n"
      "%%BeginFeature: *CustomPageSize True~"
      "300 400 0 0 0~"
      "<< /PageSize [300 400] >> setpagedevice~"
      "%%EndFeature\r"
      "}efcl\n"
      "\n"
      "showpage~"
      "%%Trailer~"
      "%%EOF";
  const std::string start = lines(kConfStart, "\r\n");
  const std::string rest = lines(kConfSetup, "\r\n") + image() + lines(kConfLast, "\r\n");
  const std::string captured = start.substr(0, start.size() - 1) + "\n%%EndFeature\r\n" + rest;
  expectJob(kConfOptions, "0x1050", start + lines(kConfPatch, "\r\n") + rest, captured,
            confHeader(), lines(setup, "\r\n") + image() + lines(last, "\r\n"), kSwitchMessages);
}

// ---- a job that changes its style

TEST(StreamWholeJob, JobThatChangesItsStyleAfterThePageSize) {
  const std::string input =
      "%!PS-Adobe-3.0\n"
      "[{\n"
      "%%BeginFeature: *PageSize Letter\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *InputSlot Tray1\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "%%Page: 1 1\n"
      "sfcl{\n"
      "%%BeginFeature: *InputSlot Tray2\n"
      "%%EndFeature\n"
      "}efcl\n"
      "sfcl{\n"
      "%%BeginFeature: *PageSize A5\n"
      "%%EndFeature\n"
      "}efcl\n"
      "[{\n"
      "%%BeginFeature: *InputSlot Tray1\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "showpage\n"
      "sfcl{ *Duplex }efcl\n"
      "%%EOF\n";
  const std::string body =
      "%!PS-Adobe-3.0\n"
      "[{\n"
      "%%BeginFeature: *PageSize Letter\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *InputSlot Tray1\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *PageSize Letter\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "%%Page: 1 1\n"
      "sfcl{\n"
      "%%BeginFeature: *InputSlot Tray2\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *PageSize Letter\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "sfcl{\n"
      "%%BeginFeature: *PageSize A5\n"
      "%%EndFeature\n"
      "}efcl\n"
      "[{\n"
      "%%BeginFeature: *InputSlot Tray1\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "showpage\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *PageSize Letter\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "%%EOF\n";
  expectJob("", "0x1050", input, input, plainHeader(), body, kSwitchMessages);
}

}  // namespace
}  // namespace jobshaper::testing
