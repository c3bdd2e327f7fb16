// Takes the place of a filter: records how it was started, and then executes the program of the
// same name in the subdirectory "real". In the subdirectory "records" it writes, for job 42 of
// jobshaper, the files
//   42.jobshaper.argv         the arguments, each ended by a zero byte
//   42.jobshaper.environment  the environment, in the same form
//   42.jobshaper.input        standard input
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::_Exit(99);
}

void writeStrings(const std::string& path, char** strings) {
  std::ofstream file(path, std::ios::binary);
  for (; *strings; ++strings) file << *strings << '\0';
  if (!file.flush()) fail(path.c_str());
}

// Copies standard input to its end into a file, and to `next` as long as that is read.
void recordInput(const std::string& path, int next) {
  std::ofstream file(path, std::ios::binary);
  char buffer[65536];
  bool isRead = true;
  for (ssize_t size; (size = ::read(STDIN_FILENO, buffer, sizeof buffer)) > 0;) {
    file.write(buffer, size).flush();
    for (ssize_t at = 0, n = 0; isRead && at < size; at += n) {
      n = ::write(next, buffer + at, static_cast<std::size_t>(size - at));
      isRead = n > 0;
    }
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  umask(0);  // the user who started the scheduler must be able to read the records
  const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe");
  const std::string name = own.filename();
  const std::string record =
      own.parent_path() / "records" / (std::string(argc > 1 ? argv[1] : "none") + "." + name + ".");
  writeStrings(record + "argv", argv);
  writeStrings(record + "environment", environ);

  int job[2];
  if (pipe2(job, O_CLOEXEC) != 0) fail("pipe2");
  const pid_t child = fork();
  if (child < 0) fail("fork");
  if (child == 0) {
    // Survives the cancellation of the job, and closes everything that other processes wait for.
    signal(SIGTERM, SIG_IGN);
    signal(SIGPIPE, SIG_IGN);
    for (int i = 1; i < 64; ++i) {
      if (i != job[1]) ::close(i);
    }
    recordInput(record + "input", job[1]);
    std::_Exit(0);
  }
  dup2(job[0], STDIN_FILENO);
  umask(077);
  const std::string real = own.parent_path() / "real" / name;
  ::execv(real.c_str(), argv);
  fail(real.c_str());
}
