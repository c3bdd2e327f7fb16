#include "tests/reference/comparison.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <vector>

#include "booklet/manual_booklet.h"
#include "filter/job_filter.h"
#include "filter/pjl_wrapping.h"
#include "fuzz/support.h"
#include "platform/system.h"
#include "tests/reference/reference_reordering.h"

// Reads from standard input get no more than this, because the linker calls the function below in
// place of read() (--wrap).
static std::size_t largestRead = SIZE_MAX;
extern "C" ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
extern "C" ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size);
extern "C" ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
  return __real_read(descriptor, buffer,
                     descriptor == STDIN_FILENO ? std::min(size, largestRead) : size);
}

namespace jobshaper::reference {
namespace {

// What a run leaves, by name.
using Results = std::map<std::string, std::string>;

std::string optionString(const JobParameters& job) {
  std::string options;
  for (const auto& [name, value] : job.options) {
    options += name + "=";
    for (const char c : value) options += c == ' ' ? "<20>" : std::string(1, c);
    options += " ";
  }
  if (job.pageCountFile) {
    fuzz::writeFile(fuzz::fileInDirectory("count"), *job.pageCountFile);
    options += "QVBookletPageCountFilename=" + fuzz::fileInDirectory("count");
  }
  return options;
}

// The header of the job, with a line for this number of copies, if any.
std::string headerLines(const JobParameters& job, std::optional<std::int32_t> copies) {
  JobState state;
  state.jobOptions.initWithOptionString(optionString(job).c_str());
  createHeader(state, "ada");
  if (copies) state.pjlHeader.insertNumCopies(*copies);
  std::string lines;
  for (const std::string& line : state.pjlHeader.objectEnumerator()) lines += line;
  return lines;
}

Results expectedResults(const JobParameters& job) {
  const ReferenceOutput expected = runReference(job);
  const std::string header = expected.pjl ? headerLines(job, expected.copies) : "";
  Results results = {
      {"the exit status", "0"},
      {"standard output", header + expected.printed},
      {"standard error",
       (job.capture ? "INFO: Logging enabled by the user.\n" : "") + expected.messages}};
  if (job.capture) {
    results["the file qvn_log"] = "";
    results["the file qvn_ps"] = expected.captureIn;
    results["the file qvn_ps2"] = header + expected.captureOut;
  }
  return results;
}

// Creates the files that the filter reads, and its empty temporary directory.
std::string prepare(const JobParameters& job) {
  [[maybe_unused]] static const bool installed = [] {
    for (const auto& [language, page] : instructionPages()) {
      const std::string name = fuzz::fileInDirectory(language + ".lproj");
      std::filesystem::create_directory(name);
      fuzz::writeFile(name + "/instruction(null)", page);
    }
    fuzz::writeFile(fuzz::fileInDirectory("ppd"), "*QvnManualBooklet: \"True\"\n");
    return true;
  }();
  std::string temporary = fuzz::fileInDirectory("tmp");
  std::filesystem::create_directory(temporary);
  if (job.capture) fuzz::writeFile(temporary + "/qvn_log", "");
  fuzz::setVariable("TMPDIR", temporary);
  fuzz::setVariable("PPD",
                    job.manualPpd ? std::optional(fuzz::fileInDirectory("ppd")) : std::nullopt);
  fuzz::setVariable("DEVICE_URI", job.deviceUri);
  fuzz::setVariable("LANG", job.language);
  return temporary;
}

Results actualResults(const RandomJob& random) {
  static fuzz::MemoryFile printed;
  static fuzz::MemoryFile messages;
  const JobParameters& job = random.job;
  const std::string temporary = prepare(job);
  System system;
  system.version = job.version;
  system.instructionDirectory = fuzz::directory();
  std::vector<std::string> arguments = {"jobshaper",      "42", "ada", "Title", job.copiesArgument,
                                        optionString(job)};
  const std::vector<char*> argv = fuzz::argvOf(arguments);

  Results results;
  {
    const fuzz::StandardInput in(job.input, random.pipe);
    const fuzz::Redirected out(STDOUT_FILENO, printed.descriptor());
    const fuzz::Redirected err(STDERR_FILENO, messages.descriptor());
    // Only small jobs are read in very small parts; large ones would take too long.
    if (random.largestRead > 0) {
      largestRead = std::max(random.largestRead, job.input.size() / 100 + 1);
    }
    results["the exit status"] = std::to_string(filterJob(6, argv.data(), system));
    largestRead = SIZE_MAX;
  }
  results["standard output"] = printed.take();
  std::string said(messages.take());
  const std::string line = "tmp at " + temporary + " \n";
  for (std::size_t at = 0; (at = said.find(line)) != said.npos;) said.erase(at, line.size());
  results["standard error"] = said;
  for (const auto& file : std::filesystem::directory_iterator(temporary)) {
    results["the file " + file.path().filename().string()] = fuzz::readFile(file.path());
  }
  std::filesystem::remove_all(temporary);
  return results;
}

// Reports the results that differ, from a little before the first byte that does.
std::string report(const RandomJob& random, Results expected, Results actual) {
  std::string differing;
  for (const auto& [name, unused] : Results(actual)) expected.try_emplace(name, "(absent)");
  for (const auto& [name, bytes] : expected) {
    const std::string& other = actual.try_emplace(name, "(absent)").first->second;
    if (bytes == other) continue;
    const auto first = std::mismatch(bytes.begin(), bytes.end(), other.begin(), other.end()).first;
    const auto at = static_cast<std::size_t>(first - bytes.begin());
    const std::size_t begin = at - std::min<std::size_t>(at, 300);
    differing += name + " differs at byte " + std::to_string(at) + "; from byte " +
                 std::to_string(begin) + ", expected:\n" + literal(bytes.substr(begin, 2000)) +
                 "\nactual:\n" + literal(other.substr(begin, 2000)) + "\n";
  }
  return differing.empty() ? "" : describe(random) + differing;
}

}  // namespace

std::string differences(const RandomJob& random) {
  return report(random, expectedResults(random.job), actualResults(random));
}

std::string reorderingDifferences(const RandomJob& random,
                                  const std::optional<std::string>& orientation, bool onlyInside) {
  static fuzz::MemoryFile messages;
  const std::string temporary = prepare(random.job);
  const std::string output = temporary + "/output";
  version = random.job.version.value_or(0);
  int done = 0;
  {
    const fuzz::StandardInput in(random.job.input, random.pipe);
    const fuzz::Redirected err(STDERR_FILENO, messages.descriptor());
    done = manualBookletOrder(STDIN_FILENO, output, "42", orientation, onlyInside);
  }
  messages.take();
  const Results actual = {{"whether it was done", std::to_string(done)},
                          {"the reordered job", fuzz::readFile(output)}};
  std::filesystem::remove_all(temporary);
  return report(
      random,
      {{"whether it was done", "1"},
       {"the reordered job", reorder(random.job.input, orientation, onlyInside, version)}},
      actual);
}

RandomJob smallest(RandomJob random) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  const auto attempt = [&](const auto& change) {
    RandomJob smaller = random;
    change(smaller.job);
    if (std::chrono::steady_clock::now() > end || differences(smaller).empty()) return false;
    random = smaller;
    return true;
  };
  const auto options = random.job.options;
  for (const auto& option : options) {
    attempt([&](JobParameters& job) { job.options.erase(option.first); });
  }
  attempt([](JobParameters& job) { job.pageCountFile.reset(); });
  attempt([](JobParameters& job) { job.language.reset(); });
  attempt([](JobParameters& job) { job.capture = false; });
  attempt([](JobParameters& job) { job.manualPpd = false; });
  for (std::size_t size = random.job.input.size(); size > 0; size /= 2) {
    for (std::size_t at = 0; at < random.job.input.size();) {
      if (!attempt([&](JobParameters& job) { job.input.erase(at, size); })) at += size;
    }
  }
  return random;
}

}  // namespace jobshaper::reference
