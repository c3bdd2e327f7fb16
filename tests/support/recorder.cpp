// Takes the place of a filter: records how it was started, and then executes the program of the
// same name in the subdirectory "real", if there is one. In the subdirectory "records" it writes,
// for job 42 of jobshaper, the files
//   42.jobshaper.argv         the arguments, each ended by a zero byte
//   42.jobshaper.environment  the environment, in the same form
//   42.jobshaper.files        the numbers of the open files, each ended by a zero byte
//   42.jobshaper.input        standard input
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::_Exit(99);
}

int create(const std::string& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) fail(path.c_str());
  return file;
}

// Returns false if the reader has closed its end.
bool writeAll(int file, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(file, bytes, size);
    if (n < 0) return false;
    bytes += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

void writeStrings(const std::string& path, char** strings) {
  const int file = create(path);
  for (; *strings; ++strings) writeAll(file, *strings, std::strlen(*strings) + 1);
  ::close(file);
}

void writeOpenFiles(const std::string& path) {
  std::string numbers;
  DIR* const directory = ::opendir("/proc/self/fd");
  if (!directory) fail("/proc/self/fd");
  while (const dirent* const entry = ::readdir(directory)) {
    const std::string name = entry->d_name;
    if (name[0] == '.' || name == std::to_string(::dirfd(directory))) continue;
    numbers.append(name).push_back('\0');
  }
  ::closedir(directory);
  const int file = create(path);
  writeAll(file, numbers.data(), numbers.size());
  ::close(file);
}

// Copies standard input to its end, and also to `next`, if there is one, as long as it reads.
void recordInput(const std::string& path, int next) {
  const int file = create(path);
  char buffer[65536];
  for (ssize_t n; (n = ::read(STDIN_FILENO, buffer, sizeof buffer)) > 0;) {
    const auto size = static_cast<std::size_t>(n);
    writeAll(file, buffer, size);
    if (next >= 0 && !writeAll(next, buffer, size)) next = -1;
  }
  ::close(file);
}

}  // namespace

int main(int argc, char* argv[]) {
  umask(0);  // the user who started the scheduler must be able to read the records
  char own[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", own, sizeof own);
  if (length <= 0) fail("/proc/self/exe");
  const std::string path(own, static_cast<std::size_t>(length));
  const std::string directory = path.substr(0, path.rfind('/'));
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::string record =
      directory + "/records/" + (argc > 1 ? argv[1] : "none") + "." + name + ".";
  const std::string real = directory + "/real/" + name;

  writeStrings(record + "argv", argv);
  writeStrings(record + "environment", environ);
  writeOpenFiles(record + "files");

  if (::access(real.c_str(), X_OK) != 0) {
    recordInput(record + "input", -1);
    return 0;
  }
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
  ::execv(real.c_str(), argv);
  fail(real.c_str());
}
