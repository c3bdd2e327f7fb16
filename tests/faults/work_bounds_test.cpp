// The most memory, time and disk space that a job may need, whatever it contains.
#include <fcntl.h>
#include <sys/resource.h>

#include <functional>

#include "tests/faults/fault_jobs.h"
#include "tests/support/instrumented.h"

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

void expectInLittleMemory(const Job& job, std::string_view body, std::string_view messages,
                          Where where = Where::here()) {
  const Outcome outcome = job.run([] {
    const rlimit limit{64 * kMiB, 64 * kMiB};
    if (!kSanitized) setrlimit(RLIMIT_AS, &limit);
  });
  expectOutcome(outcome, printed(body), messages, 0, "the large job", where);
}

TEST(Memory, DoesNotGrowWithAnOrdinaryJob) {
  const std::string page = "%%Page: 1 1\n/F1 12 selectfont 72 720 moveto (some text) show\r\n" +
                           std::string(5000, 'x') + bytes("\0\0\n");
  const Job job = Job().input("%!PS\n" + repeated(page, scaled(80 * kMiB)) + "%%EOF");
  expectInLittleMemory(job, job.input(), tmpLines(job));
}

// A page-size feature is repeated completely, however long it is. If neither disk nor memory can
// hold it, it is not repeated, but the job is printed.
TEST(Memory, DoesNotGrowWithAPageSizeFeature) {
  const std::string source = "*InputSlot Tray1\n} stopped cleartomark\n";
  const std::string feature = "%%BeginFeature: *PageSize A4\n" +
                              repeated("0 0 moveto (of the feature) show\n", scaled(80 * kMiB));
  const Job job = Job().input(feature + source + "x\n");
  expectInLittleMemory(job, join(feature, source, "[{\n", feature, source, "x\n"), tmpLines(job));
  const Job withoutDirectory = Job(job).env("TMPDIR", "/nonexistent");
  expectInLittleMemory(withoutDirectory, job.input(), tmpLines(withoutDirectory));
}

// An instruction page of more than 16 MiB is not used; those of the package have a few KiB.
TEST(Memory, DoesNotGrowWithAnInstructionPage) {
  const Job job = instructedJob(join(kTop, kPage1), "");
  fs::resize_file(job.tmpFile("pages/en.lproj/instruction(null)"), std::uintmax_t{1} << 30);
  expectInLittleMemory(job, printed(kTop, kPage1, kBlank, ""),
                       join(threeTmpLines(job), kNoInstruction));
}

// ---- time

double secondsOfChildren() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
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
void expectLinear(const char* options, const std::function<std::string(std::size_t)>& text,
                  std::size_t bytes) {
  bytes = std::max<std::size_t>(scaled(bytes), 1024);
  const double small = workOf(Job().options(options), text(bytes));
  const double large = workOf(Job().options(options), text(bytes * 8));
  EXPECT_LT(large, 20 * small + 0.2) << small << " s for " << text(20) << " " << options;
}

TEST(Work, GrowsWithTheSizeOfTheJob) {
  const struct {
    const char* repeats;
    const char* start = "";
    const char* options = "";
  } rows[] = {{"\n"},
              {"\r"},
              {"x"},
              {"%%Page"},
              {"@PJL \n"},
              {"*PageSize\n"},
              {"*PageSize EndFeature\n"},
              {"\r", "*PageSize\n"},
              {"x\n", "*InputSlot\n"},
              {"JobPatchFile\n"},
              {"%RBINumCopies: \n", "", "PrintTo=JRVerify"},
              {"QVBookletFold", "", "QVBookletFold=BiFold"},
              {"QVBookletFold\r", "QVBookletFold\n", "QVBookletFold=BiFold"},
              {"%%Page:\n", "", "QVBookletFold=BiFold"}};
  for (const auto& [repeats, start, options] : rows) {
    const auto text = [&](std::size_t bytes) { return start + repeated(repeats, bytes); };
    expectLinear(options, text, 128 * 1024);
  }
}

// The work of repeating a feature grows only with what is printed, whether the feature is longer or
// repeated more often.
TEST(Work, GrowsWithTheSizeOfARepeatedFeature) {
  const auto job = [](std::size_t block, std::size_t times) {
    return "*PageSize\n" + repeated("12345678 901 def\n", block) + "EndFeature\n" +
           repeated("*InputSlot cleartomark\n", 23 * times);
  };
  const auto longer = [&](std::size_t bytes) { return job(bytes, 50); };
  const auto moreOften = [&](std::size_t bytes) { return job(4000, bytes / 64); };
  for (const char* options : {"", "QVBookletFold=BiFold"}) {
    expectLinear(options, longer, 32 * 1024);
    expectLinear(options, moreOften, 32 * 1024);
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
