#include "tests/support/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>

#include "tests/support/log_settings.h"

namespace jobshaper::testing {

namespace {

// A program of another build can take the place of the one that the tests were built with.
std::string fromEnvironment(const char* variable, const char* otherwise) {
  const char* const value = getenv(variable);
  return value ? value : otherwise;
}

// Read at the start, because some tests change the variable.
const std::string kTemporaryDirectory = fromEnvironment("TMPDIR", "/tmp");

// Messages from libraries in the test's own process do not depend on the user's language.
const bool kInNoLanguage = [] {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANGUAGE", "LANG"}) unsetenv(name);
  return true;
}();

// The log's settings are ignored if others can write them.
const mode_t kFormerMask = umask(022);

using Clock = std::chrono::steady_clock;

void closeIfOpen(int& descriptor) {
  if (descriptor >= 0) ::close(descriptor);
  descriptor = -1;
}

std::vector<char*> pointers(const std::vector<std::string>& strings) {
  std::vector<char*> result;
  result.reserve(strings.size() + 1);
  for (const std::string& s : strings) result.push_back(const_cast<char*>(s.c_str()));
  result.push_back(nullptr);
  return result;
}

// Starts a program with a default SIGPIPE, as the scheduler starts its filters. Unlike fork(),
// copies none of the memory of the tests, which takes longer than a job.
pid_t spawn(const char* executable, char* const* argv, char* const* environment,
            const int (&streams)[3]) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int i = 0; i < 3; ++i) posix_spawn_file_actions_adddup2(&actions, streams[i], i);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t pid = -1;
  const int error = posix_spawn(&pid, executable, &actions, &attributes, argv, environment);
  if (error != 0) ADD_FAILURE() << executable << ": " << strerror(error);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? pid : -1;
}

// A command that runs the program under test: JOBSHAPER_TEST_WRAPPER, words between vertical bars.
// "{name}" among them becomes the name by which the program is to be started.
std::vector<std::string> wrapper(const std::string& name) {
  std::vector<std::string> words;
  std::istringstream command(fromEnvironment("JOBSHAPER_TEST_WRAPPER", JOBSHAPER_TEST_EMULATOR));
  for (std::string word; std::getline(command, word, '|');) {
    words.push_back(word == "{name}" ? name : word);
  }
  return words;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = kTemporaryDirectory + "/jobshaper-test-XXXXXX";
  if (!mkdtemp(pattern.data())) ADD_FAILURE() << "mkdtemp: " << strerror(errno);
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
  std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) ADD_FAILURE() << "cannot read " << path;
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void writeFile(const std::filesystem::path& path, std::string_view bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) ADD_FAILURE() << "cannot write " << path;
}

Process::Process(const Job& job, const BeforeExec& beforeExec)
    : Process(job.program(), job.argv(), job.environment(), beforeExec) {}

Process::Process(const std::string& program, const std::vector<std::string>& argv,
                 const std::map<std::string, std::string>& environment,
                 const BeforeExec& beforeExec) {
  // A child that leaves early must not end the test by SIGPIPE.
  ::signal(SIGPIPE, SIG_IGN);
  int in[2], out[2], err[2];
  if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC)) {
    ADD_FAILURE() << "pipe2: " << strerror(errno);
    return;
  }
  std::vector<std::string> variables;
  variables.reserve(environment.size());
  for (const auto& [name, value] : environment) variables.push_back(name + "=" + value);
  std::vector<std::string> words = wrapper(argv.front());
  const bool wrapped = !words.empty();
  if (wrapped) words.push_back(program);
  words.insert(words.end(), argv.begin() + (wrapped ? 1 : 0), argv.end());
  const std::vector<char*> argvPointers = pointers(words);
  const char* const executable = wrapped ? words.front().c_str() : program.c_str();
  const std::vector<char*> envPointers = pointers(variables);
  const int streams[] = {in[0], out[1], err[1]};
  if (beforeExec) {
    pid_ = fork();
    if (pid_ == 0) {
      ::signal(SIGPIPE, SIG_DFL);
      for (int i = 0; i < 3; ++i) dup2(streams[i], i);
      beforeExec();
      execve(executable, argvPointers.data(), envPointers.data());
      _exit(127);
    }
  } else {
    pid_ = spawn(executable, argvPointers.data(), envPointers.data(), streams);
  }
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  in_ = in[1];
  out_ = out[0];
  err_ = err[0];
  fcntl(in_, F_SETFL, O_NONBLOCK);
}

Process::~Process() {
  closeIfOpen(in_);
  closeIfOpen(out_);
  closeIfOpen(err_);
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

// One round of poll: reads what there is and writes what it can of `pending`. False when
// nothing happened within the time or nothing is left to wait for.
bool Process::pump(int timeoutMs, std::string_view* pending) {
  pollfd fds[3] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}, {-1, POLLOUT, 0}};
  if (pending && !pending->empty()) fds[2].fd = in_;
  if (fds[0].fd < 0 && fds[1].fd < 0 && fds[2].fd < 0) return false;
  if (::poll(fds, 3, timeoutMs) <= 0) return false;
  const auto readInto = [](int& descriptor, std::string& text) {
    char buffer[65536];
    const ssize_t n = ::read(descriptor, buffer, sizeof buffer);
    if (n > 0) {
      text.append(buffer, static_cast<std::size_t>(n));
    } else {
      closeIfOpen(descriptor);
    }
  };
  if (fds[0].revents) readInto(out_, outcome_.out);
  if (fds[1].revents) readInto(err_, outcome_.err);
  if (pending && fds[2].revents) {
    const ssize_t n = ::write(in_, pending->data(), pending->size());
    if (n >= 0) {
      pending->remove_prefix(static_cast<std::size_t>(n));
    } else if (errno != EAGAIN) {
      *pending = {};  // the reader has left
      closeIfOpen(in_);
    }
  }
  return true;
}

void Process::write(std::string_view bytes) {
  while (!bytes.empty() && in_ >= 0) {
    if (!pump(20000, &bytes)) {
      ADD_FAILURE() << "the program reads no more input";
      return;
    }
  }
}

void Process::closeInput() { closeIfOpen(in_); }
void Process::closeOutput() { closeIfOpen(out_); }

bool Process::waitUntil(const std::function<bool()>& arrived) {
  while (!arrived()) {
    if (!pump(20000, nullptr)) return false;
  }
  return true;
}

Outcome Process::finish() {
  closeInput();
  const auto deadline = Clock::now() + std::chrono::seconds(60);
  while (out_ >= 0 || err_ >= 0) {
    pump(1000, nullptr);
    if (Clock::now() > deadline) {
      ADD_FAILURE() << "the program does not end";
      ::kill(pid_, SIGKILL);
      break;
    }
  }
  int status = 0;
  if (pid_ > 0) waitpid(pid_, &status, 0);
  pid_ = -1;
  if (WIFEXITED(status)) outcome_.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) outcome_.signal = WTERMSIG(status);
  return outcome_;
}

Job::Job()
    : tmp_(std::make_shared<TemporaryDirectory>()), other_(std::make_shared<TemporaryDirectory>()) {
  environment_["TMPDIR"] = tmp_->path();
  environment_["DEVICE_URI"] = "socket://printer";
  // Sanitizer builds read their settings from the environment.
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
    if (const char* value = getenv(name)) environment_[name] = value;
  }
  // A locale in which all jobs are to be run.
  if (const char* locale = getenv("JOBSHAPER_TEST_LOCALE")) {
    environment_["LC_ALL"] = locale;
    if (const char* directory = getenv("LOCPATH")) environment_["LOCPATH"] = directory;
  }
}

Job& Job::file(std::string path) {
  arguments_.resize(5);
  arguments_.push_back(std::move(path));
  return *this;
}
Job& Job::fileWith(std::string_view bytes) {
  const std::string path = other_->file("job.ps");
  writeFile(path, bytes);
  return file(path);
}
Job& Job::asanOption(const std::string& option) {
  std::string& options = environment_["ASAN_OPTIONS"];
  options += (options.empty() ? "" : ":") + option;
  return *this;
}
Job& Job::preload(const std::string& library) {
  asanOption("verify_asan_link_order=0");
  // A name without its path, because a blank in LD_PRELOAD separates libraries.
  return env("LD_PRELOAD", "lib" + library + ".so").env("LD_LIBRARY_PATH", PRELOAD_DIRECTORY);
}
Job& Job::ppd(std::string_view text) {
  const std::string path = other_->file("printer.ppd");
  writeFile(path, text);
  return env("PPD", path);
}
Job& Job::capture() {
  writeFile(tmpFile("qvn_log"), "");
  return *this;
}
Job& Job::log(int level, int module) {
  writeFile(tmpFile(kLogSettings), propertyList(logEntry(integer(std::to_string(level)),
                                                         integer(std::to_string(module)))));
  return *this;
}

std::vector<std::string> Job::argv() const {
  std::vector<std::string> result{"Quorvan_Office"};  // CUPS passes the queue's name
  if (version_) result.push_back(*version_);
  result.insert(result.end(), arguments_.begin(), arguments_.end());
  return result;
}

const std::string& Job::program() const {
  static const std::string plain = fromEnvironment("JOBSHAPER_TEST_PROGRAM", JOBSHAPER_PROGRAM);
  static const std::string at = fromEnvironment("JOBSHAPER_TEST_AT_PROGRAM", JOBSHAPER_AT_PROGRAM);
  static const std::string queue =
      fromEnvironment("JOBSHAPER_TEST_QUEUE_PROGRAM", JOBSHAPER_QUEUE_PROGRAM);
  return queue_ ? queue : version_ ? at : plain;
}

Outcome Job::run(const BeforeExec& beforeExec) const {
  Process process(*this, beforeExec);
  process.write(input_);
  return process.finish();
}

std::string hostName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) ADD_FAILURE() << "gethostname: " << strerror(errno);
  return name;
}

std::string headerOf(std::string_view user, std::string_view userName, std::string_view lines) {
  return std::string(kUel) +
         "@PJL JOB\n"
         "@PJL COMMENT Quorvan Macintosh driver\n"
         "@PJL SET STRINGCODESET = UTF8\n"
         "@PJL QJOBINFO USERID = \"" +
         user + "\" HOSTID = \"" + hostName() +
         "\"\n"
         "@PJL SET JOBNAME = \"\"\n"
         "@PJL SET USERNAME = \"" +
         userName + "\"\n" + lines + "@PJL ENTER LANGUAGE = POSTSCRIPT\n";
}

std::string headerWith(std::string_view lines) { return headerOf("ada", "ada", lines); }
std::string plainHeader(std::string_view user) { return headerOf(user, user, ""); }

std::string trailer() {
  const std::string uel(kUel);
  return uel + uel + "@PJL RDYMSG DISPLAY = \"\"\n@PJL EOJ\n@PJL QPORTROTATE\n" + uel;
}

std::string tmpLines(const Job& job) {
  const std::string line = "tmp at " + job.environment().at("TMPDIR") + " \n";
  return line + line;
}

std::string maskLog(const std::string& log) {
  static const std::regex start("^(..).{6}\t\\[.{12}\\](\t[^\t\n]*\tL)\\d+", std::regex::multiline);
  return std::regex_replace(log, start, "$1######\t[time]$2#");
}

std::string logRecord(std::string_view function, std::string_view message) {
  return std::string("AI######\t[time]\t") + function + "\tL#\t" + message + "\n";
}

std::string logBraces(std::string_view function) {
  return logRecord(function, "{") + logRecord(function, "}");
}

std::string maskedLogOf(Job job) {
  std::filesystem::remove(job.tmpFile("debug.log"));
  job.log(1).run();
  return maskLog(readFile(job.tmpFile("debug.log")));
}

std::string logAfterHeader(const Job& job) {
  const std::string log = maskedLogOf(job);
  const std::string last = logRecord("main", "@PJL ENTER LANGUAGE = POSTSCRIPT\n");
  const std::size_t at = log.find(last);
  return at == std::string::npos ? "no header in the log:\n" + log : log.substr(at + last.size());
}

namespace {

// The start of a text, without control characters.
std::string excerpt(std::string_view text, std::size_t length) {
  const std::string shown = ::testing::PrintToString(std::string(text.substr(0, length)));
  return text.size() > length ? shown + "... (" + std::to_string(text.size()) + " bytes)" : shown;
}

std::string described(const Job& job) {
  std::string text;
  for (const std::string& argument : job.argv()) text += excerpt(argument, 200) + " ";
  for (const auto& [name, value] : job.environment()) {
    if (name != "TMPDIR") text += name + "=" + value + " ";
  }
  return text + "\ninput " + excerpt(job.input(), 300);
}

}  // namespace

void expectSame(std::string_view actual, std::string_view expected, std::string_view what,
                std::string_view of, Where where) {
  if (actual == expected) return;
  const auto [end, expectedEnd] =
      std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
  const auto at = static_cast<std::size_t>(end - actual.begin());
  ADD_FAILURE_AT(where.file, where.line)
      << what << " of " << of << "\n  is        " << excerpt(actual, 1500) << "\n  should be "
      << excerpt(expected, 1500) << "\nFrom byte " << at << ":\n  is        "
      << excerpt(actual.substr(at), 200) << "\n  should be " << excerpt(expected.substr(at), 200);
}

void expectOutcome(const Outcome& outcome, std::string_view out, std::string_view err, int status,
                   std::string_view of, Where where) {
  expectSame(outcome.out, out, "standard output", of, where);
  expectSame(outcome.err, err, "standard error", of, where);
  if (outcome.exitStatus != status || outcome.signal != 0) {
    ADD_FAILURE_AT(where.file, where.line)
        << "exit status " << outcome.exitStatus << " of " << of << " should be " << status
        << "; signal " << outcome.signal;
  }
}

void expectRun(const Job& job, std::string_view out, std::string_view messages, int status,
               Where where) {
  expectOutcome(job.run(), out, tmpLines(job) + messages, status, described(job), where);
}

void expectBody(const Job& job, std::string_view body, Where where) {
  expectRun(job, plainHeader() + body + trailer(), "", 0, where);
}

void expectBody(std::string input, std::string_view body, Where where) {
  expectBody(Job().input(std::move(input)), body, where);
}

void expectUnchanged(const std::string& input, Where where) { expectBody(input, input, where); }

}  // namespace jobshaper::testing
