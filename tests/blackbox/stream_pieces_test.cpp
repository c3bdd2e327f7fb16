// How the job is read: pieces of at most 1024 bytes, line ends, zero bytes, the lines skipped after
// a JobPatchFile line, and the end of the input. Lines that begin with "@PJL " show where pieces
// begin, because only those are dropped.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

std::string run(char byte, std::size_t length) { return std::string(length, byte); }
std::string as(std::size_t length) { return run('a', length); }
std::string zeros(std::size_t length) { return run('\0', length); }

// The same bytes must give the same result on standard input and in a named file.
void expectPieces(const std::vector<JobRow>& rows, Where where = Where::here()) {
  for (const JobRow& row : rows) {
    expectBody(row.input, row.body, where);
    expectBody(Job().fileWith(row.input), row.body, where);
  }
}

// Inputs that pass unchanged.
void expectKept(const std::vector<std::string>& inputs, Where where = Where::here()) {
  for (const std::string& input : inputs) expectPieces({{input, input}}, where);
}

// ---- line ends and lengths

TEST(StreamPieces, EveryLengthAroundTheBufferSizePassesWithEveryLineEnd) {
  for (const char* end : {"", "\n", "\r", "\r\n"}) {
    std::string all = "%!PS\n";
    for (const std::size_t length : {0U, 1U, 1021U, 1022U, 1023U, 1024U, 1025U, 1026U, 2046U, 2047U,
                                     2048U, 2049U, 2050U, 3000U, 3071U, 3072U, 3073U}) {
      expectKept({as(length) + end});
      all += as(length) + end + as(length) + end;
    }
    expectKept({all + "showpage\n"});
  }
}

TEST(StreamPieces, MixedLineEndsAndUnterminatedLastLinesPassUnchanged) {
  expectKept({"a\rb\nc\r\nd\n\re\r\r\nf\n\n\r\r\n\ng", "\n", "\r", "\r\n", "\n\r", "\r\r\r",
              "first\nlast", "x"});
}

TEST(StreamPieces, CarriageReturnEndsALineAndANewlineAfterItIsAnotherLine) {
  expectPieces({
      {"a\r@PJL X\rb\r", "a\rb\r"},
      {"@PJL X\r", ""},
      {"@PJL X\r@PJL Y\n@PJL Z", ""},
      {"a\r\nb\n", "a\r\nb\n"},
      {"@PJL X\r\n", "\n"},
      {"@PJL X\r\n@PJL Y\r\nb\r\n", "\n\nb\r\n"},
      {"@PJL X\n\rb\n", "\rb\n"},
  });
}

// ---- where an overlong line is split

TEST(StreamPieces, PieceBeginsAfterEvery1024BytesOfALine) {
  for (const std::size_t length : {1022U, 1023U, 1024U, 1025U, 2047U, 2048U, 2049U, 3071U, 3072U}) {
    const bool first = length % 1024 == 0;
    for (const std::string before : {"", "%!PS\n", "x\r", "x\r\n"}) {
      const std::string start = before + as(length);
      expectPieces({{start + "@PJL X\nb\n", start + (first ? "" : "@PJL X\n") + "b\n"}});
    }
  }
  expectPieces({
      {as(1024) + "@PJL X" + as(1018) + "b\n", as(1024) + "b\n"},
      {as(1024) + "@PJL X", as(1024)},
      {"%!PS\n" + as(1019) + "@PJL X\nb\n", "%!PS\n" + as(1019) + "@PJL X\nb\n"},
  });
}

TEST(StreamPieces, LineEndBelongsToItsPieceOnlyUpToThe1024thByte) {
  expectPieces({
      {as(1023) + "\n@PJL X\nb\n", as(1023) + "\nb\n"},
      {as(1023) + "\r@PJL X\rb\r", as(1023) + "\rb\r"},
      {as(1023) + "\r\n@PJL X\nb\n", as(1023) + "\r\nb\n"},
      {as(2047) + "\n@PJL X\nb\n", as(2047) + "\nb\n"},
      {"@PJL X" + as(1017) + "\nb\n", "b\n"},
      {"@PJL X" + as(1017) + "\rb\n", "b\n"},
      {"@PJL X" + as(1017) + "\r\nb\n", "\nb\n"},
      {as(1024) + "\n@PJL X\nb\n", as(1024) + "\nb\n"},
      {as(1024) + "\r\n@PJL X\r\nb\r\n", as(1024) + "\r\n\nb\r\n"},
      {"@PJL X" + as(1018) + "\nb\n", "\nb\n"},
      {"@PJL X" + as(1018) + "\r\nb\n", "\r\nb\n"},
  });
}

TEST(StreamPieces, OnlyOnePieceOfALongPjlLineIsDropped) {
  expectPieces({
      {"@PJL X" + as(1018) + "rest\nb\n", "rest\nb\n"},
      {"@PJL X" + as(1018) + "rest", "rest"},
      {"@PJL X" + as(2994) + "\nb\n", as(1976) + "\nb\n"},
      {"@PJL X" + as(1016), ""},
      {"@PJL X" + as(1017), ""},
      {"@PJL X" + as(1018), ""},
      {as(1024) + "@PJL X" + run('b', 1018) + run('c', 952), as(1024) + run('c', 952)},
      {as(1024) + run('b', 1024) + "@PJL X" + run('c', 946), as(1024) + run('b', 1024)},
  });
}

// ---- texts that are split

TEST(StreamPieces, TriggerAcrossACutIsNotSeen) {
  const std::string marker =
      "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n";
  const std::string uel(kUel);
  const std::string patch = "JobPatchFile\none\ntwo\nthree\n";
  expectPieces({
      {as(1012) + "JobPatchFiletail\none\ntwo\n", "two\n"},
      {as(1013) + patch, as(1013) + patch},
      {as(1023) + patch, as(1023) + patch},
      {as(1024) + patch, as(1024) + "three\n"},
      {as(2037) + patch, as(2037) + patch},
      {as(1024) + "%%BeginProlog\nb\n", as(1024) + marker + "b\n"},
      {as(1023) + "%%BeginProlog\nb\n", as(1023) + "%%BeginProlog\nb\n"},
      {as(1025) + "%%BeginProlog\nb\n", as(1025) + "%%BeginProlog\nb\n"},
      {"%%BeginProlog" + as(1011) + "rest\nb\n", marker + "rest\nb\n"},
      {as(1024) + uel + "@PJL EOJ\nb\n", as(1024) + "b\n"},
      {as(1020) + uel + "\nb\n", as(1020) + uel + "\nb\n"},
      {as(1020) + uel + "@PJL EOJ\nb\n", as(1020) + uel + "@PJL EOJ\nb\n"},
      {uel + as(1015) + "rest\nb\n", "rest\nb\n"},
  });
}

TEST(StreamPieces, FeatureTextAcrossACutIsNotSeen) {
  const std::string size = "*PageSize A4\n%%EndFeature\n";
  const std::string block = "[{\n" + size + "} stopped cleartomark\n";
  const std::string slot = "%%BeginFeature: *InputSlot Tray1\n} stopped cleartomark\n";
  for (const std::string& feature : {as(1016) + size, as(1020) + "PageRegion A4\n%%EndFeature\n",
                                     as(1020) + "CustomPageSize\n%%EndFeature\n"}) {
    expectKept({feature + slot});
  }
  expectPieces({
      {as(1010) + size + slot,
       as(1010) + size + slot + "[{\n" + as(1010) + size + "} stopped cleartomark\n"},
      {size + as(1020) + "InputSlot\ncleartomark\n", size + as(1020) + "InputSlot\ncleartomark\n"},
      {size + as(1015) + "InputSlot\ncleartomark\n",
       size + as(1015) + "InputSlot\ncleartomark\n" + block},
      // The paper-source feature stays open until the next closing line.
      {size + "InputSlot\n" + as(1020) + "cleartomark\nb\ncleartomark\nc\n",
       size + "InputSlot\n" + as(1020) + "cleartomark\nb\ncleartomark\n" + block + "c\n"},
      // The block grows until a line contains the whole text.
      {"*PageSize A4\n" + as(1020) + "EndFeature\nb\n%%EndFeature\nInputSlot cleartomark\n",
       "*PageSize A4\n" + as(1020) +
           "EndFeature\nb\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\n" + as(1020) +
           "EndFeature\nb\n%%EndFeature\n} stopped cleartomark\n"},
      // The block is repeated after the piece with the text, not after the rest of its line.
      {size + "InputSlot\n" + as(1013) + "cleartomarkrest\n",
       size + "InputSlot\n" + as(1013) + "cleartomark" + block + "rest\n"},
      // Without a whole "sfcl{", the closing text remains "cleartomark".
      {as(1020) + "sfcl{\n" + size + "InputSlot cleartomark\n",
       as(1020) + "sfcl{\n" + size + "InputSlot cleartomark\n" + block},
      {as(1019) + "sfcl{\n" + size + "InputSlot }efcl\n",
       as(1019) + "sfcl{\n" + size + "InputSlot }efcl\nsfcl{\n" + size + "}efcl\n"},
  });
}

// ---- zero bytes

TEST(StreamPieces, ZeroByteAnywhereInAPieceKeepsThatPieceUnchanged) {
  for (std::size_t at = 0; at <= 7; ++at) {
    std::string line = "@PJL ab\n";
    line.insert(at, 1, '\0');
    expectPieces({{line, line}, {"@PJL x\n" + line + "@PJL y\nb\n", line + "b\n"}});
  }
  for (const std::size_t at : {6U, 500U, 1021U, 1022U, 1023U}) {
    std::string line = "@PJL X" + as(1018) + "rest\n";
    line[at] = '\0';
    expectKept({line});
  }
  expectPieces({
      {"@PJL ab\n" + bytes("\0next\n"), bytes("\0next\n")},
      {"@PJL X" + as(1018) + bytes("\0rest\n"), bytes("\0rest\n")},
      {as(1023) + zeros(1) + "@PJL X\nb\n", as(1023) + zeros(1) + "b\n"},
      {"@PJL X" + zeros(1) + as(1017) + "@PJL Y\nb\n", "@PJL X" + zeros(1) + as(1017) + "b\n"},
      {as(1024) + "@PJL X" + zeros(1) + "\nb\n", as(1024) + "@PJL X" + zeros(1) + "\nb\n"},
      {"@PJL X\r" + zeros(1) + "\n@PJL Y\n", zeros(1) + "\n"},
  });
  expectKept({bytes("a\0@PJL X\nb\n"), bytes("\0%%BeginProlog\nb\n"), bytes("a\n@PJL X\0"),
              bytes("a\nJobPatchFile\0"), bytes("a\n%%BeginProlog\0")});
}

TEST(StreamPieces, ZeroBytesAlonePass) {
  for (const std::size_t length : {1U, 2U, 1022U, 1023U, 1024U, 1025U, 2048U, 3000U}) {
    expectKept({zeros(length), zeros(length) + "\n", "a\r\n" + zeros(length) + "\r\n"});
  }
}

// ---- the two lines skipped after a JobPatchFile line

TEST(StreamPieces, InputMayEndAtAnyPointOfTheSkip) {
  expectPieces({
      {"a\nJobPatchFile", "a\n"},
      {"a\nJobPatchFile\n", "a\n"},
      {"a\nJobPatchFile\none", "a\n"},
      {"a\nJobPatchFile\none\n", "a\n"},
      {"a\nJobPatchFile\none\ntwo", "a\n"},
      {"a\nJobPatchFile\none\ntwo\n", "a\n"},
      {"a\nJobPatchFile\none\ntwo\nthree", "a\nthree"},
      {"a\nJobPatchFile\none\ntwo\nthree\n", "a\nthree\n"},
      {"JobPatchFile\n\n", ""},
      {"JobPatchFile\n\n\n", ""},
      {"JobPatchFile\n\n\n\n", "\n"},
  });
}

TEST(StreamPieces, SkipCountsPiecesWhateverTheyHold) {
  expectPieces({
      // A newline after a carriage return is a line.
      {"JobPatchFile\r\none\r\ntwo\r\nthree\r\n", "\ntwo\r\nthree\r\n"},
      {"JobPatchFile\rone\rtwo\rthree\r", "three\r"},
      {"JobPatchFile\none\r\ntwo\r\n", "two\r\n"},
      {"JobPatchFile\r\none", ""},
      {"JobPatchFile\r\n", ""},
      // So is every piece of an overlong line.
      {"JobPatchFile\n" + as(3000) + "\nb\n", as(952) + "\nb\n"},
      {"JobPatchFile\n" + as(2048) + "\nb\n", "\nb\n"},
      {"JobPatchFile\n" + as(2047) + "\nb\n", "b\n"},
      {"JobPatchFile\none\n" + as(1500) + "\nb\n", as(476) + "\nb\n"},
      {"JobPatchFile" + as(2988) + "b\nc\n", "c\n"},
      {"JobPatchFile" + as(3060) + "b\nc\n", "b\nc\n"},
      {bytes("JobPatchFile\na\0b\n\0\nc\0\n"), bytes("c\0\n")},
      {"JobPatchFile\n" + zeros(2048) + "b\n", "b\n"},
      {"JobPatchFile\none\n" + zeros(1), ""},
      // The skipped lines meet no rule.
      {"JobPatchFile\n%%BeginProlog\nJobPatchFile\none\n", "one\n"},
      {"JobPatchFile\n*PageSize A4\n%%EndFeature\nInputSlot cleartomark\n",
       "InputSlot cleartomark\n"},
      {"*PageSize A4\n%%EndFeature\nJobPatchFile\nInputSlot\nx\ncleartomark\n",
       "*PageSize A4\n%%EndFeature\ncleartomark\n"},
  });
}

// ---- bytes of every value

TEST(StreamPieces, EveryByteValuePassesToEveryPrinter) {
  std::string every;
  for (int value = 1; value < 256; ++value) every += static_cast<char>(value);
  const std::string input = "%!PS\n" + every + "\n" + every + zeros(1) + every + "\nshowpage\n";
  expectKept({input, every, "a\xff\x62\n\xff\n\xff\xff\xff", "a\x1a\x62\n\x04\n\x1a",
              "%s%n%d %@ %%s\n%\n%%\n%c\r%5$s"});
  for (const char* uri : {"usb://Quorvan/Office", "lpd://printer/queue", ""}) {
    expectBody(Job().env("DEVICE_URI", uri).input(input), input);
  }
  expectRun(Job().env("DEVICE_URI", "pap://zone/printer").input(input),
            plainHeader() + input + trailer(), kAppleTalk);
}

TEST(StreamPieces, HugeBinaryInputPassesUnchanged) {
  std::string input;
  unsigned state = 12345;
  while (input.size() < 6'000'000) {
    state = state * 1664525U + 1013904223U;
    input += static_cast<char>(state >> 24);
  }
  expectKept({input});
}

TEST(StreamPieces, HugeUniformInputsPassUnchanged) {
  expectKept({as(2'000'001), zeros(2'000'001), run('\n', 500'000), run('\r', 500'000)});
}

TEST(ReadError, EndsTheJobLikeTheEndOfInput) {
  // It can be opened, but its first byte cannot be read.
  expectBody(Job().file("/proc/self/mem"), "");
  const auto readDirectory = [] { dup2(open("/", O_RDONLY), 0); };
  const Job job;
  expectOutcome(job.run(readDirectory), plainHeader() + trailer(), tmpLines(job));
}

// ---- how the input arrives

// Writes the input in parts of this size.
void expectWritten(const std::string& input, std::size_t size, const std::string& body,
                   unsigned pause = 0, Where where = Where::here()) {
  const Job job;
  Process process(job);
  for (std::size_t at = 0; at < input.size(); at += size) {
    process.write(std::string_view(input).substr(at, size));
    if (pause) usleep(pause);
  }
  expectOutcome(process.finish(), plainHeader() + body + trailer(), tmpLines(job), 0,
                "parts of " + std::to_string(size) + " bytes", where);
}

TEST(StreamPieces, InputByteByByteGivesTheSameAsInputAtOnce) {
  const std::string features = "*PageSize A4\n%%EndFeature\nInputSlot\ncleartomark\n";
  const std::string input =
      bytes("@PJL JOB\r\n%!PS\rb\0c\n%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\r\nx\r\ny\n") +
      features + as(1024) + "@PJL X\nend";
  const std::string body = bytes(
                               "\n%!PS\rb\0c\n%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n"
                               "%%Quorvan Macintosh PPD File 1\n%%EndFeature\n\ny\n") +
                           features + "[{\n*PageSize A4\n%%EndFeature\n} stopped cleartomark\n" +
                           as(1024) + "end";
  expectPieces({{input, body}});
  expectWritten(input, 1, body, 100);
}

TEST(StreamPieces, InputInWritesOfAnySizeGivesTheSame) {
  const std::string input = as(1024) + "@PJL X\r\n" + zeros(1) + as(3000) + "\n@PJL Y\nend\n";
  for (const std::size_t size : {2U, 3U, 511U, 1022U, 1023U, 1024U, 1025U, 4096U}) {
    expectWritten(input, size, as(1024) + "\n" + zeros(1) + as(3000) + "\nend\n");
  }
}

// ---- the captured input

TEST(StreamPieces, CapturedInputHoldsEveryPieceButTheSkippedOnes) {
  Job job = Job().capture().input(
      bytes("@PJL X\r\na\0b\nJobPatchFile 1\none\ntwo\0\nJobPatchFile 2\nthree\n") + as(3000));
  const std::string out =
      plainHeader() + bytes("\na\0b\nJobPatchFile 2\nthree\n") + as(3000) + trailer();
  expectRun(job, out, kCaptureOn);
  expectSame(readFile(job.tmpFile("qvn_ps")),
             bytes("@PJL X\r\na\0b\nJobPatchFile 1\nJobPatchFile 2\nthree\n") + as(3000), "qvn_ps",
             "the job");
  expectSame(readFile(job.tmpFile("qvn_ps2")), out, "qvn_ps2", "the job");
}

}  // namespace
}  // namespace jobshaper::testing
