// The system calls of whole runs. The kernel kills a filter that starts a program or a process,
// opens a socket, or opens a file with other flags than those that all files must be opened with.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>

#include "tests/faults/fault_jobs.h"
#include "tests/queue/queue_ppd.h"
#include "tests/support/instrumented.h"

namespace jobshaper::testing {
namespace {

constexpr long kAllowed[] = {
    // Files and streams.
    SYS_close, SYS_faccessat, SYS_fadvise64, SYS_fallocate, SYS_fchmod, SYS_fcntl, SYS_fstat,
    SYS_fstatfs, SYS_ftruncate, SYS_lseek, SYS_newfstatat, SYS_pread64, SYS_pselect6, SYS_pwrite64,
    SYS_read, SYS_readlinkat, SYS_readv, SYS_splice, SYS_statx, SYS_tee, SYS_unlinkat, SYS_write,
    SYS_writev,
    // Memory and the process itself; raise() and abort() need gettid and tgkill.
    SYS_brk, SYS_clock_gettime, SYS_clock_nanosleep, SYS_exit_group, SYS_futex, SYS_getegid,
    SYS_geteuid, SYS_getgid, SYS_getpid, SYS_getrandom, SYS_gettid, SYS_getuid, SYS_madvise,
    SYS_mmap, SYS_mprotect, SYS_mremap, SYS_munmap, SYS_rt_sigaction, SYS_rt_sigprocmask,
    SYS_rt_sigreturn, SYS_tgkill, SYS_uname,
    // The loader and the C library at startup.
    SYS_prctl, SYS_prlimit64, SYS_rseq, SYS_set_robust_list, SYS_set_tid_address,
    // jobshaper-queue.
    SYS_dup, SYS_ioctl, SYS_memfd_create,
#ifdef SYS_open
    // Of older architectures, which have two calls for some purposes.
    SYS_access, SYS_arch_prctl, SYS_dup2, SYS_lstat, SYS_poll, SYS_readlink, SYS_stat, SYS_unlink
#else
    SYS_dup3, SYS_ppoll
#endif
};

// A program for the kernel that allows or denies each call.
class CallFilter {
 public:
  // Only this program may be executed; the filter knows the lower half of the address of its name.
  // Libraries may open files that stay open in a program that it starts.
  explicit CallFilter(const std::string& program, bool libraries = false) {
    static_assert(std::endian::native == std::endian::little);
    allow(SYS_execve,
          {loadArgument(0), equals(reinterpret_cast<std::uintptr_t>(program.c_str()), 1)});
    if (libraries) {
      allow(SYS_openat);
    } else {
      // Every file and pipe must be closed on exec, and a file may only be created with O_NOFOLLOW
      // or O_EXCL.
      allow(SYS_pipe2, {loadArgument(1), hasAny(O_CLOEXEC, 1)});
      allow(SYS_openat, {loadArgument(2), hasAny(O_CLOEXEC, 3), hasAny(O_CREAT, 1),
                         hasAny(O_NOFOLLOW | O_EXCL, 1)});
    }
    for (const long number : kAllowed) allow(number);
    code_.push_back(kDeny);
  }

  // Applies the program to this process and to what it executes.
  void install() const {
    const sock_fprog all{static_cast<unsigned short>(code_.size()),
                         const_cast<sock_filter*>(code_.data())};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &all) != 0)
      _exit(126);
  }

 private:
  static constexpr sock_filter kAllow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  static constexpr sock_filter kDeny = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);

  static sock_filter load(std::size_t offset) {
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
  }
  static sock_filter loadArgument(std::size_t i) {
    return load(offsetof(seccomp_data, args) + 8 * i);
  }
  // Skips this many instructions unless the loaded value is equal, or has one of these bits.
  static sock_filter equals(std::uint64_t value, std::size_t skipped) {
    return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(value), 0,
                    static_cast<std::uint8_t>(skipped));
  }
  static sock_filter hasAny(std::uint32_t bits, std::uint8_t skipped) {
    return BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, bits, 0, skipped);
  }
  // Allows a call unless these instructions skip kAllow.
  void allow(long number, const std::vector<sock_filter>& unless = {}) {
    code_.push_back(equals(static_cast<std::uint64_t>(number), unless.size() + 2));
    code_.insert(code_.end(), unless.begin(), unless.end());
    code_.insert(code_.end(), {kAllow, kDeny});
  }

  std::vector<sock_filter> code_{load(offsetof(seccomp_data, nr))};
};

BeforeExec confined(const Job& job) {
  const bool queue = job.program() == Job().queue().program();  // there the C library reads a cache
  return [filter = CallFilter(job.program(), queue)] { filter.install(); };
}

class SystemCalls : public ::testing::Test {
 protected:
  void SetUp() override {
    if (kSanitized || kCountsLines)
      GTEST_SKIP() << "sanitizers and coverage make system calls of their own";
    // With a filter at address zero, the error tells whether the system has filters.
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr) != 0 && errno != EFAULT)
      GTEST_SKIP() << "this system has no system call filters (seccomp)";
  }
};

TEST_F(SystemCalls, OfAJobThatIsPrintedAreFewAndHarmless) {
  const std::string longText = lines(1200000);
  Job everything = Job().capture().log(7).ppd("*QVGeneric: Color\n");
  everything.env("DEVICE_URI", "pap://*/Office").options(countIn("/etc/hostname"));
  Job queued = Job().queue().ppd(ppdWith("QVBookletFold: false *BiFold"));
  queued.env("DEVICE_URI", std::string(100, 'x')).env("LANG", "de_DE.UTF-8");
  queued.options("PrintTo=JRConf JRHOLDKEY=1234 JAUSERID=\xC3\xA4 QVBookletFold=None");
  const std::string text = join(kTop, pages("12345"), "%RBINumCopies: 3\n");
  for (const Job& job : {Job(), everything.input(text), Job().input(longText),
                         Job().capture().input(longText), instructedJob(text, "page\n").capture(),
                         Job().input(longFeature(400000)), queued.input(text)}) {
    const Outcome plain = job.run();
    expectOutcome(job.run(confined(job)), plain.out, plain.err, 0,
                  ::testing::PrintToString(job.argv()));
  }
}

TEST_F(SystemCalls, OfACanceledJobAreFewAndHarmless) {
  const Job job;
  Process process(job, confined(job));
  ASSERT_TRUE(process.waitForOutput(plainHeader().size()));
  process.kill(SIGTERM);
  EXPECT_EQ(process.finish().signal, SIGTERM);
  EXPECT_EQ(process.out(), printed(""));
}

TEST_F(SystemCalls, OfAJobThatFailsAreFewAndHarmless) {
  for (const Job& job :
       {Job().queue().options("PrintTo=JRConf"), Job().file("/nonexistent"), Job().arguments({})})
    EXPECT_EQ(job.run(confined(job)).exitStatus, 1) << ::testing::PrintToString(job.argv());
  const Job aborted = Job().env("DEVICE_URI", std::string(100, 'x'));
  EXPECT_EQ(aborted.run(confined(aborted)).signal, SIGABRT);
}

// The filter program kills a process that makes a forbidden call.
TEST_F(SystemCalls, ThatAreForbiddenEndTheProcess) {
  const auto endedBy = [](long number, long first, long second, long third) {
    const Job job;
    const BeforeExec confine = confined(job);
    return job
        .run([&] {
          confine();
          syscall(number, first, second, third, 0600);
          syscall(SYS_exit_group, 0);
        })
        .signal;
  };
  const auto null = reinterpret_cast<long>("/dev/null");
  EXPECT_EQ(endedBy(SYS_getpid, 0, 0, 0), 0);
  EXPECT_EQ(endedBy(SYS_socket, AF_INET, SOCK_DGRAM, 0), SIGSYS);
  EXPECT_EQ(endedBy(SYS_clone, SIGCHLD, 0, 0), SIGSYS);
  EXPECT_EQ(endedBy(SYS_execve, null, 0, 0), SIGSYS);
  EXPECT_EQ(endedBy(SYS_pipe2, 0, 0, 0), SIGSYS);
  EXPECT_EQ(endedBy(SYS_openat, AT_FDCWD, null, O_RDONLY), SIGSYS);
  EXPECT_EQ(endedBy(SYS_openat, AT_FDCWD, null, O_RDWR | O_CREAT | O_CLOEXEC), SIGSYS);
}

}  // namespace
}  // namespace jobshaper::testing
