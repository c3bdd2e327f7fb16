// Jobs of every kind, in which each system call in turn fails, and in which a cancellation arrives
// at each system call. Every run must end, without a crash, and with status 0 only if everything
// that could be read was printed.
//
// JOBSHAPER_ATTACKS=long tries each call and more errors, which takes minutes; otherwise it is one
// call in five.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "tests/blackbox/manual_booklets.h"
#include "tests/queue/queue_ppd.h"
#include "tests/support/instrumented.h"
#include "tests/support/traced_run.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

std::string text() {
  return join(
      kTop, "%%BeginProlog\n@PJL EOJ\n*PageSize A4\n%%EndFeature\n*InputSlot\ncleartomark\n",
      "*QVBookletFold\nx\nstatusdict /duplexer get exec\n%RBINumCopies: 3\n", pages("123456"));
}

const TemporaryDirectory& instructions() {
  static const TemporaryDirectory directory;
  static const bool written = [] {
    writeFile(directory.file("en.lproj/instruction(null)"), "0 0 moveto (turn it over) show\n");
    return true;
  }();
  static_cast<void>(written);
  return directory;
}

// Something that a job may lose by a fault without failing, such as a capture.
struct Extra {
  void (*leaveOut)(Job& job);
  const char* message;  // on standard error if it is lost
};

struct Kind {
  const char* name;
  Job (*job)();
  std::vector<Extra> extras;
};

void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

void withoutPpd(Job& job) { job.unsetEnv("PPD"); }

// For the filter, a read error in a PPD file is its end, without a message.
const Extra kPpd = {withoutPpd, ""};
const Extra kPpdOfQueue = {withoutPpd, "WARNING: The PPD file "};
const Extra kCapture = {[](Job& job) { fs::remove(job.tmpFile("qvn_log")); }, ""};

Job withPageCount() {
  Job job;
  writeFile(job.tmpFile("count"), "6");
  return job.options(
      "QVBookletFold=BiFold QVBookletCoverSource=Tray2 QVBookletPageCountFilename='" +
      job.tmpFile("count") + "'");
}

Job withLongFeature() {
  std::string feature = "*PageSize A4\n";
  while (feature.size() < 350000) feature += "% line " + std::to_string(feature.size()) + "\n";
  return Job().fileWith(feature + "*InputSlot\ncleartomark\n");
}

const Kind kKinds[] = {
    {"Ordinary",
     [] { return Job().options("PrintTo=JRVerify").ppd("*QVGeneric: Color\n"); },
     {kPpd}},
    {"Booklet", withPageCount, {{[](Job& job) { job.options("QVBookletFold=BiFold"); }, ""}}},
    {"ManualBooklet",
     [] {
       return manualJob("")
           .version("0x1050")
           .env("JOBSHAPER_INSTRUCTIONS", instructions().path())
           .env("LANG", "en");
     },
     {kPpd,
      {[](Job& job) { job.env("JOBSHAPER_INSTRUCTIONS", "/nowhere"); }, kNoInstruction.data()}}},
    {"Captured", [] { return Job().capture(); }, {kCapture}},
    {"Traced", [] { return Job().log(7); }, {}},
    {"LongFeature", withLongFeature, {}},
    {"Queue",
     [] {
       return Job()
           .queue()
           .options("PrintTo=JRVerify")
           .ppd(ppdWith(ppdOption("Duplex", "None DuplexTumble", "DuplexTumble")));
     },
     {kPpdOfQueue}},
    {"ArrangedQueue",
     [] {
       return Job()
           .queue()
           .options("QVBookletFold=BiFold")
           .ppd(ppdWith(ppdOption("QVBookletFold", "false BiFold", "BiFold")));
     },
     {kPpdOfQueue}},
};

const bool kLong = getenv("JOBSHAPER_ATTACKS") != nullptr;
const int kStep = kLong ? 1 : 5;

class EveryCall : public ::testing::TestWithParam<Kind> {
 protected:
  void SetUp() override {
    if (const std::string obstacle = TracedRun::obstacle(); !obstacle.empty())
      GTEST_SKIP() << obstacle;
    if (kSanitized) GTEST_SKIP() << "sanitizers make many calls of their own";
    const Job job = GetParam().job();
    TracedRun traced(job);
    plain_ = traced.run(input());
    calls_ = traced.calls();
    ASSERT_EQ(plain_.exitStatus, 0);
    ASSERT_GT(calls_, 20);
  }

  // Empty for a job that is read from a file.
  static std::string input() { return GetParam().job == withLongFeature ? "" : text(); }
  // Its pages are useless if some are missing.
  static bool isArranged() {
    const std::string_view name = GetParam().name;
    return name == "ManualBooklet" || name == "ArrangedQueue";
  }

  // Everything was printed; or all but an extra, whose loss was reported.
  bool isComplete(const Outcome& outcome) {
    if (outcome.out == plain_.out) return true;
    std::string out = plain_.out;
    const std::string host = "HOSTID = \"" + hostName() + "\"";
    if (const std::size_t at = out.find(host); at != out.npos)
      out.replace(at, host.size(), "HOSTID = \"localhost\"");
    if (outcome.out == out) return true;
    return std::any_of(GetParam().extras.begin(), GetParam().extras.end(), [&](const Extra& extra) {
      Job job = GetParam().job();
      extra.leaveOut(job);
      return outcome.out == TracedRun(job).run(input()).out &&
             outcome.err.find(extra.message) != std::string::npos;
    });
  }

  // A fault may truncate captures, but does not change what is in them.
  void expectGoodCaptures(const Job& job, const Outcome& outcome) const {
    const auto isStart = [&](const char* name, std::string_view whole) {
      return !fs::exists(job.tmpFile(name)) || whole.starts_with(readFile(job.tmpFile(name)));
    };
    EXPECT_TRUE(isStart("qvn_ps", input()));
    EXPECT_TRUE(isStart("qvn_ps2", outcome.out));
  }

  Outcome plain_;
  int calls_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Kinds, EveryCall, ::testing::ValuesIn(kKinds),
                         [](const ::testing::TestParamInfo<Kind>& row) {
                           return std::string(row.param.name);
                         });

bool isMemory(long number) {
  switch (number) {
    case SYS_mmap:
    case SYS_mremap:
    case SYS_munmap:
    case SYS_mprotect:
    case SYS_madvise:
      return true;
  }
  return false;
}

// The other calls do not return errors, or the C library relies on their success.
bool canFail(long number) {
  return number != SYS_brk && number != SYS_futex && number != SYS_exit_group;
}

// Writes to the printer, whose errors the scheduler handles.
bool isOutput(const SystemCall& call) {
  return ((call.number == SYS_write || call.number == SYS_writev) && call.arguments[0] == 1) ||
         (call.number == SYS_splice && call.arguments[2] == 1);
}

bool isRead(const SystemCall& call) {
  return call.number == SYS_read || call.number == SYS_tee || call.number == SYS_splice;
}

TEST_P(EveryCall, MayFail) {
  const std::vector<int> errors =
      kLong ? std::vector<int>{EIO, ENOSPC, EACCES, EMFILE, ENOMEM, EINVAL, ENOSYS, EPERM}
            : std::vector<int>{EIO};
  for (const int error : errors) {
    for (int index = 0; index < calls_; index += kStep) {
      const Job job = GetParam().job();
      TracedRun traced(job);
      traced.lastIndex = index;
      SystemCall failed;
      traced.before = [&](const SystemCall& call) {
        if (call.index != index || !canFail(call.number)) return 0;
        failed = call;
        return error;
      };
      const Outcome outcome = traced.run(input());
      SCOPED_TRACE("call " + std::to_string(failed.number) + " at " + std::to_string(index) + ", " +
                   std::to_string(error) + "\n" + outcome.err);
      EXPECT_FALSE(traced.hung());
      if (isMemory(failed.number) && outcome.signal == SIGABRT) continue;
      EXPECT_EQ(outcome.signal, 0);
      if (!isOutput(failed)) expectGoodCaptures(job, outcome);
      if (outcome.exitStatus == 1) {
        EXPECT_NE(outcome.err.find("ERROR: "), std::string::npos);
        EXPECT_TRUE(outcome.out.empty() || (isArranged() && outcome.out.ends_with(trailer())));
        continue;
      }
      EXPECT_EQ(outcome.exitStatus, 0);
      if (isOutput(failed) || isComplete(outcome)) continue;
      // A read error ends an ordinary job, and cuts a repeated feature short.
      EXPECT_TRUE(isRead(failed) || outcome.err.find("ERROR: ") != std::string::npos);
      EXPECT_FALSE(isArranged());
      EXPECT_TRUE(outcome.out.ends_with(trailer()));
    }
  }
}

TEST_P(EveryCall, MayBeTheLastBeforeACancellation) {
  int cancellations = 0;
  for (int index = 0; index < calls_; index += kStep) {
    const Job job = GetParam().job();
    TracedRun traced(job);
    traced.lastIndex = index;
    bool canceled = false;
    traced.before = [&](const SystemCall& call) {
      if (call.index != index || call.number == SYS_exit_group) return 0;
      canceled = kill(traced.pid(), SIGTERM) == 0;
      return 0;
    };
    const Outcome outcome = traced.run(input());
    SCOPED_TRACE(std::to_string(index) + "\n" + outcome.err);
    EXPECT_FALSE(traced.hung());
    if (!canceled) continue;  // the number of reads varies
    ++cancellations;
    EXPECT_EQ(outcome.signal, SIGTERM);
    EXPECT_TRUE(outcome.out.empty() || outcome.out.ends_with(trailer()));
    expectGoodCaptures(job, outcome);
    if (!outcome.out.empty()) expectNoManualFiles(job);
  }
  EXPECT_GT(cancellations, calls_ / kStep / 2);
}

}  // namespace
}  // namespace jobshaper::testing
