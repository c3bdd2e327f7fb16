// The most memory, time and disk space that a job may need, whatever it contains.
#include <fcntl.h>
#include <sys/resource.h>

#include <cstring>
#include <functional>
#include <thread>

#include "tests/faults/fault_jobs.h"
#include "tests/support/instrumented.h"
#include "tests/support/pipe.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMiB = 1024 * 1024;

std::string repeated(std::string_view text, std::size_t bytes) {
  std::string result;
  while (result.size() < bytes) result += text;
  return result;
}

// ---- memory

// A text and how often it is repeated.
struct Part {
  std::string text;
  std::size_t times = 1;
};
using Parts = std::vector<Part>;

// Returns false if the reader has left.
bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = write(descriptor, text.data(), text.size());
    if (n <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

void expectParts(const Pipe& pipe, const Parts& parts) {
  std::size_t number = 0;
  for (const Part& part : parts) {
    ++number;
    for (std::size_t i = 0; i < part.times; ++i)
      ASSERT_TRUE(pipe.take(part.text.size()) == part.text) << "part " << number << ", time " << i;
  }
  EXPECT_EQ(pipe.take(1), "");
}

// A run in 64 MiB of memory, whose output is compared while its input is written.
void expectInLittleMemory(const Job& job, const Parts& input, const Parts& output,
                          const std::string& messages) {
  Pipe in(kMiB), out(kMiB);
  Process process(job, [&] {
    dup2(in.reading(), 0);
    dup2(out.writing(), 1);
    const rlimit limit{64 * kMiB, 64 * kMiB};
    if (!kSanitized) setrlimit(RLIMIT_AS, &limit);
  });
  in.closeReading();
  out.closeWriting();
  std::thread writer([&] {
    for (const Part& part : input) {
      for (std::size_t i = 0; i < part.times && writeAll(in.writing(), part.text); ++i) {
      }
    }
    in.closeWriting();
  });
  expectParts(out, output);
  out.closeReading();  // lets a failed run end, too
  writer.join();
  expectOutcome(process.finish(), "", messages);
}

Part sized(std::string_view line, std::size_t bytes) {
  const std::string text = repeated(line, kMiB);
  return {text, std::max<std::size_t>(bytes / text.size(), 1)};
}

TEST(Memory, DoesNotGrowWithAnOrdinaryJob) {
  Part pages = sized("%%Page: 1 1\n/F1 12 selectfont 72 720 moveto (some text) show\r\n",
                     scaled(128 * kMiB));
  pages.text += std::string(5000, 'x') + bytes("\0\0\n");
  const Job job;
  expectInLittleMemory(job, {{"%!PS\n"}, pages, {"%%EOF"}},
                       {{plainHeader() + "%!PS\n"}, pages, {"%%EOF" + trailer()}}, tmpLines(job));
}

const std::string kBegin = "%%BeginFeature: *PageSize A4\n";
const std::string kEnd = "*InputSlot Tray1\n} stopped cleartomark\n";

// A page-size feature is repeated completely, however long it is.
TEST(Memory, DoesNotGrowWithAPageSizeFeature) {
  const Part filler = sized("0 0 moveto (of the feature) show\n", scaled(80 * kMiB));
  const std::string again = kEnd + "[{\n" + kBegin;
  const Job job;
  expectInLittleMemory(
      job, {{kBegin}, filler, {kEnd + "x\n"}},
      {{plainHeader() + kBegin}, filler, {again}, filler, {kEnd + "x\n" + trailer()}},
      tmpLines(job));
}

// If neither disk nor memory can hold a feature without an end, it is not repeated, but the job is
// printed.
TEST(Memory, DoesNotGrowWithAPageSizeFeatureWithoutADirectory) {
  const Part filler = sized("0 0 moveto (of the feature) show\n", 80 * kMiB);
  const Job job = Job().env("TMPDIR", "/nonexistent");
  expectInLittleMemory(job, {{kBegin}, filler, {kEnd}},
                       {{plainHeader() + kBegin}, filler, {kEnd + trailer()}}, tmpLines(job));
}

// An instruction page of more than 16 MiB is not used; those of the package have a few KiB.
TEST(Memory, DoesNotGrowWithAnInstructionPage) {
  const Job job = instructedJob("", "");
  fs::resize_file(job.tmpFile("pages/en.lproj/instruction(null)"), std::uintmax_t{1} << 30);
  expectInLittleMemory(
      job, {{join(kTop, kPage1)}},
      {{printed(join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank))}},
      join(threeTmpLines(job), kNoInstruction));
}

// ---- time

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double secondsOfChildren() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Returns the CPU time of this job in seconds. The output is discarded.
double workOf(Job job, std::string_view text) {
  job.fileWith(text);
  const double before = secondsOfChildren();
  EXPECT_EQ(job.run([] { dup2(open("/dev/null", O_WRONLY), 1); }).exitStatus, 0);
  return secondsOfChildren() - before;
}

// A job of eight times the size needs little more than eight times the work; quadratic work would
// be 64 times as much.
void expectLinear(const Job& job, const std::function<std::string(std::size_t)>& text,
                  std::size_t bytes) {
  bytes = std::max<std::size_t>(scaled(bytes), 1024);
  const double small = workOf(job, text(bytes));
  const double large = workOf(job, text(bytes * 8));
  EXPECT_LT(large, 20 * small + 0.2) << small << " s";
}

struct HostileText {
  const char* name;
  const char* options;
  std::string begin;
  std::string_view repeats;
};

class Work : public ::testing::TestWithParam<HostileText> {};

TEST_P(Work, GrowsWithTheSizeOfTheJob) {
  const HostileText& row = GetParam();
  expectLinear(
      Job().options(row.options),
      [&](std::size_t bytes) { return row.begin + repeated(row.repeats, bytes); }, 128 * 1024);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Texts, Work, ::testing::Values(
    HostileText{"EmptyLines",       "", "", "\n"},
    HostileText{"CarriageReturns",  "", "", "\r"},
    HostileText{"NoLineEnd",        "", "", "x"},
    HostileText{"Percent",          "", "", "%%Page"},
    HostileText{"OwnPjl",           "", "", "@PJL \n"},
    HostileText{"PageSizes",        "", "", "*PageSize\n"},
    HostileText{"EndedPageSizes",   "", "", "*PageSize EndFeature\n"},
    HostileText{"UnendedPageSize",  "", "*PageSize\n", "\r"},
    HostileText{"UnendedSource",    "", "*InputSlot\n", "x\n"},
    HostileText{"PatchFiles",       "", "", "JobPatchFile\n"},
    HostileText{"Copies",           "PrintTo=JRVerify", "", "%RBINumCopies: \n"},
    HostileText{"Folds",            "QVBookletFold=BiFold", "", "QVBookletFold"},
    HostileText{"UnendedFold",      "QVBookletFold=BiFold", "QVBookletFold\n", "QVBookletFold\r"},
    HostileText{"Pages",            "QVBookletFold=BiFold", "", "%%Page:\n"}),
    [](const auto& row) { return row.param.name; });
// clang-format on

// The work of repeating a feature grows only with what is printed, whether the feature is longer or
// repeated more often.
TEST(Work, GrowsWithTheSizeOfARepeatedFeature) {
  const auto text = [](std::size_t block, std::size_t times) {
    return "*PageSize\n" + repeated("12345678 901 def\n", block) + "EndFeature\n" +
           repeated("*InputSlot cleartomark\n", 23 * times);
  };
  for (const char* options : {"", "QVBookletFold=BiFold"}) {
    const Job job = Job().options(options);
    expectLinear(
        job, [&](std::size_t bytes) { return text(bytes, 50); }, 32 * 1024);
    expectLinear(
        job, [&](std::size_t bytes) { return text(4000, bytes / 64); }, 32 * 1024);
  }
}

// ---- disk

Outcome runOnDisk(Job& job, std::size_t size) {
  return job.preload("small_disk").env("DISK_SIZE", std::to_string(size)).run();
}

// Each page is moved separately. There are also the requests for the two passes, and a blank page.
TEST(Disk, OfAManualBookletOfManyPagesIsThreeTimesTheJob) {
  const std::string page = "%%Page:\n", half = repeated(page, scaled(8000));
  Job job = manualJob(half + half);
  expectOutcome(runOnDisk(job, 6 * half.size() + 2048),
                printed(join(kFirstPass, kInstruction, half, kSecondPass, page, page, page, page,
                             kProcedures, half)),
                join(threeTmpLines(job), kNoInstruction));
}

// 0xC9 becomes three bytes in UTF-8.
TEST(Disk, OfAManualBookletMayBeNineTimesTheJob) {
  std::string text;
  for (int i = 0; i < 40; ++i) text += "%%Page:\n" + std::string(1000, '\xC9') + "\n";
  Job job = manualJob(text);
  EXPECT_EQ(runOnDisk(job, 6 * text.size()).exitStatus, 1);
  EXPECT_EQ(runOnDisk(job, 9 * text.size() + 16384).exitStatus, 0);
}

}  // namespace
}  // namespace jobshaper::testing
