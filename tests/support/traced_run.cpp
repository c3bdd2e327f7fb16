#include "tests/support/traced_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "tests/support/pipe.h"

namespace jobshaper::testing {

namespace {

constexpr int kPipe = 1024 * 1024;
constexpr int kMostCalls = 100000;
constexpr int kSeconds = 20;

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  for (std::string& s : strings) result.push_back(s.data());
  result.push_back(nullptr);
  return result;
}

#if defined(__x86_64__)

bool skipCall(pid_t pid) {
  return ptrace(PTRACE_POKEUSER, pid, offsetof(user, regs.orig_rax), -1L) == 0;
}

bool setResult(pid_t pid, long result) {
  return ptrace(PTRACE_POKEUSER, pid, offsetof(user, regs.rax), result) == 0;
}

constexpr bool kKnown = true;

#else

bool skipCall(pid_t) { return false; }
bool setResult(pid_t, long) { return false; }

constexpr bool kKnown = false;

#endif

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
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

constexpr int kStartOfMain = SIGTRAP | (PTRACE_EVENT_SECCOMP << 8);

// Ends a wait for a process that hangs.
class Alarm {
 public:
  Alarm() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &before_);
    const itimerval time{{1, 0}, {kSeconds, 0}};
    setitimer(ITIMER_REAL, &time, nullptr);
  }
  ~Alarm() {
    const itimerval none{};
    setitimer(ITIMER_REAL, &none, nullptr);
    sigaction(SIGALRM, &before_, nullptr);
  }
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

 private:
  struct sigaction before_ {};
};

}  // namespace

std::string TracedRun::obstacle() {
  if (!kKnown) return "system calls are traced on amd64 only";
  if (getenv("JOBSHAPER_TEST_WRAPPER")) return "the program runs in another one";
  const pid_t child = fork();
  if (child == 0)
    _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 && stopAtStartOfMain() ? 0 : 1);
  int status = 0;
  waitpid(child, &status, 0);
  return status == 0 ? "" : "this system does not let processes trace others (ptrace, seccomp)";
}

TracedRun::TracedRun(std::string program, std::vector<std::string> argv,
                     std::map<std::string, std::string> environment)
    : program_(std::move(program)), argv_(std::move(argv)), environment_(std::move(environment)) {
  std::string& options = environment_["ASAN_OPTIONS"];
  options += (options.empty() ? "" : ":") +
             std::string("detect_leaks=0");  // leak detection uses ptrace, too
}

Outcome TracedRun::run(std::string_view input) {
  Pipe in(kPipe), out(kPipe), err(kPipe);
  in.put(input);
  in.closeWriting();
  std::vector<std::string> variables;
  for (const auto& [name, value] : environment_) variables.push_back(name + "=" + value);
  const std::vector<char*> argv = pointers(argv_);
  const std::vector<char*> environment = pointers(variables);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(in.reading(), 0);
    dup2(out.writing(), 1);
    dup2(err.writing(), 2);
    signal(SIGPIPE, SIG_DFL);
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    if (stopAtStartOfMain()) execve(program_.c_str(), argv.data(), environment.data());
    _exit(127);
  }
  trace();
  Outcome outcome;
  out.closeWriting();
  err.closeWriting();
  outcome.out = out.take();
  outcome.err = err.take();
  if (WIFEXITED(status_)) outcome.exitStatus = WEXITSTATUS(status_);
  if (WIFSIGNALED(status_)) outcome.signal = WTERMSIG(status_);
  return outcome;
}

void TracedRun::trace() {
  const Alarm alarm;
  calls_ = 0;
  hung_ = false;
  bool started = false, inMain = false, inCall = false;
  int error = 0;
  SystemCall call;
  for (;;) {
    if (waitpid(pid_, &status_, 0) < 0 || calls_ > kMostCalls) {
      hung_ = true;
      kill(pid_, SIGKILL);
      waitpid(pid_, &status_, 0);
      return;
    }
    if (!WIFSTOPPED(status_)) return;
    long signal = 0;
    if (!started) {
      started = true;
      ptrace(PTRACE_SETOPTIONS, pid_, nullptr,
             PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACESECCOMP | PTRACE_O_EXITKILL);
    } else if (WSTOPSIG(status_) == (SIGTRAP | 0x80) || (!inMain && status_ >> 8 == kStartOfMain)) {
      inMain = true;
      __ptrace_syscall_info info{};
      ptrace(PTRACE_GET_SYSCALL_INFO, pid_, sizeof info, &info);
      if (info.op == PTRACE_SYSCALL_INFO_EXIT) {
        call.result = error != 0 ? -error : info.exit.rval;
        EXPECT_TRUE(error == 0 || setResult(pid_, -error));
        after(call);
        inCall = false;
      } else {
        // The information begins like that of a call that the kernel's filter stopped.
        call.number = static_cast<long>(info.entry.nr);
        for (int i = 0; i < 6; ++i) call.arguments[i] = info.entry.args[i];
        atCall(call, error);
        inCall = true;
      }
    } else if (WSTOPSIG(status_) != SIGTRAP) {  // execve also causes a SIGTRAP
      signal = WSTOPSIG(status_);
    }
    const bool stops = inMain && calls_ <= lastIndex;
    ptrace(stops || inCall ? PTRACE_SYSCALL : PTRACE_CONT, pid_, nullptr, signal);
  }
}

void TracedRun::atCall(SystemCall& call, int& error) {
  call.index = calls_++;
  error = before(call);
  EXPECT_TRUE(error == 0 || skipCall(pid_));
}

std::string TracedRun::pathOf(const SystemCall& call) const {
  unsigned long long address = 0;
  switch (call.number) {
    case SYS_openat:
    case SYS_newfstatat:
    case SYS_unlinkat:
      address = call.arguments[1];
      break;
#if defined(SYS_open)
    case SYS_open:
    case SYS_stat:
    case SYS_lstat:
    case SYS_access:
    case SYS_unlink:
      address = call.arguments[0];
      break;
#endif
    default:
      return "";
  }
  std::string path;
  for (;; address += sizeof(long)) {
    errno = 0;
    const long word = ptrace(PTRACE_PEEKDATA, pid_, address, nullptr);
    if (errno != 0) return path;
    char bytes[sizeof word];
    std::memcpy(bytes, &word, sizeof word);
    for (const char c : bytes) {
      if (c == '\0') return path;
      path += c;
    }
  }
}

}  // namespace jobshaper::testing
