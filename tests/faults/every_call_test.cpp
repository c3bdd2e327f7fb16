// Jobs of every kind, in which each system call in turn fails, and in which a cancellation arrives
// at each system call. Every run must end, without a crash, and with status 0 only if everything
// that could be read was printed.
//
// JOBSHAPER_ATTACKS=long tries each call and more errors, which takes minutes; otherwise only the
// first call of each number for each descriptor and file fails, and one in three is the last.
#include <sys/mman.h>
#include <sys/syscall.h>

#include <cerrno>
#include <csignal>
#include <set>

#include "tests/faults/fault_jobs.h"
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

// Something that a job may lose by a fault without failing, such as its instruction page.
struct Extra {
  void (*leaveOut)(Job& job);
  std::string_view message;  // on standard error if it is lost
};

struct Kind {
  const char* name;
  Job (*job)();
  std::vector<Extra> extras;
  bool arranged = false;  // its pages are useless if some are missing
};

void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

void withoutPpd(Job& job) { job.unsetEnv("PPD"); }

// For the filter, a read error in a PPD file is its end, without a message.
const Extra kPpd = {withoutPpd, ""};
const Extra kPpdOfQueue = {withoutPpd, "WARNING: The PPD file "};
const Extra kCount = {[](Job& job) { job.options("QVBookletFold=BiFold"); }, ""};
const Extra kInstructions = {[](Job& job) { job.env("JOBSHAPER_INSTRUCTIONS", "/nowhere"); },
                             kNoInstruction};

Job queueJob(const std::string& options, const std::string& ppd) {
  return Job().queue().options(options).ppd(ppdWith(ppd));
}

const Kind kKinds[] = {
    {"Ordinary",
     [] { return Job().options("PrintTo=JRVerify").ppd("*QVGeneric: Color\n").capture().log(7); },
     {kPpd}},
    {"Booklet",
     [] {
       Job job;
       writeFile(job.tmpFile("count"), "6");
       return job.options(countIn(job.tmpFile("count")));
     },
     {kCount}},
    {"ManualBooklet",
     [] { return instructedJob("", "0 0 moveto (turn it over) show\n"); },
     {kPpd, kInstructions},
     true},
    {"LongFeature", [] { return Job().fileWith(longFeature(270000)); }, {}},
    {"Queue",
     [] { return queueJob("PrintTo=JRVerify", "Duplex: None *DuplexTumble"); },
     {kPpdOfQueue}},
    {"ArrangedQueue",
     [] { return queueJob("QVBookletFold=BiFold", "QVBookletFold: false *BiFold"); },
     {kPpdOfQueue},
     true},
};

const bool kLong = getenv("JOBSHAPER_ATTACKS") != nullptr;

class EveryCall : public TracedTest, public ::testing::WithParamInterface<Kind> {
 protected:
  void SetUp() override {
    TracedTest::SetUp();
    if (kSanitized) GTEST_SKIP() << "sanitizers make many calls of their own";
    if (IsSkipped()) return;
    std::set<std::tuple<long, unsigned long long, std::string>> seen;
    TracedRun traced(job());
    traced.before = [&](const SystemCall& call) {
      const auto file = call.arguments[0] < 100 ? call.arguments[0] : 100;  // or an address
      if (seen.emplace(call.number, file, traced.opens(call)).second || kLong)
        indexes_.push_back(call.index);
      return 0;
    };
    plain_ = traced.run();
    ASSERT_EQ(plain_.exitStatus, 0);
    ASSERT_GT(indexes_.size(), 10U);
  }

  static Job job() { return GetParam().job().input(text()); }

  // Everything was printed; or all but an extra, whose loss was reported.
  bool isComplete(const Outcome& outcome) {
    if (complete_.empty()) {
      complete_.push_back({plain_.out, ""});
      const std::string host = "HOSTID = \"" + hostName() + "\"";
      std::string nameless = plain_.out;
      if (const std::size_t at = nameless.find(host); at != nameless.npos)
        nameless.replace(at, host.size(), "HOSTID = \"localhost\"");
      complete_.push_back({nameless, ""});
      for (const Extra& extra : GetParam().extras) {
        Job lesser = job();
        extra.leaveOut(lesser);
        complete_.push_back({lesser.run().out, extra.message});
      }
    }
    return std::any_of(complete_.begin(), complete_.end(), [&](const auto& row) {
      return outcome.out == row.first && outcome.err.find(row.second) != std::string::npos;
    });
  }

  // A fault may truncate captures, but does not change what is in them.
  static void expectGoodCaptures(const Job& job, const Outcome& outcome) {
    const auto isStart = [&](const char* name, std::string_view whole) {
      return !fs::exists(job.tmpFile(name)) || whole.starts_with(readFile(job.tmpFile(name)));
    };
    EXPECT_TRUE(isStart("qvn_ps", job.input()));
    EXPECT_TRUE(isStart("qvn_ps2", outcome.out));
  }

  Outcome plain_;
  std::vector<int> indexes_;  // the calls that are tried
  std::vector<std::pair<std::string, std::string_view>> complete_;
};

INSTANTIATE_TEST_SUITE_P(Kinds, EveryCall, ::testing::ValuesIn(kKinds),
                         [](const auto& row) { return std::string(row.param.name); });

bool isOneOf(const std::set<long>& numbers, const SystemCall& call) {
  return numbers.count(call.number) > 0;
}

const std::set<long> kMemory = {SYS_mmap, SYS_mremap, SYS_munmap, SYS_mprotect, SYS_madvise};
const std::set<long> kReads = {SYS_read, SYS_tee, SYS_splice};
// These do not return errors, or the C library relies on their success.
const std::set<long> kCannotFail = {SYS_brk, SYS_futex, SYS_exit_group};

// Writes to the printer, whose errors the scheduler handles.
bool isOutput(const SystemCall& call) {
  return (isOneOf({SYS_write, SYS_writev}, call) && call.arguments[0] == 1) ||
         (call.number == SYS_splice && call.arguments[2] == 1);
}

TEST_P(EveryCall, MayFail) {
  std::vector<int> errors{EIO};
  if (kLong) errors = {EIO, ENOSPC, EACCES, EMFILE, ENOMEM, EINVAL, ENOSYS, EPERM};
  for (const int error : errors) {
    for (const int index : indexes_) {
      const Job job = EveryCall::job();
      TracedRun traced(job);
      traced.lastIndex = index;
      SystemCall failed;
      traced.before = [&](const SystemCall& call) {
        if (call.index != index || isOneOf(kCannotFail, call)) return 0;
        failed = call;
        return error;
      };
      const Outcome outcome = traced.run();
      SCOPED_TRACE("call " + std::to_string(failed.number) + " at " + std::to_string(index) + ", " +
                   std::to_string(error) + "\n" + outcome.err);
      if (isOneOf(kMemory, failed) && outcome.signal == SIGABRT) continue;
      EXPECT_EQ(outcome.signal, 0);
      if (!isOutput(failed)) expectGoodCaptures(job, outcome);
      if (outcome.exitStatus == 1) {
        EXPECT_NE(outcome.err.find("ERROR: "), std::string::npos);
        EXPECT_TRUE(outcome.out.empty() ||
                    (GetParam().arranged && outcome.out.ends_with(trailer())));
        continue;
      }
      EXPECT_EQ(outcome.exitStatus, 0);
      if (isOutput(failed) || isComplete(outcome)) continue;
      // A read error ends an ordinary job, and cuts a repeated feature short.
      EXPECT_TRUE(isOneOf(kReads, failed) || outcome.err.find("ERROR: ") != std::string::npos);
      EXPECT_FALSE(GetParam().arranged);
      EXPECT_TRUE(outcome.out.ends_with(trailer()));
    }
  }
}

TEST_P(EveryCall, MayBeTheLastBeforeACancellation) {
  std::size_t cancellations = 0;
  const std::size_t step = kLong ? 1 : 3;
  for (std::size_t i = 0; i < indexes_.size(); i += step) {
    const int index = indexes_[i];
    const Job job = EveryCall::job();
    TracedRun traced(job);
    traced.lastIndex = index;
    bool canceled = false;
    traced.before = [&](const SystemCall& call) {
      if (call.index == index && call.number != SYS_exit_group)
        canceled = kill(traced.pid(), SIGTERM) == 0;
      return 0;
    };
    const Outcome outcome = traced.run();
    SCOPED_TRACE(std::to_string(index) + "\n" + outcome.err);
    if (!canceled) continue;  // the number of reads varies
    ++cancellations;
    EXPECT_EQ(outcome.signal, SIGTERM);
    EXPECT_TRUE(outcome.out.empty() || outcome.out.ends_with(trailer()));
    expectGoodCaptures(job, outcome);
    if (!outcome.out.empty()) expectNoManualFiles(job);
  }
  EXPECT_GT(cancellations, indexes_.size() / step / 2);
}

}  // namespace
}  // namespace jobshaper::testing
