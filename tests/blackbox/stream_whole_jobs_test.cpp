// Whole jobs as the print dialog sends them, with all rules together: the output, the capture files
// and the debug file.
#include <string>
#include <string_view>

#include "tests/blackbox/stream_jobs.h"

namespace jobshaper::testing {
namespace {

// Runs the job with capture and log, and compares everything that it writes.
void expectWhole(Job job, const StreamJob& stream, std::string_view headerLines,
                 std::string_view lastRecords, Where where = Where::here()) {
  const std::string out = headerWith(headerLines) + stream.body + trailer();
  job.capture();
  expectRun(job, out, kCaptureOn, 0, where);
  expectSame(readFile(job.tmpFile("qvn_ps")), stream.captured, "qvn_ps", "the job", where);
  expectSame(readFile(job.tmpFile("qvn_ps2")), out, "qvn_ps2", "the job", where);
  expectSame(logAfterHeader(job), lastRecords, "log", "the job", where);
}

const std::string kRulesBegin =
    logBraces("isOnlyPrintInside") + logRecord("main", "Initialized begin and end markers.");

TEST(StreamWholeJob, RetainedPosterJobInTheUsualStyle) {
  const StreamJob stream = streamJob(
      "-\x1b%-12345X@PJL JOB\n"
      R"(-@PJL SET RESOLUTION = 600
-@PJL ENTER LANGUAGE = POSTSCRIPT
 %!PS-Adobe-3.0
 %%Title: (Letter to the editor)
 %%EndComments
+%!
+%Set collate copies = copy:
+<< /CollatedCopies 3 >> setuserparams
+%EndUserSetup
 %RBINumCopies: 3
-%%BeginProlog
+%%BeginProlog
+%%BeginFeature: *JobPatchFile 1
+%%Quorvan Macintosh PPD File 1
+%%EndFeature
 [{
-%%BeginFeature: *JobPatchFile 1
s%%Driver PPD File 1
s%%EndFeature
 } stopped cleartomark
 %%EndProlog
 %%BeginSetup
 [{
 %%BeginFeature: *PageSize A4
 << /PageSize [595 842] /ImagingBBox null >> setpagedevice
 %%EndFeature
 } stopped cleartomark
 [{
 %%BeginFeature: *PageRegion A4
 << /PageSize [595 842] >> setpagedevice
 %%EndFeature
 } stopped cleartomark
 [{
 %%BeginFeature: *Collate False
-<< /Collate false >> setpagedevice
+<< /Collate true >> setpagedevice
 %%EndFeature
 } stopped cleartomark
 [{
 %%BeginFeature: *InputSlot Tray1
 << /ManualFeed false /MediaPosition 0 >> setpagedevice
 %%EndFeature
 } stopped cleartomark
+[{
+%%BeginFeature: *PageSize A4
+<< /PageSize [595 842] /ImagingBBox null >> setpagedevice
+%%EndFeature
+} stopped cleartomark
 %%EndSetup
 %%Page: 1 1
 [{
 %%BeginFeature: *InputSlot Tray2
 << /ManualFeed false /MediaPosition 1 >> setpagedevice
 %%EndFeature
-} stopped { cleartomark } if
+} stopped cleartomark
+[{
+%%BeginFeature: *PageSize A4
+<< /PageSize [595 842] /ImagingBBox null >> setpagedevice
+%%EndFeature
+} stopped cleartomark
)"
      " (100%, caf\x8e) 72 700 say\n"
      R"( %%BeginFeature: *JobPatchFile 2
 showpage
 %%BeginProlog
 %%Trailer
 %%EOF
)"
      "-\x1b%-12345X@PJL EOJ\n");
  expectWhole(
      Job()
          .version("0x103f")
          .input(stream.input)
          .options(
              "PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=3 QVPosterEnablePS=True "
              "com.apple.print.PrintSettings.PMCopyCollate..b.=true"),
      stream,
      "@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n@PJL SET QDUPLICATEHELDJOBS = SAVE\n",
      kRulesBegin + logRecord("main", "}"));
}

// The page size comes after the first tray, so it is repeated only after the later trays.
TEST(StreamWholeJob, FileWithAnImageInTheAlternativeStyle) {
  const StreamJob stream = streamJob(
      R"( %!PS-Adobe-3.0
 /sfcl{ [ } def /}efcl { stopped cleartomark } def
 sfcl{
-%%BeginFeature: *JobPatchFile 1
s%%Driver PPD File 1
s%%EndFeature
 }efcl
-%%BeginProlog
+%%BeginProlog
+%%BeginFeature: *JobPatchFile 1
+%%Quorvan Macintosh PPD File 1
+%%EndFeature
 %%EndProlog
 sfcl{
 %%BeginFeature: *InputSlot Tray1
 << /MediaPosition 0 >> setpagedevice
 %%EndFeature
 }efcl
 sfcl{
 %%BeginFeature: *CustomPageSize True
 300 400 0 0 0
 %%EndFeature
 }efcl
 sfcl{
 %%BeginFeature: *InputSlot ManualPaper
 << /ManualFeed true >> setpagedevice
 %%EndFeature
 }efcl
+sfcl{
+%%BeginFeature: *CustomPageSize True
+300 400 0 0 0
+%%EndFeature
+}efcl
 %%EndSetup
 %%Page: 1 1
 %%BeginData: 4000 Binary Bytes
)" + bytes(" @PJL \0\1\2\xff\r %%BeginProlog\0\n \n \r JobPatchFile\0InputSlot\r }efcl\0\n ") +
      std::string(1024, '\0') + R"( %%EndData
-sfcl{ *InputSlot Tray3 }efcl
+}efcl
+sfcl{
+%%BeginFeature: *CustomPageSize True
+300 400 0 0 0
+%%EndFeature
+}efcl
 showpage
 %%Trailer
 %%EOF)");
  expectWhole(Job().fileWith(stream.input), stream, "",
              kRulesBegin +
                  logRecord("main", "Found sfcl{ marker. Resetting begin and end markers.") +
                  logRecord("main", "}"));
}

}  // namespace
}  // namespace jobshaper::testing
