// The most memory, time and disk space that a job may need, whatever it contains.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/instrumented.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMiB = 1024 * 1024;

// ---- memory

// A text and how often it is repeated.
struct Part {
  std::string text;
  std::size_t times = 1;
};
using Parts = std::vector<Part>;

void writeParts(int descriptor, const Parts& parts) {
  for (const Part& part : parts) {
    for (std::size_t i = 0; i < part.times; ++i) {
      for (std::size_t at = 0; at < part.text.size();) {
        const ssize_t n = write(descriptor, part.text.data() + at, part.text.size() - at);
        if (n <= 0) return;
        at += static_cast<std::size_t>(n);
      }
    }
  }
}

// Reads exactly these parts.
void expectParts(int descriptor, const Parts& parts) {
  std::string buffer(kMiB, '\0');
  for (std::size_t p = 0; p < parts.size(); ++p) {
    const std::string& text = parts[p].text;
    for (std::size_t i = 0; i < parts[p].times; ++i) {
      for (std::size_t at = 0; at < text.size();) {
        const ssize_t n =
            read(descriptor, buffer.data(), std::min(buffer.size(), text.size() - at));
        ASSERT_GT(n, 0) << "part " << p << ", time " << i << ", byte " << at;
        ASSERT_EQ(memcmp(buffer.data(), text.data() + at, static_cast<std::size_t>(n)), 0)
            << "part " << p << ", time " << i << ", byte " << at;
        at += static_cast<std::size_t>(n);
      }
    }
  }
  EXPECT_EQ(read(descriptor, buffer.data(), 1), 0);
}

// A run in 64 MiB of memory, whose output is compared while its input is written.
void expectInLittleMemory(const Job& job, const Parts& input, const Parts& output,
                          std::string (*messages)(const Job&) = tmpLines) {
  int in[2], out[2];
  ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
  ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
  for (const int end : {in[1], out[1]}) fcntl(end, F_SETPIPE_SZ, kMiB);
  Process process(job.program(), job.argv(), job.environment(), [&] {
    dup2(in[0], 0);
    dup2(out[1], 1);
    const rlimit limit{64 * kMiB, 64 * kMiB};
    if (!kSanitized) setrlimit(RLIMIT_AS, &limit);
  });
  close(in[0]);
  close(out[1]);
  std::thread writer([&] {
    writeParts(in[1], input);
    close(in[1]);
  });
  expectParts(out[0], output);
  close(out[0]);  // lets a failed run end, too
  writer.join();
  expectOutcome(process.finish(), "", messages(job));
}

Part sized(const std::string& line, std::size_t bytes) {
  std::string text = line;
  while (text.size() < kMiB) text += line;
  return {text, std::max<std::size_t>(bytes / text.size(), 1)};
}

TEST(Memory, DoesNotGrowWithAnOrdinaryJob) {
  Part pages = sized("%%Page: 1 1\n/F1 12 selectfont 72 720 moveto (some text) show\r\n",
                     scaled(1024 * kMiB));
  pages.text += std::string(5000, 'x') + bytes("\0\0\n");
  expectInLittleMemory(Job(), {{"%!PS\n"}, pages, {"%%EOF"}},
                       {{plainHeader() + "%!PS\n"}, pages, {"%%EOF" + trailer()}});
}

// A page-size feature is repeated completely, however long it is.
TEST(Memory, DoesNotGrowWithAPageSizeFeature) {
  const Part filler = sized("0 0 moveto (of the feature) show\n", scaled(100 * kMiB));
  const std::string begin = "%%BeginFeature: *PageSize A4\n";
  const std::string source = "*InputSlot Tray1\n", close = "} stopped cleartomark\n";
  expectInLittleMemory(Job(), {{begin}, filler, {source + close + source + close}},
                       {{plainHeader() + begin},
                        filler,
                        {source + close + "[{\n" + begin},
                        filler,
                        {source + close + source + close + "[{\n" + begin},
                        filler,
                        {source + close + trailer()}});
}

// An instruction page of more than 16 MiB is not used; those of the package have a few KiB.
TEST(Memory, DoesNotGrowWithAnInstructionPage) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("de_DE.lproj/instruction(null)");
  writeFile(path, "");
  std::filesystem::resize_file(path, std::uintmax_t{1} << 30);
  Job job = manualJob("%%Page: 1 1\n");
  job.version("0x1050").env("JOBSHAPER_INSTRUCTIONS", directory.path()).env("LANG", "de_DE");
  expectInLittleMemory(job, {{"%%Page: 1 1\n"}},
                       {{join(plainHeader(), kFirstPass, kInstruction, "%%Page: 1 1\n", kSecondPass,
                              "%%Page: 1 1\n", kProcedures, trailer())}},
                       [](const Job& run) { return join(threeTmpLines(run), kNoInstruction); });
}

// ---- time

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Returns the CPU time of this job in seconds. The output is discarded.
double workOf(Job job, std::string_view text) {
  job.fileWith(text);
  rusage before{}, after{};
  getrusage(RUSAGE_CHILDREN, &before);
  const Outcome outcome = job.run([] { dup2(open("/dev/null", O_WRONLY), 1); });
  getrusage(RUSAGE_CHILDREN, &after);
  EXPECT_EQ(outcome.exitStatus, 0);
  return seconds(after.ru_utime) + seconds(after.ru_stime) - seconds(before.ru_utime) -
         seconds(before.ru_stime);
}

std::string repeated(std::string_view text, std::size_t bytes) {
  std::string result;
  while (result.size() < bytes) result += text;
  return result;
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
  const char* begin;
  const char* repeated;
};

class Work : public ::testing::TestWithParam<HostileText> {};

TEST_P(Work, GrowsWithTheSizeOfTheJob) {
  const HostileText& row = GetParam();
  Job job;
  job.options(row.options);
  expectLinear(
      job,
      [&](std::size_t bytes) { return std::string(row.begin) + repeated(row.repeated, bytes); },
      256 * 1024);
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

std::string withSources(std::size_t block, std::size_t times) {
  return "*PageSize\n" + repeated("12345678 901 def\n", block) + "EndFeature\n" +
         repeated("*InputSlot cleartomark\n", 23 * times);
}

// The work of repeating a feature grows only with what is printed, whether the feature is longer or
// repeated more often.
TEST(Work, GrowsWithTheSizeOfARepeatedFeature) {
  for (const char* options : {"", "QVBookletFold=BiFold"}) {
    Job job;
    job.options(options);
    expectLinear(
        job, [](std::size_t bytes) { return withSources(bytes, 50); }, 64 * 1024);
    expectLinear(
        job, [](std::size_t bytes) { return withSources(4000, bytes / 64); }, 64 * 1024);
  }
}

// ---- disk

// Each page is moved separately, and the longest of the files contains half of the pages.
TEST(Disk, OfAManualBookletOfManyPagesIsBounded) {
  const std::size_t count = std::max<std::size_t>(scaled(5000), 200);
  const std::string text = repeated("%%Page:\n", 8 * count);
  Job job = manualJob(text);
  job.preload("small_disk").env("DISK_SIZE", "131072");
  // There are also the requests for the two passes, and the blank page.
  const FileSizeLimit limit(text.size() + 1024);
  expectOutcome(job.run(),
                join(plainHeader(), kFirstPass, kInstruction, text.substr(0, text.size() / 2),
                     kSecondPass, "%%Page:\n%%Page:\n%%Page:\n%%Page:\n", kProcedures,
                     text.substr(0, text.size() / 2), trailer()),
                join(threeTmpLines(job), kNoInstruction));
}

// 0xC9 becomes three bytes in UTF-8.
TEST(Disk, OfAManualBookletMayBeNineTimesTheJob) {
  std::string text;
  for (int i = 0; i < 40; ++i) text += "%%Page:\n" + std::string(1000, '\xC9') + "\n";
  const auto statusWith = [&](std::size_t size) {
    Job job = manualJob(text);
    job.preload("small_disk").env("DISK_SIZE", std::to_string(size));
    return job.run().exitStatus;
  };
  EXPECT_EQ(statusWith(9 * text.size() + 16384), 0);
  EXPECT_EQ(statusWith(6 * text.size()), 1);
}

}  // namespace
}  // namespace jobshaper::testing
