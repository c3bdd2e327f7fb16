// Starts a program as CUPS does, with arguments, environment and three pipes, and collects its
// output.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace jobshaper::testing {

// The result of a run.
struct Outcome {
  std::string out;      // standard output, every byte
  std::string err;      // standard error, every byte
  int exitStatus = -1;  // -1 when a signal ended the process
  int signal = 0;       // the signal that ended the process, or 0
};

// A new directory in TMPDIR, or in /tmp; removed at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }
  std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

 private:
  std::string path_;
};

// Returns the bytes of a file; for a missing one, fails the test and returns "".
std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, std::string_view bytes);

// Called in the new process before it executes the program, for example to set limits.
using BeforeExec = std::function<void()>;

class Job;

// A running process, whose input the test writes step by step.
class Process {
 public:
  explicit Process(const Job& job, const BeforeExec& beforeExec = nullptr);
  Process(const std::string& program, const std::vector<std::string>& argv,
          const std::map<std::string, std::string>& environment,
          const BeforeExec& beforeExec = nullptr);
  ~Process();  // kills the process if it is still running
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void write(std::string_view bytes);  // writes all of them, and reads output at the same time
  void closeInput();
  // Read until standard output (standard error) holds this many bytes in all, or this text; false
  // after 20 s without any.
  bool waitForOutput(std::size_t bytes) {
    return waitUntil([&] { return outcome_.out.size() >= bytes; });
  }
  bool waitForError(std::size_t bytes) {
    return waitUntil([&] { return outcome_.err.size() >= bytes; });
  }
  bool waitForOutputText(std::string_view text) {
    return waitUntil([&] { return outcome_.out.find(text) != std::string::npos; });
  }
  void closeOutput();  // closes the reading end of standard output
  void kill(int signal) { ::kill(pid_, signal); }
  pid_t pid() const { return pid_; }
  const std::string& out() const { return outcome_.out; }
  const std::string& err() const { return outcome_.err; }
  // Closes the input, reads both outputs to their end and waits; a process that
  // does not end within 60 s is killed and fails the test.
  Outcome finish();

 private:
  bool pump(int timeoutMs, std::string_view* pending);
  bool waitUntil(const std::function<bool()>& arrived);

  pid_t pid_ = -1;
  int in_ = -1;
  int out_ = -1;
  int err_ = -1;
  Outcome outcome_;
};

// One print job. Defaults: job id "42", user "ada", title "Title", copies "1", no options, job on
// standard input. The environment contains only DEVICE_URI "socket://printer" and TMPDIR, which is
// a new directory.
class Job {
 public:
  Job();

  Job& jobId(std::string value) { return argument(0, std::move(value)); }
  Job& user(std::string value) { return argument(1, std::move(value)); }
  Job& title(std::string value) { return argument(2, std::move(value)); }
  Job& copies(std::string value) { return argument(3, std::move(value)); }
  Job& options(std::string value) { return argument(4, std::move(value)); }
  Job& input(std::string bytes) { return set(input_, std::move(bytes)); }  // standard input
  Job& file(std::string path);                                             // argv[6]
  Job& fileWith(std::string_view bytes);  // argv[6], a new file outside TMPDIR
  // Replaces argv[1]...
  Job& arguments(std::vector<std::string> all) { return set(arguments_, std::move(all)); }
  // The system version for jobshaperAt: "0x1049" or "failed". Without this call, the program is
  // jobshaper itself.
  Job& version(std::string value) { return set(version_, std::move(value)); }
  // The program is jobshaper-queue.
  Job& queue() { return set(queue_, true); }
  Job& env(const std::string& name, std::string value) {
    return set(environment_[name], std::move(value));
  }
  Job& unsetEnv(const std::string& name) {
    environment_.erase(name);
    return *this;
  }
  Job& asanOption(const std::string& option);  // used only in builds with the address sanitizer
  // Loads a library of tests/support/ into the program, before the C library.
  Job& preload(const std::string& library);
  Job& ppd(std::string_view text);  // PPD names a new file with this text
  Job& capture();                   // puts the capture marker into TMPDIR
  // Turns on the diagnostic log: writes the settings file into TMPDIR. The debug file is
  // TMPDIR/"debug.log".
  Job& log(int level, int module = 1);

  const std::string& tmp() const { return tmp_->path(); }
  std::string tmpFile(std::string_view name) const { return tmp_->file(name); }
  const std::map<std::string, std::string>& environment() const { return environment_; }
  const std::string& input() const { return input_; }
  std::vector<std::string> argv() const;
  const std::string& program() const;

  Outcome run(const BeforeExec& beforeExec = nullptr) const;

 private:
  template <typename Member, typename Value>
  Job& set(Member& member, Value value) {
    member = std::move(value);
    return *this;
  }
  Job& argument(std::size_t index, std::string value) {
    return set(arguments_.at(index), std::move(value));
  }

  std::vector<std::string> arguments_{"42", "ada", "Title", "1", ""};
  std::optional<std::string> version_;
  bool queue_ = false;
  std::map<std::string, std::string> environment_;
  std::string input_;
  std::shared_ptr<TemporaryDirectory> tmp_;
  std::shared_ptr<TemporaryDirectory> other_;
};

// The bytes of a literal, including zero bytes, at which a string_view of it would end.
template <std::size_t n>
std::string bytes(const char (&literal)[n]) {
  return std::string(literal, n - 1);
}

// Appends a view to a string, which C++20 lacks.
inline std::string operator+(std::string left, std::string_view right) {
  return left.append(right);
}

// The host name in the header's QJOBINFO line on this machine.
std::string hostName();
// The header of this user's job, with `name` in the USERNAME line and these lines after it.
std::string headerOf(std::string_view user, std::string_view userName, std::string_view lines);
// The header of ada's job with these lines before the switch to PostScript.
std::string headerWith(std::string_view lines);
// The seven header lines of a job without options.
std::string plainHeader(std::string_view user = "ada");
// "\x1b%-12345X"
inline constexpr std::string_view kUel = "\x1b%-12345X";
// The trailer of every job with PJL wrapping.
std::string trailer();
// Standard error of a run with the capture marker, after the "tmp at" lines.
inline constexpr std::string_view kCaptureOn = "INFO: Logging enabled by the user.\n";
// Standard error of a run for an AppleTalk printer.
inline constexpr std::string_view kAppleTalk = "[tarvel] this is an Appletalk connection\n";
// The first two lines on standard error of every run with the right number of arguments.
std::string tmpLines(const Job& job);
// A debug file with process ids, times and source lines masked: "AI######\t[time]\tmain\tL#\t{".
std::string maskLog(const std::string& log);
// Makes a record of a masked debug file.
std::string logRecord(std::string_view function, std::string_view message);
// The records "{" and "}" of a function that writes no others.
std::string logBraces(std::string_view function);
// Runs the job with the diagnostic log and returns its masked debug file.
std::string maskedLogOf(Job job);
// The part of maskedLogOf(job) after the last line of the header.
std::string logAfterHeader(const Job& job);

// The line of the test that called a check, which failures show.
struct Where {
  static Where here(const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return {file, line};
  }
  const char* file;
  int line;
};

// Fails unless both are the same. A failure shows `what` differs and `of` which input, and where
// the first difference is.
void expectSame(std::string_view actual, std::string_view expected, std::string_view what,
                std::string_view of, Where where = Where::here());

// Checks everything that a run produced, if no signal ended it.
void expectOutcome(const Outcome& outcome, std::string_view out, std::string_view err,
                   int status = 0, std::string_view of = "", Where where = Where::here());

// Runs the job and checks everything that it produces: standard output, and standard error
// after the "tmp at" lines.
void expectRun(const Job& job, std::string_view out, std::string_view messages = "", int status = 0,
               Where where = Where::here());
// The same for a job with the plain header.
void expectBody(const Job& job, std::string_view body, Where where = Where::here());
void expectBody(std::string input, std::string_view body, Where where = Where::here());
void expectUnchanged(const std::string& input, Where where = Where::here());

// The input of a job, and the output between header and trailer.
struct JobRow {
  std::string input, body;
};

}  // namespace jobshaper::testing
