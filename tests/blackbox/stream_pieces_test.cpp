// How the job is read: pieces of at most 1024 bytes, line ends, zero bytes, the lines skipped after
// a JobPatchFile line, and the end of the input. Lines that begin with "@PJL " show where pieces
// begin, because only those are dropped.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

std::string run(char byte, std::size_t length) { return std::string(length, byte); }
std::string as(std::size_t length) { return run('a', length); }
std::string zeros(std::size_t length) { return run('\0', length); }

// Prints the position of the first difference instead of large outputs.
void expectSameBytes(const std::string& actual, const std::string& expected) {
  if (actual == expected) return;
  std::size_t at = 0;
  while (at < actual.size() && at < expected.size() && actual[at] == expected[at]) ++at;
  ADD_FAILURE() << actual.size() << " bytes instead of " << expected.size() << ", different from "
                << at << ": \"" << ::testing::PrintToString(actual.substr(at, 60))
                << "\" instead of \"" << ::testing::PrintToString(expected.substr(at, 60)) << '"';
}

void expectResult(const Job& job, const Outcome& outcome, const std::string& body) {
  expectSameBytes(outcome.out, plainHeader() + body + trailer());
  EXPECT_EQ(outcome.err, tmpLines(job));
  EXPECT_EQ(outcome.exitStatus, 0);
}

// The same bytes must give the same result on standard input and in a named file.
void expectBody(const std::string& input, const std::string& body) {
  Job fromPipe;
  fromPipe.input(input);
  expectResult(fromPipe, fromPipe.run(), body);
  Job fromFile;
  fromFile.fileWith(input);
  expectResult(fromFile, fromFile.run(), body);
}

void expectUnchanged(const std::string& input) { expectBody(input, input); }

struct Row {
  std::string input;
  std::string body;
};

void expectRows(const std::vector<Row>& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    expectBody(rows[i].input, rows[i].body);
  }
}

// Returns true as soon as the file contains exactly these bytes; false after 20 s.
bool becomes(const std::string& path, const std::string& expected) {
  for (int i = 0; i < 2000; ++i) {
    if (readFile(path) == expected) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

// ---- line ends and lengths

TEST(StreamPieces, EmptyInputGivesHeaderAndTrailerAlone) { expectBody("", ""); }

TEST(StreamPieces, FinalLineWithoutNewlineIsWrittenWithoutOne) {
  expectUnchanged("first\nlast");
  expectUnchanged("x");
}

TEST(StreamPieces, EveryLengthAroundTheBufferSizePassesWithEveryLineEnd) {
  for (const std::size_t length : {0U, 1U, 1021U, 1022U, 1023U, 1024U, 1025U, 1026U, 2046U, 2047U,
                                   2048U, 2049U, 2050U, 3000U, 3071U, 3072U, 3073U}) {
    for (const char* end : {"", "\n", "\r", "\r\n"}) {
      SCOPED_TRACE(std::to_string(length) + " bytes, end " + ::testing::PrintToString(end));
      expectUnchanged(as(length) + end);
      expectUnchanged("%!PS\n" + as(length) + end + as(length) + end + "showpage\n");
    }
  }
}

TEST(StreamPieces, MixedLineEndsPassUnchanged) {
  expectUnchanged("a\rb\nc\r\nd\n\re\r\r\nf\n\n\r\r\n\ng");
  expectUnchanged("\n");
  expectUnchanged("\r");
  expectUnchanged("\r\n");
  expectUnchanged("\n\r");
  expectUnchanged("\r\r\r");
}

TEST(StreamPieces, CarriageReturnEndsALine) {
  expectRows({
      {"a\r@PJL X\rb\r", "a\rb\r"},
      {"@PJL X\r", ""},
      {"@PJL X\r@PJL Y\n@PJL Z", ""},
  });
}

TEST(StreamPieces, NewlineAfterACarriageReturnIsALineOfItsOwn) {
  expectRows({
      {"a\r\nb\n", "a\r\nb\n"},
      {"@PJL X\r\n", "\n"},
      {"@PJL X\r\n@PJL Y\r\nb\r\n", "\n\nb\r\n"},
      {"@PJL X\n\rb\n", "\rb\n"},
  });
}

// ---- where an overlong line is split

TEST(StreamPieces, PieceBeginsAfterEvery1024Bytes) {
  expectRows({
      {as(1022) + "@PJL X\nb\n", as(1022) + "@PJL X\nb\n"},
      {as(1023) + "@PJL X\nb\n", as(1023) + "@PJL X\nb\n"},
      {as(1024) + "@PJL X\nb\n", as(1024) + "b\n"},
      {as(1025) + "@PJL X\nb\n", as(1025) + "@PJL X\nb\n"},
      {as(2047) + "@PJL X\nb\n", as(2047) + "@PJL X\nb\n"},
      {as(2048) + "@PJL X\nb\n", as(2048) + "b\n"},
      {as(2049) + "@PJL X\nb\n", as(2049) + "@PJL X\nb\n"},
      {as(3072) + "@PJL X\nb\n", as(3072) + "b\n"},
      {as(1024) + "@PJL X" + as(1018) + "b\n", as(1024) + "b\n"},
      {as(1024) + "@PJL X", as(1024)},
  });
}

TEST(StreamPieces, CutsAreCountedFromTheLineNotFromTheJob) {
  expectRows({
      {"%!PS\n" + as(1024) + "@PJL X\nb\n", "%!PS\n" + as(1024) + "b\n"},
      {"%!PS\n" + as(1019) + "@PJL X\nb\n", "%!PS\n" + as(1019) + "@PJL X\nb\n"},
      {"x\r" + as(1024) + "@PJL X\rb\r", "x\r" + as(1024) + "b\r"},
      {"x\r\n" + as(1024) + "@PJL X\nb\n", "x\r\n" + as(1024) + "b\n"},
  });
}

TEST(StreamPieces, LineEndAsThe1024thByteBelongsToItsPiece) {
  expectRows({
      {as(1023) + "\n@PJL X\nb\n", as(1023) + "\nb\n"},
      {as(1023) + "\r@PJL X\rb\r", as(1023) + "\rb\r"},
      {as(1023) + "\r\n@PJL X\nb\n", as(1023) + "\r\nb\n"},
      {as(2047) + "\n@PJL X\nb\n", as(2047) + "\nb\n"},
      {"@PJL X" + as(1017) + "\nb\n", "b\n"},
      {"@PJL X" + as(1017) + "\rb\n", "b\n"},
      {"@PJL X" + as(1017) + "\r\nb\n", "\nb\n"},
  });
}

TEST(StreamPieces, LineEndAsThe1025thByteIsAPieceOfItsOwn) {
  expectRows({
      {as(1024) + "\n@PJL X\nb\n", as(1024) + "\nb\n"},
      {as(1024) + "\r\n@PJL X\r\nb\r\n", as(1024) + "\r\n\nb\r\n"},
      {"@PJL X" + as(1018) + "\nb\n", "\nb\n"},
      {"@PJL X" + as(1018) + "\r\nb\n", "\r\nb\n"},
  });
}

TEST(StreamPieces, OnlyTheFirst1024BytesOfALongPjlLineAreDropped) {
  expectRows({
      {"@PJL X" + as(1018) + "rest\nb\n", "rest\nb\n"},
      {"@PJL X" + as(1018) + "rest", "rest"},
      {"@PJL X" + as(2994) + "\nb\n", as(1976) + "\nb\n"},
      {"@PJL X" + as(1016), ""},
      {"@PJL X" + as(1017), ""},
      {"@PJL X" + as(1018), ""},
  });
}

TEST(StreamPieces, LongLineOfThreeThousandBytesPassesInThreePieces) {
  expectRows({
      {as(3000), as(3000)},
      {run('a', 1024) + run('b', 1024) + run('c', 952),
       run('a', 1024) + run('b', 1024) + run('c', 952)},
      {as(1024) + "@PJL X" + run('b', 1018) + run('c', 952), as(1024) + run('c', 952)},
      {as(1024) + run('b', 1024) + "@PJL X" + run('c', 946), as(1024) + run('b', 1024)},
  });
}

// ---- texts that are split

TEST(StreamPieces, JobPatchFileAcrossACutIsNotSeen) {
  expectRows({
      {as(1012) + "JobPatchFiletail\none\ntwo\n", "two\n"},
      {as(1013) + "JobPatchFile\none\ntwo\nthree\n", as(1013) + "JobPatchFile\none\ntwo\nthree\n"},
      {as(1023) + "JobPatchFile\none\ntwo\nthree\n", as(1023) + "JobPatchFile\none\ntwo\nthree\n"},
      {as(1024) + "JobPatchFile\none\ntwo\nthree\n", as(1024) + "three\n"},
      {as(2037) + "JobPatchFile\none\ntwo\nthree\n", as(2037) + "JobPatchFile\none\ntwo\nthree\n"},
  });
}

TEST(StreamPieces, BeginPrologCountsAtTheStartOfAPieceOnly) {
  const std::string marker =
      "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n";
  expectRows({
      {as(1024) + "%%BeginProlog\nb\n", as(1024) + marker + "b\n"},
      {as(1023) + "%%BeginProlog\nb\n", as(1023) + "%%BeginProlog\nb\n"},
      {as(1025) + "%%BeginProlog\nb\n", as(1025) + "%%BeginProlog\nb\n"},
      {"%%BeginProlog" + as(1011) + "rest\nb\n", marker + "rest\nb\n"},
  });
}

TEST(StreamPieces, ExitStringCountsAtTheStartOfAPieceOnly) {
  const std::string uel(kUel);
  expectRows({
      {as(1024) + uel + "@PJL EOJ\nb\n", as(1024) + "b\n"},
      {as(1020) + uel + "\nb\n", as(1020) + uel + "\nb\n"},
      {as(1020) + uel + "@PJL EOJ\nb\n", as(1020) + uel + "@PJL EOJ\nb\n"},
      {uel + as(1015) + "rest\nb\n", "rest\nb\n"},
  });
}

TEST(StreamPieces, PageSizeAndInputSlotAcrossACutAreNotSeen) {
  const std::string slot = "%%BeginFeature: *InputSlot Tray1\n} stopped cleartomark\n";
  const std::string size = "*PageSize A4\n%%EndFeature\n";
  expectRows({
      {as(1010) + size + slot,
       as(1010) + size + slot + "[{\n" + as(1010) + size + "} stopped cleartomark\n"},
      {as(1016) + size + slot, as(1016) + size + slot},
      {as(1020) + "PageRegion A4\n%%EndFeature\n" + slot,
       as(1020) + "PageRegion A4\n%%EndFeature\n" + slot},
      {as(1020) + "CustomPageSize\n%%EndFeature\n" + slot,
       as(1020) + "CustomPageSize\n%%EndFeature\n" + slot},
      {size + as(1020) + "InputSlot\n} stopped cleartomark\n",
       size + as(1020) + "InputSlot\n} stopped cleartomark\n"},
      {size + as(1015) + "InputSlot\n} stopped cleartomark\n",
       size + as(1015) +
           "InputSlot\n} stopped cleartomark\n[{\n*PageSize A4\n%%EndFeature\n"
           "} stopped cleartomark\n"},
  });
}

TEST(StreamPieces, ClosingTextsAcrossACutAreNotSeen) {
  expectRows({
      // The paper-source feature stays open until the next closing line.
      {"*PageSize A4\n%%EndFeature\nInputSlot\n" + as(1020) + "cleartomark\nb\ncleartomark\nc\n",
       "*PageSize A4\n%%EndFeature\nInputSlot\n" + as(1020) +
           "cleartomark\nb\ncleartomark\n[{\n*PageSize A4\n%%EndFeature\n"
           "} stopped cleartomark\nc\n"},
      // The block grows until a line contains the whole text.
      {"*PageSize A4\n" + as(1020) + "EndFeature\nb\n%%EndFeature\nInputSlot cleartomark\n",
       "*PageSize A4\n" + as(1020) +
           "EndFeature\nb\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\n" + as(1020) +
           "EndFeature\nb\n%%EndFeature\n} stopped cleartomark\n"},
      // The block is repeated after the piece with the text, not after the rest of its line.
      {"*PageSize A4\n%%EndFeature\nInputSlot\n" + as(1013) + "cleartomarkrest\n",
       "*PageSize A4\n%%EndFeature\nInputSlot\n" + as(1013) +
           "cleartomark[{\n*PageSize A4\n%%EndFeature\n} stopped cleartomark\nrest\n"},
      // Without a whole "sfcl{", the closing text remains "cleartomark".
      {as(1020) + "sfcl{\n*PageSize A4\n%%EndFeature\nInputSlot cleartomark\n",
       as(1020) + "sfcl{\n*PageSize A4\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\n"
                  "%%EndFeature\n} stopped cleartomark\n"},
      {as(1019) + "sfcl{\n*PageSize A4\n%%EndFeature\nInputSlot }efcl\n",
       as(1019) + "sfcl{\n*PageSize A4\n%%EndFeature\nInputSlot }efcl\nsfcl{\n*PageSize A4\n"
                  "%%EndFeature\n}efcl\n"},
  });
}

// ---- zero bytes

TEST(StreamPieces, ZeroByteAnywhereInAPieceKeepsItUnchanged) {
  for (std::size_t at = 0; at <= 7; ++at) {
    std::string line = "@PJL ab\n";
    line.insert(at, 1, '\0');
    SCOPED_TRACE("zero byte at " + std::to_string(at));
    expectUnchanged(line);
    expectBody("@PJL x\n" + line + "@PJL y\nb\n", line + "b\n");
  }
  expectBody("@PJL ab\n" + bytes("\0next\n"), bytes("\0next\n"));
}

TEST(StreamPieces, ZeroByteCountsInThePieceThatHoldsItOnly) {
  for (const std::size_t at : {6U, 500U, 1021U, 1022U, 1023U}) {
    std::string line = "@PJL X" + as(1018) + "rest\n";
    line[at] = '\0';
    SCOPED_TRACE("zero byte at " + std::to_string(at));
    expectUnchanged(line);
  }
  expectRows({
      {"@PJL X" + as(1018) + bytes("\0rest\n"), bytes("\0rest\n")},
      {as(1023) + zeros(1) + "@PJL X\nb\n", as(1023) + zeros(1) + "b\n"},
      {"@PJL X" + zeros(1) + as(1017) + "@PJL Y\nb\n", "@PJL X" + zeros(1) + as(1017) + "b\n"},
      {as(1024) + "@PJL X" + zeros(1) + "\nb\n", as(1024) + "@PJL X" + zeros(1) + "\nb\n"},
      {"@PJL X\r" + zeros(1) + "\n@PJL Y\n", zeros(1) + "\n"},
  });
}

TEST(StreamPieces, ZeroByteDoesNotEndAPiece) {
  expectUnchanged(bytes("a\0@PJL X\nb\n"));
  expectUnchanged(bytes("\0%%BeginProlog\nb\n"));
}

TEST(StreamPieces, ZeroBytesAlonePass) {
  for (const std::size_t length : {1U, 2U, 1022U, 1023U, 1024U, 1025U, 2048U, 3000U}) {
    SCOPED_TRACE(length);
    expectUnchanged(zeros(length));
    expectUnchanged(zeros(length) + "\n");
    expectUnchanged("a\r\n" + zeros(length) + "\r\n");
  }
}

TEST(StreamPieces, FinalPieceWithAZeroByteIsKeptUnchanged) {
  expectUnchanged(bytes("a\n@PJL X\0"));
  expectUnchanged(bytes("a\nJobPatchFile\0"));
  expectUnchanged(bytes("a\n%%BeginProlog\0"));
}

// ---- the two lines skipped after a JobPatchFile line

TEST(StreamPieces, InputMayEndAtAnyPointOfTheSkip) {
  expectRows({
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

TEST(StreamPieces, SkipCountsTheNewlineAfterACarriageReturnAsALine) {
  expectRows({
      {"JobPatchFile\r\none\r\ntwo\r\nthree\r\n", "\ntwo\r\nthree\r\n"},
      {"JobPatchFile\rone\rtwo\rthree\r", "three\r"},
      {"JobPatchFile\none\r\ntwo\r\n", "two\r\n"},
      {"JobPatchFile\r\none", ""},
      {"JobPatchFile\r\n", ""},
  });
}

TEST(StreamPieces, SkipCountsPiecesOfOverlongLines) {
  expectRows({
      {"JobPatchFile\n" + as(3000) + "\nb\n", as(952) + "\nb\n"},
      {"JobPatchFile\n" + as(2048) + "\nb\n", "\nb\n"},
      {"JobPatchFile\n" + as(2047) + "\nb\n", "b\n"},
      {"JobPatchFile\none\n" + as(1500) + "\nb\n", as(476) + "\nb\n"},
      {"JobPatchFile" + as(2988) + "b\nc\n", "c\n"},
      {"JobPatchFile" + as(3060) + "b\nc\n", "b\nc\n"},
  });
}

TEST(StreamPieces, SkipDropsLinesWithZeroBytesToo) {
  expectRows({
      {bytes("JobPatchFile\na\0b\n\0\nc\0\n"), bytes("c\0\n")},
      {"JobPatchFile\n" + zeros(2048) + "b\n", "b\n"},
      {"JobPatchFile\none\n" + zeros(1), ""},
  });
}

TEST(StreamPieces, SkippedLinesAreNotExamined) {
  expectRows({
      {"JobPatchFile\n%%BeginProlog\nJobPatchFile\none\n", "one\n"},
      {"JobPatchFile\n*PageSize A4\n%%EndFeature\nInputSlot cleartomark\n",
       "InputSlot cleartomark\n"},
      {"*PageSize A4\n%%EndFeature\nJobPatchFile\nInputSlot\nx\ncleartomark\n",
       "*PageSize A4\n%%EndFeature\ncleartomark\n"},
  });
}

// ---- bytes of every value

TEST(StreamPieces, EveryByteValuePassesWhateverTheConnection) {
  std::string every;
  for (int value = 1; value < 256; ++value) every += static_cast<char>(value);
  const std::string input = "%!PS\n" + every + "\n" + every + zeros(1) + every + "\nshowpage\n";
  expectUnchanged(input);
  for (const char* uri :
       {"usb://Quorvan/Office", "pap://zone/printer", "lpd://printer/queue", ""}) {
    SCOPED_TRACE(uri);
    Job job;
    job.env("DEVICE_URI", uri).input(input);
    const Outcome outcome = job.run();
    expectSameBytes(outcome.out, plainHeader() + input + trailer());
    EXPECT_EQ(outcome.exitStatus, 0);
  }
}

TEST(StreamPieces, NoByteValueIsTakenForTheEndOfTheInput) {
  expectUnchanged(
      "a\xff"
      "b\n\xff\n\xff\xff\xff");
  expectUnchanged(
      "a\x1a"
      "b\n\x04\n\x1a");
}

TEST(StreamPieces, PercentSignsAreNotTakenForAFormat) {
  expectUnchanged("%s%n%d %@ %%s\n%\n%%\n%c\r%5$s");
}

TEST(StreamPieces, HugeBinaryInputPassesUnchanged) {
  std::string input;
  unsigned state = 12345;
  while (input.size() < 6'000'000) {
    state = state * 1664525U + 1013904223U;
    input += static_cast<char>(state >> 24);
  }
  expectUnchanged(input);
}

TEST(StreamPieces, HugeUniformInputsPassUnchanged) {
  expectUnchanged(as(2'000'001));
  expectUnchanged(zeros(2'000'001));
  expectUnchanged(run('\n', 500'000));
  expectUnchanged(run('\r', 500'000));
}

TEST(StreamPieces, ReadErrorEndsTheJobLikeTheEndOfTheInput) {
  Job job;
  job.file("/proc/self/mem");  // can be opened, but its first byte cannot be read
  expectResult(job, job.run(), "");
}

// ---- how the input arrives

TEST(StreamPieces, InputByteByByteGivesTheSameAsInputAtOnce) {
  const std::string input =
      bytes("@PJL JOB\r\n%!PS\rb\0c\n%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\r\nx\r\ny\n") +
      "*PageSize A4\n%%EndFeature\nInputSlot\ncleartomark\n" + as(1024) + "@PJL X\nend";
  const std::string body =
      bytes(
          "\n%!PS\rb\0c\n%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n"
          "%%Quorvan Macintosh PPD File 1\n%%EndFeature\n\ny\n") +
      "*PageSize A4\n%%EndFeature\nInputSlot\ncleartomark\n[{\n*PageSize A4\n%%EndFeature\n"
      "} stopped cleartomark\n" +
      as(1024) + "end";
  expectBody(input, body);
  Job job;
  Process process(job.program(), job.argv(), job.environment());
  for (const char byte : input) {
    process.write(std::string_view(&byte, 1));
    usleep(100);
  }
  expectResult(job, process.finish(), body);
}

TEST(StreamPieces, InputInWritesOfAnySizeGivesTheSame) {
  const std::string input = as(1024) + "@PJL X\r\n" + zeros(1) + as(3000) + "\n@PJL Y\nend\n";
  const std::string body = as(1024) + "\n" + zeros(1) + as(3000) + "\nend\n";
  for (const std::size_t size : {2U, 3U, 511U, 1022U, 1023U, 1024U, 1025U, 4096U}) {
    SCOPED_TRACE(size);
    Job job;
    Process process(job.program(), job.argv(), job.environment());
    for (std::size_t at = 0; at < input.size(); at += size) {
      process.write(std::string_view(input).substr(at, size));
    }
    expectResult(job, process.finish(), body);
  }
}

TEST(StreamPieces, PieceWithAZeroByteIsWrittenBeforeTheNextIsRead) {
  for (const std::string& piece : {bytes("a\0b\n"), bytes("a\0b\r"), zeros(1) + as(1023)}) {
    Job job;
    Process process(job.program(), job.argv(), job.environment());
    process.write("kept\n" + piece);
    const std::string soFar = plainHeader() + "kept\n" + piece;
    EXPECT_TRUE(process.waitForOutput(soFar.size()));
    EXPECT_EQ(process.out(), soFar);
    expectResult(job, process.finish(), "kept\n" + piece);
  }
}

// ---- the captured input

TEST(StreamPieces, CapturedInputHoldsEveryPieceButTheSkippedOnes) {
  Job job;
  job.capture().input(bytes("@PJL X\r\na\0b\nJobPatchFile 1\none\ntwo\0\nJobPatchFile 2\nthree\n") +
                      as(3000));
  const Outcome outcome = job.run();
  const std::string out =
      plainHeader() + bytes("\na\0b\nJobPatchFile 2\nthree\n") + as(3000) + trailer();
  EXPECT_EQ(outcome.out, out);
  EXPECT_EQ(outcome.err, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")),
            bytes("@PJL X\r\na\0b\nJobPatchFile 1\nJobPatchFile 2\nthree\n") + as(3000));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
}

TEST(StreamPieces, CaptureOfAnEmptyInputIsEmpty) {
  Job job;
  job.capture();
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.out, plainHeader() + trailer());
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), "");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), plainHeader() + trailer());
}

TEST(StreamPieces, CaptureFilesAreCompleteAfterEveryPiece) {
  Job job;
  job.capture();
  Process process(job.program(), job.argv(), job.environment());
  process.write("kept\n@PJL X\n");
  EXPECT_TRUE(process.waitForOutput(plainHeader().size()));
  EXPECT_TRUE(becomes(job.tmpFile("qvn_ps"), "kept\n@PJL X\n"));
  EXPECT_TRUE(becomes(job.tmpFile("qvn_ps2"), plainHeader() + "kept\n"));
  process.write(bytes("a\0b\rpart"));
  EXPECT_TRUE(becomes(job.tmpFile("qvn_ps"), bytes("kept\n@PJL X\na\0b\r")));
  EXPECT_TRUE(becomes(job.tmpFile("qvn_ps2"), plainHeader() + bytes("kept\na\0b\r")));
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.out, plainHeader() + bytes("kept\na\0b\rpart") + trailer());
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), bytes("kept\n@PJL X\na\0b\rpart"));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), outcome.out);
}

}  // namespace
}  // namespace jobshaper::testing
