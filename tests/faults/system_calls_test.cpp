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

// Calls for files and memory, and those that the loader and the C library need at startup; raise()
// and abort() need gettid and tgkill, jobshaper-queue dup, dup2, ioctl and memfd_create.
constexpr long kAllowed[] = {SYS_brk,
                             SYS_clock_gettime,
                             SYS_clock_nanosleep,
                             SYS_close,
                             SYS_dup,
                             SYS_exit_group,
                             SYS_faccessat,
                             SYS_fadvise64,
                             SYS_fallocate,
                             SYS_fchmod,
                             SYS_fcntl,
                             SYS_fstat,
                             SYS_fstatfs,
                             SYS_ftruncate,
                             SYS_futex,
                             SYS_getegid,
                             SYS_geteuid,
                             SYS_getgid,
                             SYS_getpid,
                             SYS_getrandom,
                             SYS_gettid,
                             SYS_getuid,
                             SYS_ioctl,
                             SYS_lseek,
                             SYS_madvise,
                             SYS_memfd_create,
                             SYS_mmap,
                             SYS_mprotect,
                             SYS_mremap,
                             SYS_munmap,
                             SYS_newfstatat,
                             SYS_prctl,
                             SYS_pread64,
                             SYS_prlimit64,
                             SYS_pselect6,
                             SYS_pwrite64,
                             SYS_read,
                             SYS_readlinkat,
                             SYS_readv,
                             SYS_rseq,
                             SYS_rt_sigaction,
                             SYS_rt_sigprocmask,
                             SYS_rt_sigreturn,
                             SYS_set_robust_list,
                             SYS_set_tid_address,
                             SYS_splice,
                             SYS_statx,
                             SYS_tee,
                             SYS_tgkill,
                             SYS_uname,
                             SYS_unlinkat,
                             SYS_write,
                             SYS_writev};
#ifdef SYS_open
constexpr long kAllowedHere[] = {SYS_access, SYS_arch_prctl, SYS_dup2, SYS_lstat,
                                 SYS_poll,   SYS_readlink,   SYS_stat, SYS_unlink};
#else
constexpr long kAllowedHere[] = {SYS_dup3, SYS_ppoll};
#endif

// A program for the kernel that allows or denies each call.
class CallFilter {
 public:
  // Only this program may be executed. Libraries may open files that stay open in a program that it
  // starts.
  explicit CallFilter(const std::string& program, bool libraries = false) {
    static_assert(std::endian::native == std::endian::little);
    const auto address = reinterpret_cast<std::uint64_t>(program.c_str());
    ifNot(SYS_execve, 6);
    load(argument(0));
    ifNot(static_cast<std::uint32_t>(address), 3);
    load(argument(0) + 4);
    ifNot(static_cast<std::uint32_t>(address >> 32), 1);
    answer(SECCOMP_RET_ALLOW);
    load(offsetof(seccomp_data, nr));
    if (!libraries) checkOpening();
    for (const long number : kAllowed) allow(number);
    for (const long number : kAllowedHere) allow(number);
    if (libraries) allow(SYS_openat);
    answer(SECCOMP_RET_KILL_PROCESS);
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
  static constexpr std::uint32_t argument(std::uint32_t i) {
    return static_cast<std::uint32_t>(offsetof(seccomp_data, args)) + 8 * i;
  }

  // Every file and pipe must be closed on exec, and a file may only be created with O_NOFOLLOW or
  // O_EXCL.
  void checkOpening() {
    ifNot(SYS_pipe2, 4);
    load(argument(1));
    ifNoneOf(O_CLOEXEC, 1);
    answer(SECCOMP_RET_ALLOW);
    answer(SECCOMP_RET_KILL_PROCESS);
    ifNot(SYS_openat, 6);
    load(argument(2));
    ifNoneOf(O_CLOEXEC, 3);
    ifNoneOf(O_CREAT, 1);
    ifNoneOf(O_NOFOLLOW | O_EXCL, 1);
    answer(SECCOMP_RET_ALLOW);
    answer(SECCOMP_RET_KILL_PROCESS);
  }

  void load(std::uint32_t offset) { code_.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset)); }
  void answer(std::uint32_t action) { code_.push_back(BPF_STMT(BPF_RET | BPF_K, action)); }
  void allow(long number) {
    ifNot(number, 1);
    answer(SECCOMP_RET_ALLOW);
  }
  // Skips this many instructions unless the value is equal, or has one of these bits.
  void ifNot(std::int64_t value, std::uint8_t steps) {
    code_.push_back(
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(value), 0, steps));
  }
  void ifNoneOf(std::uint32_t bits, std::uint8_t steps) {
    code_.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, bits, 0, steps));
  }

  std::vector<sock_filter> code_{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
};

BeforeExec confined(const Job& job) {
  const bool queue = job.program() == Job().queue().program();  // there the C library reads a cache
  return [filter = CallFilter(job.program(), queue)] { filter.install(); };
}

class SystemCalls : public ::testing::Test {
 protected:
  void SetUp() override {
    if (kSanitized || kCountsLines) GTEST_SKIP() << "this build makes calls of its own";
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
