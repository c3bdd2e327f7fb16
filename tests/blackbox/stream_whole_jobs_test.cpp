// Whole jobs as the print dialog sends them, with all rules together: the output, the capture files
// and the debug file.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// A job, its captured input, and its output. The first character of each line of the text says what
// happens to the line:
//   ' ' passes                  '-' is dropped                 'x' is dropped with the options
//   'p' JobPatchFile line       's' is skipped after it        'c' is skipped if a line end is one
//   byte
//   '<' is inserted before the next line                       '{' likewise, with the options
//   '>' is inserted after the line before                      '}' likewise, with the options
//   'r' likewise, with the line end of the job                 'e' with the first byte of it
// The newline of a carriage return and newline is a line of its own.
class WholeJob {
 public:
  WholeJob(std::string lineEnd, bool withOptions)
      : end_(std::move(lineEnd)), first_(end_.substr(0, 1)), withOptions_(withOptions) {}

  WholeJob& add(std::string_view text) {
    const bool two = end_.size() == 2;
    std::string newline;  // of the line before, if it is a line of its own
    for (std::size_t next = 0; !text.empty(); text.remove_prefix(next)) {
      next = text.find('\n') + 1;
      const char kind = text.front();
      const std::string line(text.substr(1, next - 2));
      const bool after = std::string_view(">}re").find(kind) != std::string_view::npos;
      if (!after) body += std::exchange(newline, "");
      if (kind == '<' || kind == '>') body += line + "\n";
      if ((kind == '{' || kind == '}') && withOptions_) body += line + "\n";
      if (kind == 'r') body += line + end_;
      if (kind == 'e') body += line + first_;
      if (after || kind == '<' || kind == '{') continue;
      input += line + end_;
      if (kind == 's' || (kind == 'c' && !two)) {
        if (two) captured += newline = "\n";
        continue;
      }
      captured += line + first_;
      if (kind == ' ' || kind == 'c' || (kind == 'x' && !withOptions_)) body += line + first_;
      if (two && kind != 'p') captured += newline = "\n";  // that of 'p' is skipped
    }
    body += newline;
    return *this;
  }
  WholeJob& pass(const std::string& bytes) {
    for (std::string* text : {&input, &captured, &body}) *text += bytes;
    return *this;
  }

  std::string input, captured, body;

 private:
  std::string end_, first_;
  bool withOptions_;
};

// Runs the job with capture and log, from standard input and from a file, and compares everything
// that it writes.
void expectJob(Job job, const WholeJob& whole, const std::string& header, bool switchesMarkers,
               Where where = Where::here()) {
  job.capture().log(1);
  const std::string out = header + whole.body + trailer();
  for (const bool named : {false, true}) {
    const std::string of = named ? "the job from a file" : "the job from standard input";
    std::filesystem::remove(job.tmpFile("debug.log"));
    named ? job.fileWith(whole.input).input("") : job.input(whole.input);
    expectOutcome(job.run(), out, tmpLines(job) + kCaptureOn, 0, of, where);
    expectSame(readFile(job.tmpFile("qvn_ps")), whole.captured, "qvn_ps", of, where);
    expectSame(readFile(job.tmpFile("qvn_ps2")), out, "qvn_ps2", of, where);
    const std::string log = maskLog(readFile(job.tmpFile("debug.log")));
    EXPECT_TRUE(log.ends_with(
        logRecord("main", "Initialized begin and end markers.") +
        (switchesMarkers ? logRecord("main", "Found sfcl{ marker. Resetting begin and end markers.")
                         : "") +
        logRecord("main", "}")))
        << log;
  }
}

constexpr std::string_view kPosterJob =
    "-\x1b%-12345X@PJL JOB\n"
    R"(-@PJL SET RESOLUTION = 600
-@PJL ENTER LANGUAGE = POSTSCRIPT
 %!PS-Adobe-3.0
 %%Title: (Letter to the editor)
 %%Pages: (atend)
 %%EndComments
{%!
{%Set collate copies = copy:
{<< /CollatedCopies 3 >> setuserparams
{%EndUserSetup
 %RBINumCopies: 3
-%%BeginProlog
>%%BeginProlog
>%%BeginFeature: *JobPatchFile 1
>%%Quorvan Macintosh PPD File 1
>%%EndFeature
 [{
p%%BeginFeature: *JobPatchFile 1
s%%Driver PPD File 1
c%%EndFeature
 } stopped cleartomark
 /say { moveto show } bind def
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
x<< /Collate false >> setpagedevice
}<< /Collate true >> setpagedevice
 %%EndFeature
 } stopped cleartomark
 [{
 %%BeginFeature: *InputSlot Tray1
 << /ManualFeed false /MediaPosition 0 >> setpagedevice
 %%EndFeature
 } stopped cleartomark
>[{
r%%BeginFeature: *PageSize A4
r<< /PageSize [595 842] /ImagingBBox null >> setpagedevice
e%%EndFeature
>} stopped cleartomark
 %%EndSetup
 %%Page: 1 1
 [{
 %%BeginFeature: *InputSlot Tray2
 << /ManualFeed false /MediaPosition 1 >> setpagedevice
 %%EndFeature
-} stopped { cleartomark } if
e} stopped cleartomark
>[{
r%%BeginFeature: *PageSize A4
r<< /PageSize [595 842] /ImagingBBox null >> setpagedevice
e%%EndFeature
>} stopped cleartomark
)"
    " (100%, caf\x8e) 72 700 say\n"
    R"( %%BeginFeature: *JobPatchFile 2
 showpage
 %%Page: 2 2
x/Collate true def
}<< /Collate true >> setpagedevice
 showpage
 %%BeginProlog
 %%Trailer
 %%EOF
)"
    "-\x1b%-12345X@PJL EOJ\n";

TEST(StreamWholeJob, RetainedPosterJobInTheUsualStyle) {
  const std::string header = headerWith(
      "@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  const Job job = Job().version("0x103f").options(
      "PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=3 QVPosterEnablePS=True "
      "com.apple.print.PrintSettings.PMCopyCollate..b.=true");
  for (const char* lineEnd : {"\n", "\r", "\r\n"}) {
    expectJob(job, WholeJob(lineEnd, true).add(kPosterJob), header, false);
    // On a newer system and without job retention, only the other rules apply.
    expectJob(Job().version("0x1040"), WholeJob(lineEnd, false).add(kPosterJob), plainHeader(),
              false);
  }
}

// The page size comes after the first tray, so it is repeated only after the later trays.
TEST(StreamWholeJob, ConfidentialJobWithAnImageInTheAlternativeStyle) {
  const std::string header = headerWith(
      "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = \"0815\"\n"
      "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  for (const std::string lineEnd : {"\n", "\r", "\r\n"}) {
    WholeJob job(lineEnd, true);
    job.add(R"( %!PS-Adobe-3.0
<%!
<%Set collate copies = copy:
<<< /CollatedCopies (null) >> setuserparams
<%EndUserSetup
 %RBINumCopies: 1
 /sfcl{ [ } def /}efcl { stopped cleartomark } def
 sfcl{
p%%BeginFeature: *JobPatchFile 1
s%%Driver PPD File 1
c%%EndFeature
 }efcl
-%%BeginProlog
>%%BeginProlog
>%%BeginFeature: *JobPatchFile 1
>%%Quorvan Macintosh PPD File 1
>%%EndFeature
 %%EndProlog
 sfcl{
 %%BeginFeature: *InputSlot Tray1
 << /MediaPosition 0 >> setpagedevice
 %%EndFeature
 }efcl
 sfcl{
 %%BeginFeature: *CustomPageSize True
 300 400 0 0 0
 << /PageSize [300 400] >> setpagedevice
 %%EndFeature
 }efcl
 sfcl{
 %%BeginFeature: *InputSlot ManualPaper
 << /ManualFeed true >> setpagedevice
 %%EndFeature
 }efcl
>sfcl{
r%%BeginFeature: *CustomPageSize True
r300 400 0 0 0
r<< /PageSize [300 400] >> setpagedevice
e%%EndFeature
>}efcl
 %%EndSetup
 %%Page: 1 1
)");
    job.pass("%%BeginData: 4000 Binary Bytes\n" + bytes("@PJL \0\1\2\xff\r%%BeginProlog\0\n\n\r") +
             std::string(3000, '\xfe') + bytes("JobPatchFile\0InputSlot\r}efcl\0\n") +
             std::string(1024, '\0') + lineEnd);
    job.add(R"( %%EndData
-sfcl{ *InputSlot Tray3 }efcl
e}efcl
>sfcl{
r%%BeginFeature: *CustomPageSize True
r300 400 0 0 0
r<< /PageSize [300 400] >> setpagedevice
e%%EndFeature
>}efcl
 showpage
 %%Trailer
)");
    expectJob(Job().version("0x1050").options("PrintTo=JRConf JRHOLDKEY=0815"), job.pass("%%EOF"),
              header, true);
  }
}

TEST(StreamWholeJob, JobThatChangesItsStyleAfterThePageSize) {
  WholeJob job("\n", true);
  job.add(R"( %!PS-Adobe-3.0
 [{
 %%BeginFeature: *PageSize Letter
 %%EndFeature
 } stopped cleartomark
 [{
 %%BeginFeature: *InputSlot Tray1
 %%EndFeature
 } stopped cleartomark
>[{
>%%BeginFeature: *PageSize Letter
>%%EndFeature
>} stopped cleartomark
 %%Page: 1 1
 sfcl{
 %%BeginFeature: *InputSlot Tray2
 %%EndFeature
-}efcl
>} stopped cleartomark
>[{
>%%BeginFeature: *PageSize Letter
>%%EndFeature
>} stopped cleartomark
 sfcl{
 %%BeginFeature: *PageSize A5
 %%EndFeature
 }efcl
 [{
 %%BeginFeature: *InputSlot Tray1
 %%EndFeature
 } stopped cleartomark
 showpage
-sfcl{ *Duplex }efcl
>} stopped cleartomark
>[{
>%%BeginFeature: *PageSize Letter
>%%EndFeature
>} stopped cleartomark
 %%EOF
)");
  expectJob(Job().version("0x1050"), job, plainHeader(), true);
}

}  // namespace
}  // namespace jobshaper::testing
