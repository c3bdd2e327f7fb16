// A page-size feature that is too long for memory is treated like a short one: the output depends
// only on its text and the rules.
#include <string>
#include <string_view>

#include "tests/blackbox/stream_jobs.h"

namespace jobshaper::testing {
namespace {

// The text with this mark before each of its lines.
std::string marked(char mark, std::string_view text) {
  std::string result;
  for (std::size_t next = 0; !text.empty(); text.remove_prefix(next)) {
    next = text.find('\n') + 1;
    result.append(1, mark).append(text.substr(0, next));
  }
  return result;
}

std::string lines(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += std::string(1023, 'x') + "\n";
  return text;
}

// It has no end, so whatever follows belongs to it.
const std::string kLong = "*PageSize A4\n" + lines(400);

// These lines after the long feature, and its repetition.
std::string repeatedAfter(const std::string& rest) {
  return marked(' ', kLong + rest) + marked('+', "[{\n" + kLong + rest);
}

TEST(LongFeature, ThatEndsIsRepeatedBetweenItsMarkers) {
  const std::string feature = kLong + "%%EndFeature\n";
  const std::string repetition = marked('+', "[{\n" + feature + "} stopped cleartomark\n");
  expectStream(marked(' ', feature) + kSource + repetition + " x\n InputSlot\n-} cleartomark\n" +
               "+InputSlot cleartomark\n" + repetition + " y\n");
}

TEST(LongFeature, IsCompleteWithoutADirectoryAndNotRepeatedWithoutMemory) {
  const Job job = Job().env("TMPDIR", "/nonexistent");
  expectStream(repeatedAfter("InputSlot\ncleartomark\n"), job);
  // The next feature that begins replaces it.
  expectStream(marked(' ', "*PageSize A4\n" + lines(4500)) + kSource + " *PageSize A5\n" + kSource +
                   "+[{\n+*PageSize A5\n+InputSlot cleartomark\n x\n",
               job);
}

// ---- the fold option in it

const std::string kFold = "+\n+<< /Fold 1 >> setpagedevice\n";
const std::string kDropped = "-dropped\n statusdict /duplexer get exec\n";

TEST(LongFeature, IsForgottenWhenAnotherBegins) {
  expectStream(marked(' ', kLong) + " QVBookletFold\n" + kFold + kDropped + " *PageSize A5\n" +
                   kSource + "+[{\n+*PageSize A5\n+InputSlot cleartomark\n kept\n",
               Job().options("QVBookletFold=BiFold"));
}

TEST(LongFeature, IsFoldedWhereverItNamesTheOption) {
  const Job job = Job().options("QVBookletFold=BiFold");
  const std::string duplexer = "statusdict /duplexer get exec\n";
  expectStream(
      marked(' ', kLong) + " QVBookletFold\n" + kFold + kDropped + kSource +
          marked('+', "[{\n" + kLong + "QVBookletFold\n" + duplexer + "InputSlot cleartomark\n") +
          kFold + kDropped,
      job);
  // Across two pieces of a line: both in memory, then only the first, then neither.
  for (const std::size_t before : {253U, 254U, 255U}) {
    const std::string first = std::string(1018, 'x') + "QVBook";
    const std::string second = "letFold" + std::string(1016, 'x') + "\n";
    const std::string feature = "*PageSize A4\n" + lines(before);
    expectStream(marked(' ', feature) + " " + first + " " + second + kSource +
                     marked('+', "[{\n" + feature) + "+" + first + "+" + second +
                     "+InputSlot cleartomark\n" + kFold + kDropped,
                 job);
  }
  // Texts with something between them are not one.
  const std::string first = std::string(1011, 'x') + "Q" + std::string(12, 'z');
  expectStream(marked(' ', kLong) + " " + first + " VBookletFold\n" + kSource +
                   marked('+', "[{\n" + kLong) + "+" + first +
                   "+VBookletFold\n+InputSlot cleartomark\n kept\n",
               job);
}

// ---- the closing line that begins the repetition meets the other rules

TEST(LongFeature, IsReplacedByThePrologThatItsClosingLineBegins) {
  const std::string line = "%%BeginProlog cleartomark\n";
  expectStream(marked(' ', kLong) + " InputSlot\n-" + line + kMarkerFeature +
               " x\n InputSlot\n-cleartomark\n" +
               marked('+', line + "[{\n" + kLong + "InputSlot\n" + line));
}

TEST(LongFeature, ComesBetweenTheRequestsForTheCover) {
  Job job;
  writeFile(job.tmpFile("count"), "2");
  job.options("QVBookletFold=BiFold QVBookletPageCountFilename='" + job.tmpFile("count") +
              "' QVBookletCoverSource=Tray2 QVBookletCoverPage=true QVInsideFrontCover=true "
              "QVInsideBackCover=False");
  const std::string line = "%%Page: InputSlot QVBookletFold cleartomark\n";
  expectStream(marked(' ', kLong) + "+1 dict dup /Duplex false put setpagedevice\n " + line +
                   marked('+', "[{\n" + kLong + line) +
                   "+[{\n+<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 1  >> "
                   "setpagedevice\n+} stopped cleartomark\n" +
                   kFold,
               job);
}

}  // namespace
}  // namespace jobshaper::testing
