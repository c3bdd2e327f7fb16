#include "tests/support/traced_run.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <thread>

namespace jobshaper::testing {

namespace {

constexpr std::size_t kPipe = 1024 * 1024;
constexpr unsigned kSeconds = 60;

#if defined(__x86_64__)
constexpr bool kKnown = true;
constexpr std::size_t kNumber = offsetof(user, regs.orig_rax);
constexpr std::size_t kResult = offsetof(user, regs.rax);
constexpr std::size_t kArguments[] = {offsetof(user, regs.rdi), offsetof(user, regs.rsi),
                                      offsetof(user, regs.rdx), offsetof(user, regs.r10),
                                      offsetof(user, regs.r8),  offsetof(user, regs.r9)};
#else
constexpr bool kKnown = false;
constexpr std::size_t kNumber = 0, kResult = 0, kArguments[6] = {};
#endif

void setRegister(pid_t pid, std::size_t offset, unsigned long long value) {
  EXPECT_EQ(ptrace(PTRACE_POKEUSER, pid, offset, value), 0);
}

constexpr int kCall = SIGTRAP | 0x80;
constexpr int kStartOfMain = SIGTRAP | (PTRACE_EVENT_SECCOMP << 8);
constexpr int kExit = SIGTRAP | (PTRACE_EVENT_EXIT << 8);

// The filter first examines its standard input. The traced process asks the kernel to stop it only
// at that call, so that the calls of the loader, more than ten times as many, are not traced.
bool stopAtStartOfMain() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fcntl, 0, 5),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, STDIN_FILENO, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, F_GETFD, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{std::size(program), program};
  return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 &&
         prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

}  // namespace

// Leak detection uses ptrace, too.
TracedRun::TracedRun(Job job) : job_(std::move(job.asanOption("detect_leaks=0"))) {}

Outcome TracedRun::run(const BeforeExec& beforeExec) {
  Process process(job_, [&] {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO}) fcntl(stream, F_SETPIPE_SZ, kPipe);
    if (beforeExec) beforeExec();
    alarm(kSeconds);
    if (!stopAtStartOfMain()) _exit(127);
    raise(SIGSTOP);
  });
  pid_ = process.pid();
  waitpid(pid_, nullptr, 0);
  const std::string_view input = job_.input();
  const std::string_view rest = input.substr(std::min(input.size(), kPipe));
  process.write(input.substr(0, kPipe));
  if (rest.empty()) process.closeInput();
  std::thread other([&] {
    process.write(rest);
    process.closeInput();
    process.waitForOutput(std::string::npos);
  });
  trace();
  other.join();
  return process.finish();
}

void TracedRun::trace() {
  ptrace(PTRACE_SETOPTIONS, pid_, nullptr,
         PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACESECCOMP | PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
  bool inMain = false, inCall = false;
  int error = 0, status = 0;
  long signal = 0;
  SystemCall call, original;
  for (calls_ = 0;;) {
    const bool stops = inCall || (inMain && calls_ <= lastIndex);
    ptrace(stops ? PTRACE_SYSCALL : PTRACE_CONT, pid_, nullptr, signal);
    if (waitpid(pid_, &status, 0) < 0 || !WIFSTOPPED(status)) {
      ADD_FAILURE() << "killed while traced";
      return;
    }
    const int event = status >> 8;
    signal = 0;
    if (event == kExit) {
      ptrace(PTRACE_DETACH, pid_, nullptr, nullptr);
      return;
    }
    if (event != kCall && (inMain || event != kStartOfMain)) {
      if (WSTOPSIG(status) != SIGTRAP) signal = WSTOPSIG(status);  // execve causes a SIGTRAP
      continue;
    }
    inMain = true;
    __ptrace_syscall_info info{};
    ptrace(PTRACE_GET_SYSCALL_INFO, pid_, sizeof info, &info);
    inCall = info.op != PTRACE_SYSCALL_INFO_EXIT;
    if (inCall) {
      // The information begins like that of a call that the kernel's filter stopped.
      call.index = calls_++;
      call.number = static_cast<long>(info.entry.nr);
      std::copy_n(info.entry.args, 6, call.arguments);
      original = call;
      error = before(call);
      if (error != 0) call.number = -1;  // there is no such call
    } else {
      call.result = error != 0 ? -error : info.exit.rval;
      if (error != 0) setRegister(pid_, kResult, static_cast<unsigned long long>(call.result));
      call.number = original.number;
      after(call);
    }
    // The filter relies on finding its registers unchanged after the call.
    if (inCall && call.number != original.number)
      setRegister(pid_, kNumber, static_cast<unsigned long long>(call.number));
    for (int i = 0; i < 6; ++i) {
      if (call.arguments[i] != original.arguments[i])
        setRegister(pid_, kArguments[i], (inCall ? call : original).arguments[i]);
    }
  }
}

std::string TracedRun::memory(unsigned long long address, std::size_t size) const {
  std::string bytes(size, '\0');
  const std::string path = "/proc/" + std::to_string(pid_) + "/mem";
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t n = pread(file, bytes.data(), size, static_cast<off_t>(address));
  close(file);
  bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
  return bytes;
}

std::string TracedRun::opens(const SystemCall& call) const {
  return call.number == SYS_openat ? memory(call.arguments[1], 4096).c_str() : "";
}

std::string TracedRun::fileOf(const SystemCall& call) const {
  return "/proc/" + std::to_string(pid_) + "/fd/" + std::to_string(call.arguments[0]);
}

void TracedTest::SetUp() {
  if (!kKnown) GTEST_SKIP() << "system calls are traced on amd64 only";
  if (getenv("JOBSHAPER_TEST_WRAPPER")) GTEST_SKIP() << "the program runs in another one";
  const pid_t child = fork();
  if (child == 0) _exit(stopAtStartOfMain() ? 0 : 1);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0)
    GTEST_SKIP() << "this system does not let processes trace others (ptrace, seccomp)";
}

}  // namespace jobshaper::testing
