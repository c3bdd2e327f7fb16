// Compares the sides of a booklet with the same sides put together from whole strings, and tests
// that a held job that is not arranged is unchanged.
//
// Input: a setting, which faces of the cover are printed; then the job.

#include <unistd.h>

#include <algorithm>
#include <vector>

#include "fuzz/support.h"
#include "queue/held_job.h"
#include "queue/imposition.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

namespace {

std::string contentOf(const Descriptor& file) {
  std::string text(static_cast<std::size_t>(::lseek(file.get(), 0, SEEK_END)), '\0');
  FUZZ_CHECK(::pread(file.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
  return text;
}

void checkParts(const HeldJob& held, std::string_view job) {
  off_t at = 0;
  const auto follows = [&](const Part& part) {
    FUZZ_CHECK(part.from == at && part.size >= 0);
    at += part.size;
  };
  follows(held.header());
  for (const Part& page : held.pages()) {
    follows(page);
    FUZZ_CHECK(job.substr(static_cast<std::size_t>(page.from)).starts_with("%%Page:"));
  }
  follows(held.trailer());
  FUZZ_CHECK(at == static_cast<off_t>(job.size()));
}

// Each page of the document is on exactly one half, in a booklet of whole sheets.
void checkSides(const std::vector<Side>& sides, int pages) {
  FUZZ_CHECK(sides.size() % 2 == 0);
  std::vector<int> found;
  for (const Side& side : sides) {
    if (side.left != kBlankPage) found.push_back(side.left);
    if (side.right != kBlankPage) found.push_back(side.right);
  }
  std::sort(found.begin(), found.end());
  FUZZ_CHECK(found.size() == static_cast<std::size_t>(pages));
  for (int page = 1; page <= pages; ++page) {
    FUZZ_CHECK(found[static_cast<std::size_t>(page) - 1] == page);
  }
}

std::string_view bytesOf(std::string_view job, const Part& part) {
  return job.substr(static_cast<std::size_t>(part.from), static_cast<std::size_t>(part.size));
}

// The pages come in the order of the sides, each without its first line, and then the trailer.
void checkArranged(std::string_view output, std::string_view job, const HeldJob& held,
                   const std::vector<Side>& sides) {
  const std::string_view trailer = bytesOf(job, held.trailer());
  FUZZ_CHECK(output.ends_with(trailer));
  std::size_t at = 0;
  for (const Side& side : sides) {
    for (const int number : {side.left, side.right}) {
      if (number == kBlankPage) continue;
      std::string_view page = bytesOf(job, held.pages()[static_cast<std::size_t>(number) - 1]);
      page.remove_prefix(std::min(page.find_first_of("\r\n"), page.size() - 1) + 1);
      const std::size_t opened = output.find(" QvnBooklet/open get exec\n", at);
      FUZZ_CHECK(opened != output.npos);
      at = output.find('\n', opened) + 1;
      FUZZ_CHECK(output.substr(at).starts_with(page));
      at += page.size();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile input;
  Input all(data, size);
  const unsigned setting = all.setting();
  const CoverFaces faces{(setting & 1) == 0, (setting & 2) == 0, (setting & 4) == 0,
                         (setting & 8) == 0};
  const std::string_view job = all.rest();
  input.fill(job);
  const int free = lowestFreeDescriptor();
  {
    HeldJob held;
    FUZZ_CHECK(held.read(input.descriptor(), directory()));
    checkParts(held, job);
    FUZZ_CHECK(contentOf(rewrittenJob(held, {}, directory())) == job);
    static_cast<void>(rewrittenJob(held, {.sides = {}, .oneCopy = true, .hidesEmbeddedPages = true},
                                   directory()));
    if (!held.pages().empty()) {
      const int pages = static_cast<int>(held.pages().size());
      const std::vector<Side> sides = bookletSides(pages, faces);
      checkSides(sides, pages);
      // Procedures of the same names in the prolog would be found, too.
      if (bytesOf(job, held.header()).find("QvnBooklet/open") == job.npos) {
        checkArranged(contentOf(rewrittenJob(held, {.sides = sides}, directory())), job, held,
                      sides);
      }
    }
  }
  FUZZ_CHECK(lowestFreeDescriptor() == free);
  return 0;
}
