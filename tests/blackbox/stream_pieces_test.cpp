// How the job is read: pieces of at most 1024 bytes, line ends, zero bytes, the lines skipped after
// a JobPatchFile line, and the end of the input. Lines that begin with "@PJL " show where pieces
// begin, because only those are dropped.
#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "tests/blackbox/stream_jobs.h"

namespace jobshaper::testing {
namespace {

std::string as(std::size_t length) { return std::string(length, 'a'); }

TEST(StreamPieces, EndAfterEveryNewlineAndEveryCarriageReturn) {
  expectStream(
      " a\r-@PJL X\r b\r-@PJL X\r \n-@PJL Y\r \n b\r \n-@PJL Z\n \r-@PJL X\n \n \r \r-@PJL Y\n b");
}

TEST(StreamPieces, EndAfter1024Bytes) {
  const std::string full = " " + as(1024), nearly = " " + as(1023);
  expectStream(
      // The text "@PJL " after 1022 to 1025 and 2047 to 2049 bytes of a line.
      " " + as(1022) + "@P JL X\n" + nearly + "@ PJL X\n" + full + "-@PJL X\n" + full +
      " a@PJL X\n" + full + nearly + "@ PJL X\n" + full + full + "-@PJL X\n" + full + full +
      " a@PJL X\n b\r" + full + "-@PJL X\n" +
      // A line end after 1022 to 1024 bytes.
      " " + as(1022) + "\n-@PJL X\n" + nearly + "\n-@PJL X\n" + nearly + "\r-@PJL X\r" + nearly +
      "\r \n-@PJL X\n" + full + " \n-@PJL X\n" + full + " \r \n-@PJL X\n" + full + nearly +
      "\n-@PJL X\n" +
      // Only one piece of a long line is dropped.
      "-@PJL " + as(1018) + "\n-@PJL " + as(1018) + "\r \n-@PJL " + as(1019) + " \n-@PJL " +
      as(1019) + " rest\n-@PJL " + as(1019) + full + "-@PJL " + as(1019) + " rest\n");
}

TEST(StreamPieces, LastOneNeedsNoLineEnd) {
  const std::string full = " " + as(1024);
  expectStreams({"", " x", " a\r", "-@PJL X\n-@PJL Y", full, full + "-@PJL X", "-@PJL " + as(1019),
                 "-@PJL " + as(1019) + " rest"});
}

// The text, the first half of which ends a piece.
std::string split(const std::string& text) {
  const std::string half = text.substr(0, text.size() / 2);
  return " " + as(1024 - half.size()) + half + " " + text.substr(half.size()) + "\n";
}

TEST(StreamPieces, TextAcrossTwoIsNotSeen) {
  const std::string uel(kUel);
  expectStreams({
      split("@PJL X") + split(uel) + split("*PageSize") + split("PageRegion") +
          split("CustomPageSize") + " EndFeature\n" + kSource,
      split("JobPatchFile") + split("%%BeginProlog") + " " + as(1024) + "-JobPatchFile\nsone\n" +
          "stwo\n " + as(1024) + "-%%BeginProlog\n" + kMarkerFeature + " " + as(1024) + "-" + uel +
          "\n",
      // The page size and the paper source stay open until the next closing line.
      " *PageSize\n" + split("EndFeature") + " EndFeature\n InputSlot\n" + split("cleartomark") +
          " cleartomark\n+[{\n+*PageSize\n+" + as(1019) + "EndFe+ature\n+EndFeature\n" +
          "+} stopped cleartomark\n",
      kSize + split("sfcl{") + split("InputSlot") + " cleartomark\n" + kSource + kRepeated,
      // The repetition follows the piece with the text, not the rest of its line.
      kSize + " InputSlot\n " + as(1013) + "cleartomark" + kRepeated + " rest\n",
  });
}

// ---- zero bytes

TEST(StreamPieces, ZeroByteAnywhereKeepsOneUnchanged) {
  std::string lines;
  for (std::size_t at = 0; at <= 7; ++at) {
    lines += "-@PJL x\n " + std::string("@PJL ab\n").insert(at, 1, '\0');
  }
  for (const std::size_t at : {5U, 500U, 1023U}) {
    lines += " " + ("@PJL " + as(1018)).insert(at, 1, '\0') + "-@PJL x\n";
  }
  expectStream(lines + bytes("-@PJL X\r \0\n-@PJL Y\n \0\n %%BeginProlog\0\n JobPatchFile\0"));
}

// ---- the two lines skipped after a JobPatchFile line

TEST(StreamPieces, InputMayEndAtAnyPointOfTheSkip) {
  expectStreams({" a\n-JobPatchFile", " a\n-JobPatchFile\n", " a\n-JobPatchFile\nsone",
                 " a\n-JobPatchFile\nsone\nstwo", " a\n-JobPatchFile\nsone\nstwo\n three"});
}

TEST(StreamPieces, SkipCountsThemWhateverTheyHold) {
  expectStreams({
      "-JobPatchFile\ns\ns\n \n",
      "-JobPatchFile\rs\nsone\r \n two\r \n",
      "-JobPatchFile\ns" + as(1024) + "s" + as(1024) + " rest\n",
      "-JobPatchFile" + as(1012) + "s" + as(1024) + "srest\n b\n",
      bytes("-JobPatchFile\nsa\0b\ns\0\n c\0\n"),
      // The skipped lines meet no rule.
      "-JobPatchFile\ns%%BeginProlog\ns*PageSize EndFeature\n InputSlot cleartomark\n"
      "-%%BeginProlog\n" +
          kMarkerFeature,
  });
}

// ---- any bytes from anywhere

TEST(StreamPieces, EveryByteValuePassesFromStandardInputAndFromAFile) {
  std::string input = "%!PS\n";
  for (int value = 1; value < 256; ++value) input += static_cast<char>(value);
  // More than is read at once.
  for (unsigned state = 12345; input.size() < 800'000;) {
    state = state * 1664525U + 1013904223U;
    input += static_cast<char>(state >> 24);
  }
  expectUnchanged(input);
  expectBody(Job().fileWith(input), input);
  expectUnchanged(std::string(800'000, '\0'));  // a line that is longer than that
}

TEST(ReadError, EndsTheJobLikeTheEndOfInput) {
  // It can be opened, but its first byte cannot be read.
  expectBody(Job().file("/proc/self/mem"), "");
  const auto readDirectory = [] { dup2(open("/", O_RDONLY), 0); };
  const Job job;
  expectOutcome(job.run(readDirectory), plainHeader() + trailer(), tmpLines(job));
}

}  // namespace
}  // namespace jobshaper::testing
