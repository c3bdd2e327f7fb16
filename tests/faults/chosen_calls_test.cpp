// Chosen system calls that fail, are interrupted or do less than they could, and a second process
// that changes files at the moment of a call.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <memory>
#include <set>

#include "tests/faults/fault_jobs.h"
#include "tests/support/traced_run.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

std::string nameOf(const std::string& path) { return fs::path(path).filename(); }

// Runs the job with this called before each call; what it returns is the error of the call, or 0.
Outcome runTraced(const Job& job,
                  const std::function<int(TracedRun& run, SystemCall& call)>& before,
                  const BeforeExec& beforeExec = nullptr) {
  TracedRun run(job);
  run.before = [&](SystemCall& call) { return before(run, call); };
  return run.run(beforeExec);
}

// ---- races

class Race : public TracedTest {};

// Only while the filter creates the file, or opens it again, its name is that of a private file.
TEST_F(Race, OfASecondNameDoesNotReachAnotherFile) {
  const std::vector<std::string> created = {"qvn_ps",     "qvn_ps2",        "qvn_manualPS42",
                                            "pageEven42", "newEvenOrder42", "newOddOrder42",
                                            "debug.log",  "pageReOrdered42"};
  const std::vector<std::string> opened = {"qvn_manualPS42", "pageReOrdered42", "pageEven42",
                                           "newEvenOrder42", "debug.log"};
  const Job job = manualJob(join(kTop, pages("123456"))).capture().log(7);
  for (const bool isNew : {true, false}) {
    for (const std::string& name : isNew ? created : opened) {
      const TemporaryDirectory outside;
      const std::string other = outside.file("private"), path = job.tmpFile(name);
      writeFile(other, "somebody else's\n");
      fs::permissions(other, fs::perms(0600));
      writeFile(job.tmpFile("debug.log"), "");
      TracedRun run(job);
      const auto isChosen = [&](const SystemCall& call) {
        return nameOf(run.opens(call)) == name && ((call.arguments[2] & O_EXCL) != 0) == isNew;
      };
      bool swapped = false;
      run.before = [&](const SystemCall& call) {
        if (!isChosen(call)) return 0;
        if (fs::exists(path)) fs::rename(path, path + "-");
        fs::create_hard_link(other, path);
        swapped = true;
        return 0;
      };
      run.after = [&](const SystemCall& call) {
        if (!isChosen(call)) return;
        fs::remove(path);
        if (fs::exists(path + "-")) fs::rename(path + "-", path);
      };
      EXPECT_EQ(run.run().signal, 0) << name;
      EXPECT_TRUE(swapped) << name;
      EXPECT_EQ(readFile(other), "somebody else's\n") << name;
      EXPECT_EQ(fs::status(other).permissions(), fs::perms(0600)) << name;
    }
  }
}

// Between the check and the opening of the file, another file takes its place.
TEST_F(Race, AfterTheExaminationOfAPageCountIsLost) {
  Job job;
  writeFile(job.tmpFile("count"), "4");
  writeFile(job.tmpFile("other"), "4");
  job.options(countIn(job.tmpFile("count"))).input("%%Page: 1 1\n");
  const Outcome outcome = runTraced(job, [&](auto& run, auto& call) {
    if (nameOf(run.opens(call)) == "count") fs::rename(job.tmpFile("other"), job.tmpFile("count"));
    return 0;
  });
  expectOutcome(outcome, printed("%%Page: 1 1\n"), tmpLines(job));
}

// A cancellation at any time before the process has ended must end it by the signal.
TEST_F(Race, OfACancellationWithTheEndIsNeverSuccess) {
  const Job job = Job().log(1).input("%!PS\n");
  writeFile(job.tmpFile("debug.log"), "");  // each run opens it in the same way
  int lastWrite = 0, calls = 0;
  const auto count = [&](auto&, auto& call) {
    if (call.number == SYS_writev && call.arguments[0] == 1) lastWrite = call.index;
    calls = call.index + 1;
    return 0;
  };
  expectOutcome(runTraced(job, count), printed("%!PS\n"), tmpLines(job));
  ASSERT_GT(calls, lastWrite + 3);
  for (int index = lastWrite + 1; index < calls - 1; ++index) {  // the last one is exit
    const Outcome outcome = runTraced(job, [&](auto& run, auto& call) {
      return call.index == index ? kill(run.pid(), SIGTERM) : 0;
    });
    EXPECT_EQ(outcome.signal, SIGTERM) << index;
    EXPECT_EQ(outcome.out, printed("%!PS\n"));
  }
}

// ---- errors. No job is printed in part with status 0, except that a read error counts as the end
// of an ordinary job.

class ReadFault : public TracedTest {};

// Makes the nth read of a file fail that was opened under this name with these flags.
void failRead(TracedRun& run, std::string_view name, unsigned mode, int nth) {
  const auto file = std::make_shared<long long>(-1);
  run.before = [file, nth, reads = 0](const SystemCall& call) mutable {
    if (*file < 0 || static_cast<long long>(call.arguments[0]) != *file) return 0;
    if (call.number == SYS_close) *file = -1;
    const bool isRead = call.number == SYS_read || call.number == SYS_pread64;
    return isRead && ++reads == nth ? EIO : 0;
  };
  run.after = [file, &run, name, mode](const SystemCall& call) {
    if (nameOf(run.opens(call)).starts_with(name) && (call.arguments[2] & O_ACCMODE) == mode)
      *file = call.result;
  };
}

// The first byte of this file cannot be read.
TEST(ManualBookletReadFault, OfTheJobFailsIt) {
  const Job job = manualJob("").file("/proc/self/mem");
  expectOutcome(job.run(), "", join(threeTmpLines(job), kCannotRead, kFatal), 1);
}

TEST_F(ReadFault, OfTheReorderedJobFailsTheBooklet) {
  const Job job = manualJob(join(kTop, pages("1234")));
  TracedRun run(job);
  failRead(run, "qvn_manualPS", O_RDONLY, 1);
  expectOutcome(run.run(), printed(""), join(threeTmpLines(job), kCannotRead), 1);
  expectNoManualFiles(job);
}

// A quota or a file server may report only at close() that there was no space.
TEST_F(ReadFault, OfAClosingFileFailsTheBooklet) {
  int closed = 1;
  for (int nth = 1; closed >= nth; ++nth) {
    const Job job = manualJob(join(kTop, pages("123456")));
    TracedRun run(job);
    std::set<unsigned long long> written;
    closed = 0;
    run.before = [&](const SystemCall& call) {
      if (call.number != SYS_close || written.erase(call.arguments[0]) == 0) return 0;
      return ++closed == nth ? EDQUOT : 0;
    };
    run.after = [&](const SystemCall& call) {
      if (call.number == SYS_openat && (call.arguments[2] & O_ACCMODE) == O_RDWR &&
          call.result >= 0)
        written.insert(static_cast<unsigned long long>(call.result));
    };
    const Outcome outcome = run.run();
    EXPECT_EQ(outcome.exitStatus, closed < nth ? 0 : 1) << nth;
    if (closed < nth) break;
    EXPECT_EQ(outcome.out, "") << nth;
    EXPECT_TRUE(outcome.err.starts_with(join(threeTmpLines(job), kNoFile))) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with(kFatal)) << outcome.err;
  }
  EXPECT_GT(closed, 6);
}

TEST_F(ReadFault, OfAnInstructionPageOmitsThePage) {
  const std::string page = lines(10000);
  const Job job = instructedJob(join(kTop, kPage1), page);
  for (const int nth : {1, 2}) {
    TracedRun run(job);
    failRead(run, "instruction(null)", O_RDONLY, nth);
    const bool complete = nth > 1;  // it is read at once
    expectOutcome(run.run(),
                  printed(join(kTop, kFirstPass, kInstruction, complete ? page : "", kPage1,
                               kSecondPass, kBlank)),
                  join(threeTmpLines(job), complete ? "" : kNoInstruction));
  }
}

// The rest of the feature is in a file, which is read in parts of 64 KiB.
TEST_F(ReadFault, OfARepeatedFeatureClosesItAndIsReported) {
  const std::string feature = longFeature(450000);
  const Job job = Job().fileWith(feature + "x\n*InputSlot\ncleartomark\n");
  TracedRun run(job);
  failRead(run, "qvn_", O_RDWR, 2);
  const Outcome outcome = run.run();
  const std::string end = "\n} stopped cleartomark\nx\n*InputSlot\ncleartomark\n";
  const std::size_t around = printed(feature + "[{\n" + end).size();
  const std::string part = feature.substr(0, outcome.out.size() - around);
  EXPECT_GT(part.size(), 300000U);
  expectOutcome(
      outcome, printed(join(feature, "[{\n", part, end)),
      join(tmpLines(job), "ERROR: Cannot read back the page size; it is not repeated.\n"));
}

// ---- calls that a system lacks or forbids

bool readsFromPipe(const TracedRun& run, const SystemCall& call) {
  return call.number == SYS_read && call.arguments[0] > 2 && fs::is_fifo(run.fileOf(call));
}

class RefusedCall : public TracedTest {};

// Large blocks go from pipe to pipe without a copy, if the system lets them.
TEST_F(RefusedCall, DoesNotChangeAPipedJob) {
  // A rule acts in one block of several.
  const std::string first = lines(600000), last = lines(300000);
  const Job job = Job().input(join(first, "@PJL INFO\n", last));
  for (const long number : {SYS_tee, SYS_splice, SYS_fcntl, SYS_read}) {
    int chosen = 0;
    const auto refuse = [&](auto& run, SystemCall& call) {
      if (number == SYS_fcntl) {
        // Peeking at a small pipe would take longer than reading.
        EXPECT_NE(call.number, SYS_tee);
        if (call.arguments[1] != F_SETPIPE_SZ) return 0;
      }
      if (call.number != number || (number == SYS_read && !readsFromPipe(run, call))) return 0;
      ++chosen;
      if (number != SYS_read) return number == SYS_fcntl ? EPERM : ENOSYS;
      call.arguments[2] /= 2;  // half of what tee has copied
      return 0;
    };
    expectOutcome(runTraced(job, refuse), printed(first + last), tmpLines(job), 0,
                  std::to_string(number));
    EXPECT_GT(chosen, 0) << number;
  }
}

// Nothing is written to a file that others can read, except for the log, which is for everyone.
TEST_F(RefusedCall, OfPermissionsLeavesNoCaptureAndNoBooklet) {
  const auto refuse = [](auto&, auto& call) { return call.number == SYS_fchmod ? EPERM : 0; };
  const Job job = Job().capture().log(7).input("%!PS\n");
  expectOutcome(runTraced(job, refuse), printed("%!PS\n"),
                join(tmpLines(job), kCaptureOn, kNoCaptureIn, kNoCaptureOut));
  EXPECT_NE(readFile(job.tmpFile("debug.log")), "");
  const Job booklet = manualJob(join(kTop, pages("12")));
  expectOutcome(runTraced(booklet, refuse), "", join(threeTmpLines(booklet), kNoFile, kFatal), 1);
}

// In a directory without devices, the next file would get the number of a closed stream.
TEST_F(RefusedCall, OfTheNullDeviceLeavesClosedStreamsAlone) {
  const auto refuse = [](auto& run, auto& call) {
    return run.opens(call) == "/dev/null" ? ENOENT : 0;
  };
  for (const int stream : {0, 1}) {
    const Job job = Job().capture().input("%!PS\n");
    const std::string in = stream == 0 ? "" : "%!PS\n";
    expectOutcome(runTraced(job, refuse, [&] { close(stream); }), stream == 0 ? printed(in) : "",
                  join(tmpLines(job), kCaptureOn));
    expectCaptures(job, in, printed(in));
  }
}

// ---- interrupted and short calls

class InterruptedCalls : public TracedTest {};

// The number of the argument that says how much to read or write; 0 if the call has none.
int sizeArgument(long number) {
  static const std::set<long> third = {SYS_read,   SYS_pread64,  SYS_write,
                                       SYS_writev, SYS_pwrite64, SYS_tee};
  return third.count(number) > 0 ? 2 : number == SYS_splice ? 4 : 0;
}

// Makes the call a write of the first span that has any bytes.
void writeOneSpan(const TracedRun& run, SystemCall& call) {
  iovec span{};
  do {
    const std::string bytes = run.memory(call.arguments[1], sizeof span);
    std::memcpy(&span, bytes.data(), bytes.size());
    call.arguments[1] += sizeof span;
  } while (span.iov_len == 0 && --call.arguments[2] > 0);
  call.number = SYS_write;
  call.arguments[1] = reinterpret_cast<unsigned long long>(span.iov_base);
  call.arguments[2] = span.iov_len;
}

// Runs the job normally, and with every other one of these calls interrupted and the others short:
// they move `unit` to 7 * `unit` bytes. There must be such calls.
void expectTheSame(const Job& job, unsigned unit, const std::set<long>& numbers,
                   Where where = Where::here()) {
  const Outcome plain = job.run();
  const std::string in = readFile(job.tmpFile("qvn_ps"));
  TracedRun run(job);
  std::map<long, unsigned> counts;
  bool countsLines = false;  // a build that measures coverage writes its files at the end
  run.before = [&](SystemCall& call) {
    countsLines = countsLines || run.opens(call).ends_with(".gcda");
    if (numbers.count(call.number) == 0 || countsLines) return 0;
    const unsigned count = counts[call.number]++;
    if (count % 2 == 0) return EINTR;
    const int size = sizeArgument(call.number);
    // The filter has filled its own pipe, which must not block.
    if (size == 0 || readsFromPipe(run, call)) return 0;
    if (call.number == SYS_writev) writeOneSpan(run, call);
    call.arguments[size] = std::min(call.arguments[size], (1ULL + count / 2 % 7) * unit);
    return 0;
  };
  expectOutcome(run.run(), plain.out, plain.err, 0, "the interrupted job", where);
  expectCaptures(job, in, plain.out, where);
  for (const long number : numbers) EXPECT_GE(counts[number], 2U) << number;
}

TEST_F(InterruptedCalls, LoseNothingOfAFoldedBooklet) {
  Job job = Job().capture().log(7).ppd("*QVGeneric: Color\n");
  writeFile(job.tmpFile("count"), "          12\n");
  const std::string top = "%!PS\n*QVBookletFold\nold\nstatusdict /duplexer get exec\n@PJL EOJ\n";
  job.options(countIn(job.tmpFile("count"))).input(top + pages("12345678") + bytes("\r\0\nlast"));
  expectTheSame(job, 1, {SYS_openat, SYS_read, SYS_writev, SYS_fchmod, SYS_pselect6});
}

// Large blocks that no rule touches go from pipe to pipe.
TEST_F(InterruptedCalls, LoseNothingOfForwardedBlocksAndALongCapture) {
  expectTheSame(
      Job().capture().input(lines(1200000) + "last"), 9973,
      {SYS_read, SYS_writev, SYS_tee, SYS_splice, SYS_fallocate, SYS_ftruncate, SYS_pselect6});
}

TEST_F(InterruptedCalls, LoseNothingOfAManualBooklet) {
  const Job job =
      instructedJob(join(kTop, pages("12345678"), kTrailer), "turn it over\n").capture();
  expectTheSame(job, 1, {SYS_openat, SYS_read, SYS_pread64, SYS_pwrite64, SYS_writev, SYS_fchmod});
}

TEST_F(InterruptedCalls, LoseNothingOfALongFeature) {
  const std::string feature = longFeature(400000);
  expectTheSame(Job().capture().fileWith(feature + "*InputSlot\ncleartomark\n"), 997,
                {SYS_pread64});
}

}  // namespace
}  // namespace jobshaper::testing
