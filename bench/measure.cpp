// Runs one command between a producer and a consumer and prints what it cost.
//
//   measure pipe|file JOB BYTES COMMAND [ARGUMENT ...]
//
// "pipe": a producer writes the job to the command's standard input. "file": standard input is the
// job's file. The command's standard output is a pipe, which is read and discarded. If BYTES is
// above 0, the producer repeats the job until it has written that many. Prints one line: wall
// seconds, CPU seconds, peak memory in KiB, wait status, bytes of output.
//
// Producer and consumer are simple loops with pipes of the default size, the same for every
// command. The program is small and linked statically, because the kernel counts the memory of the
// process that starts a command as the command's own.

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kBlock = 65536;  // capacity of a pipe of the default size

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(2);
}

double seconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

int openJob(const char* path) {
  const int job = open(path, O_RDONLY | O_CLOEXEC);
  if (job < 0) fail(path);
  return job;
}

// Writes the job from memory, so that reading it is not measured. Ends the process.
[[noreturn]] void produce(const char* path, int output, long long atLeast) {
  const int job = openJob(path);
  struct stat status {};
  if (fstat(job, &status) != 0) fail("fstat");
  const auto size = static_cast<std::size_t>(status.st_size);
  const auto* const bytes =
      static_cast<const char*>(mmap(nullptr, size, PROT_READ, MAP_SHARED | MAP_POPULATE, job, 0));
  if (bytes == MAP_FAILED) fail("mmap");
  long long written = 0;
  do {
    for (std::size_t at = 0; at < size;) {
      const ssize_t n = write(output, bytes + at, std::min(kBlock, size - at));
      if (n < 0) fail("the command stopped reading");
      at += static_cast<std::size_t>(n);
    }
    written += static_cast<long long>(size);
  } while (written < atLeast);
  _exit(0);
}

// Waits until the producer is blocked, so that its start is not measured.
void awaitFullPipe(int pipe, const char* path) {
  struct stat status {};
  if (stat(path, &status) != 0) fail(path);
  const auto expected = static_cast<int>(std::min<long long>(status.st_size, kBlock));
  for (int waiting = 0; waiting < expected; usleep(100)) {
    if (ioctl(pipe, FIONREAD, &waiting) != 0) fail("FIONREAD");
  }
}

struct Pipe {
  int readEnd, writeEnd;
};

Pipe makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
  return {ends[0], ends[1]};
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 5) {
    std::fputs("usage: measure pipe|file JOB BYTES COMMAND [ARGUMENT ...]\n", stderr);
    return 2;
  }
  const bool throughPipe = std::strcmp(argv[1], "pipe") == 0;
  const char* const path = argv[2];
  const long long atLeast = std::atoll(argv[3]);
  char** const command = argv + 4;

  const Pipe out = makePipe();
  int input;
  pid_t producer = -1;
  if (throughPipe) {
    const Pipe in = makePipe();
    producer = fork();
    if (producer < 0) fail("fork");
    if (producer == 0) {
      close(in.readEnd);
      produce(path, in.writeEnd, atLeast);
    }
    close(in.writeEnd);
    input = in.readEnd;
    awaitFullPipe(input, path);
  } else {
    input = openJob(path);
  }

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out.writeEnd, STDOUT_FILENO);
  const double begin = seconds();
  pid_t child = -1;
  errno = posix_spawnp(&child, command[0], &actions, nullptr, command, environ);
  if (errno != 0) fail(command[0]);
  close(input);
  close(out.writeEnd);

  static char block[kBlock];
  long long received = 0;
  ssize_t n;
  while ((n = read(out.readEnd, block, sizeof block)) > 0) received += n;
  if (n < 0) fail("read");
  int status = 0;
  rusage usage{};
  while (wait4(child, &status, 0, &usage) < 0) {
    if (errno != EINTR) fail("wait4");
  }
  const double end = seconds();

  if (producer > 0) {
    // A command that does not read the whole job has not done the work.
    int produced = 0;
    waitpid(producer, &produced, 0);
    if (produced != 0 && status == 0) status = produced;
  }
  std::printf("%.9f %.6f %ld %d %lld\n", end - begin,
              seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss, status, received);
  return 0;
}
