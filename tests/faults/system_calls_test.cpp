// The system calls of whole runs. The kernel kills a filter that starts a program or a process,
// opens a socket, or opens a file with other flags than those that all files must be opened with.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <vector>

#include "tests/blackbox/manual_booklets.h"
#include "tests/queue/queue_ppd.h"
#include "tests/support/instrumented.h"

// Set by a build that measures coverage, because that writes files itself.
#ifndef COUNTS_LINES
#define COUNTS_LINES 0
#endif

namespace jobshaper::testing {
namespace {

// Calls for files and memory, and those that the loader and the C library need at startup.
constexpr long kAllowed[] = {
#ifdef SYS_access
    SYS_access,
#endif
#ifdef SYS_arch_prctl
    SYS_arch_prctl,
#endif
#ifdef SYS_poll
    SYS_poll,
#else
    SYS_ppoll,
#endif
#ifdef SYS_stat
    SYS_stat,
    SYS_lstat,
#endif
#ifdef SYS_readlink
    SYS_readlink,
#endif
#ifdef SYS_unlink
    SYS_unlink,
#endif
#ifdef SYS_newfstatat
    SYS_newfstatat,
#endif
    SYS_faccessat,
    SYS_fstat,
    SYS_readlinkat,
    SYS_statx,
    SYS_brk,
    SYS_mmap,
    SYS_mprotect,
    SYS_mremap,
    SYS_munmap,
    SYS_madvise,
    SYS_close,
    SYS_dup,           // jobshaper-queue
    SYS_memfd_create,  // the same
    SYS_ioctl,         // the same, for a job that it refuses
#ifdef SYS_dup2        // the same, for a job that it keeps in a file
    SYS_dup2,
#else
    SYS_dup3,
#endif
    SYS_read,
    SYS_pread64,
    SYS_readv,
    SYS_write,
    SYS_writev,
    SYS_tee,
    SYS_splice,
    SYS_pwrite64,
    SYS_lseek,
    SYS_fcntl,
    SYS_fchmod,
    SYS_fallocate,
    SYS_fstatfs,
    SYS_ftruncate,
    SYS_fadvise64,
    SYS_pselect6,
    SYS_unlinkat,
    SYS_exit_group,
    SYS_futex,
    SYS_getpid,
    SYS_gettid,  // also by a static variable that libc++ initializes
    SYS_tgkill,  // raise and abort
    SYS_geteuid,
    SYS_getuid,
    SYS_getgid,
    SYS_getegid,
    SYS_getrandom,
    SYS_prctl,
    SYS_prlimit64,
    SYS_rseq,
    SYS_rt_sigaction,
    SYS_rt_sigprocmask,
    SYS_rt_sigreturn,
    SYS_uname,
    SYS_set_robust_list,
    SYS_set_tid_address,
    SYS_clock_gettime,
    SYS_clock_nanosleep,
};

// Calls that sanitizers do not need either, if leak detection is off.
constexpr long kForbidden[] = {
#ifdef SYS_fork
    SYS_fork,   SYS_vfork,
#endif
    SYS_clone,  SYS_clone3, SYS_execveat, SYS_socket,  SYS_socketpair, SYS_connect,
    SYS_bind,   SYS_listen, SYS_accept,   SYS_accept4, SYS_sendto,     SYS_sendmsg,
    SYS_ptrace, SYS_kill,   SYS_setuid,   SYS_chmod,   SYS_fchmodat,   SYS_mknodat,
};

constexpr std::uint32_t low(std::uint64_t value) { return static_cast<std::uint32_t>(value); }
constexpr std::uint32_t high(std::uint64_t value) {
  return static_cast<std::uint32_t>(value >> 32);
}

// A program for the kernel that allows or denies each call.
class CallFilter {
 public:
  // Only the file of this name may be executed: the program under test. Libraries may open files
  // that stay open in a program that it starts.
  explicit CallFilter(const char* program, bool libraries = false) {
    const auto address = reinterpret_cast<std::uint64_t>(program);
    const int call = offsetof(seccomp_data, nr);
    load(call);
    ifNot(SYS_execve, 6);
    load(argument(0) + (kBigEndian ? 4 : 0));
    ifNot(low(address), 3);
    load(argument(0) + (kBigEndian ? 0 : 4));
    ifNot(high(address), 1);
    answer(SECCOMP_RET_ALLOW);
    load(call);
    if (!kSanitized && !COUNTS_LINES && !libraries) checkOpening();
    if (kSanitized || COUNTS_LINES) {
      for (const long number : kForbidden) answerTo(number, SECCOMP_RET_KILL_PROCESS);
      answerTo(SYS_execve, SECCOMP_RET_KILL_PROCESS);
      answer(SECCOMP_RET_ALLOW);
    } else {
      for (const long number : kAllowed) answerTo(number, SECCOMP_RET_ALLOW);
      if (libraries) answerTo(SYS_openat, SECCOMP_RET_ALLOW);
      answer(SECCOMP_RET_KILL_PROCESS);
    }
  }

  // Applies the program to this process and to what it executes.
  void install() const {
    const sock_fprog all{static_cast<unsigned short>(code_.size()),
                         const_cast<sock_filter*>(code_.data())};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &all) != 0) {
      _exit(126);
    }
  }

 private:
  static constexpr bool kBigEndian = std::endian::native == std::endian::big;
  static constexpr std::uint32_t argument(std::uint32_t i) {
    return static_cast<std::uint32_t>(offsetof(seccomp_data, args)) + 8 * i;
  }

  // Every file and pipe must be closed on exec, and a file may only be created with O_NOFOLLOW or
  // O_EXCL.
  void checkOpening() {
    ifNot(SYS_pipe2, 4);
    load(argument(1) + (kBigEndian ? 4 : 0));
    ifNoneOf(O_CLOEXEC, 1);
    answer(SECCOMP_RET_ALLOW);
    answer(SECCOMP_RET_KILL_PROCESS);
    ifNot(SYS_openat, 6);
    load(argument(2) + (kBigEndian ? 4 : 0));
    ifNoneOf(O_CLOEXEC, 3);
    ifNoneOf(O_CREAT, 1);
    ifNoneOf(O_NOFOLLOW | O_EXCL, 1);
    answer(SECCOMP_RET_ALLOW);
    answer(SECCOMP_RET_KILL_PROCESS);
  }

  void load(std::uint32_t offset) { code_.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset)); }
  void answer(std::uint32_t action) { code_.push_back(BPF_STMT(BPF_RET | BPF_K, action)); }
  void answerTo(long number, std::uint32_t action) {
    ifNot(number, 1);
    answer(action);
  }
  // Skips this many instructions unless the value is equal, or has one of these bits.
  void ifNot(std::int64_t value, std::uint8_t steps) {
    code_.push_back(
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(value), 0, steps));
  }
  void ifNoneOf(std::uint32_t bits, std::uint8_t steps) {
    code_.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, bits, 0, steps));
  }

  std::vector<sock_filter> code_;
};

Outcome runConfined(Job job, std::string input) {
  job.asanOption("detect_leaks=0");                             // leak detection starts a process
  const bool queue = job.program() == Job().queue().program();  // there the C library reads a cache
  const CallFilter filter(job.program().c_str(), queue);
  return job.input(std::move(input)).run([&] { filter.install(); });
}

void expectSame(const Job& job, const std::string& input) {
  const Outcome plain = Job(job).input(input).run();
  const Outcome outcome = runConfined(job, input);
  expectOutcome(outcome, plain.out, plain.err, 0);
}

class SystemCalls : public ::testing::Test {
 protected:
  void SetUp() override {
    // With a filter at address zero, the error tells whether the system has filters.
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr) != 0 && errno != EFAULT) {
      GTEST_SKIP() << "this system has no system call filters (seccomp)";
    }
  }
};

TEST_F(SystemCalls, OfAPlainJobAreFewAndHarmless) { expectSame(Job(), "%!PS\nshowpage\n"); }

TEST_F(SystemCalls, OfAJobWithEverythingTurnedOnAreFewAndHarmless) {
  Job job;
  job.capture().log(7).ppd("*QVGeneric: Color\n").env("DEVICE_URI", "pap://*/Office");
  job.options("PrintTo=JRVerify QVBookletFold=BiFold QVBookletPageCountFilename=/etc/hostname");
  expectSame(job, join(kTop, pages("12345"), "%RBINumCopies: 3\n"));
}

std::string longText() {
  std::string text;
  while (text.size() < 3000000) text += "0 0 moveto 100 100 lineto stroke\n";
  return text;
}

TEST_F(SystemCalls, OfALongJobAreFewAndHarmless) { expectSame(Job(), longText()); }

TEST_F(SystemCalls, OfALongCaptureAreFewAndHarmless) { expectSame(Job().capture(), longText()); }

TEST_F(SystemCalls, OfAManualBookletAreFewAndHarmless) {
  const TemporaryDirectory directory;
  writeFile(directory.file("en.lproj/instruction(null)"), "page\n");
  Job job = manualJob("");
  job.version("0x1049").env("JOBSHAPER_INSTRUCTIONS", directory.path()).env("LANG", "en").capture();
  expectSame(job, join(kTop, pages("12345678")));
}

TEST_F(SystemCalls, OfALongFeatureAreFewAndHarmless) {
  std::string feature = "*PageSize A4\n";
  while (feature.size() < 400000) feature += "0 0 moveto (of the feature) show\n";
  expectSame(Job(), feature + "*InputSlot\ncleartomark\n");
}

TEST_F(SystemCalls, OfACanceledJobAreFewAndHarmless) {
  Job job;
  job.asanOption("detect_leaks=0");
  const CallFilter filter(job.program().c_str());
  Process process(job.program(), job.argv(), job.environment(), [&] { filter.install(); });
  ASSERT_TRUE(process.waitForOutput(plainHeader().size()));
  process.kill(SIGTERM);
  EXPECT_EQ(process.finish().signal, SIGTERM);
  EXPECT_EQ(process.out(), plainHeader() + trailer());
}

TEST_F(SystemCalls, OfAnAbortedJobAreFewAndHarmless) {
  Job job;
  job.asanOption("handle_abort=0").env("DEVICE_URI", std::string(100, 'x'));
  EXPECT_EQ(runConfined(job, "").signal, SIGABRT);
}

TEST_F(SystemCalls, OfAQueueJobAreFewAndHarmless) {
  Job job;
  job.queue().ppd(ppdWith(ppdOption("QVBookletFold", "false BiFold", "BiFold")));
  job.env("DEVICE_URI", std::string(100, 'x')).env("LANG", "de_DE.UTF-8");
  job.options("PrintTo=JRConf JRHOLDKEY=1234 JAUSERID=\xC3\xA4 QVBookletFold=None");
  expectSame(job, join(kTop, pages("12"), "%RBINumCopies: 3\n"));
}

TEST_F(SystemCalls, OfARefusedQueueJobAreFewAndHarmless) {
  EXPECT_EQ(runConfined(Job().queue().options("PrintTo=JRConf"), "").exitStatus, 1);
}

TEST_F(SystemCalls, OfARunThatCannotStartAreFewAndHarmless) {
  const Outcome outcome = runConfined(Job().file("/nonexistent"), "");
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_EQ(runConfined(Job().arguments({}), "").exitStatus, 1);
}

// The filter program kills a process that makes a forbidden call.
TEST_F(SystemCalls, ThatAreForbiddenEndTheProcess) {
  const auto endedBy = [](void (*call)()) {
    const Job job;
    const CallFilter filter(job.program().c_str());
    return job
        .run([&] {
          filter.install();
          call();
          syscall(SYS_exit_group, 0);
        })
        .signal;
  };
  EXPECT_EQ(endedBy([] { syscall(SYS_socket, AF_INET, SOCK_DGRAM, 0); }), SIGSYS);
  EXPECT_EQ(endedBy([] { syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0); }), SIGSYS);
  EXPECT_EQ(endedBy([] {
              const char* const none[] = {nullptr};
              syscall(SYS_execve, "/bin/true", none, none);
            }),
            SIGSYS);
  EXPECT_EQ(endedBy([] { syscall(SYS_getpid); }), 0);
  if (kSanitized || COUNTS_LINES) return;
  const auto opens = [&](void (*call)()) { return endedBy(call); };
  EXPECT_EQ(opens([] { syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDONLY); }), SIGSYS);
  EXPECT_EQ(opens([] { syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDONLY | O_CLOEXEC); }), 0);
  EXPECT_EQ(
      opens([] { syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR | O_CREAT | O_CLOEXEC, 0600); }),
      SIGSYS);
  EXPECT_EQ(opens([] {
              syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW,
                      0600);
            }),
            0);
  EXPECT_EQ(opens([] {
              int ends[2];
              syscall(SYS_pipe2, ends, 0);
            }),
            SIGSYS);
  EXPECT_EQ(opens([] {
              int ends[2];
              syscall(SYS_pipe2, ends, O_CLOEXEC);
            }),
            0);
}

}  // namespace
}  // namespace jobshaper::testing
