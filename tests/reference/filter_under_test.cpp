#include "tests/reference/filter_under_test.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "booklet/manual_booklet.h"
#include "filter/job_filter.h"
#include "filter/job_state.h"
#include "filter/pjl_wrapping.h"
#include "platform/files.h"
#include "platform/system.h"

// Sends the reports of sanitizers to this file, because standard error is redirected.
extern "C" __attribute__((weak)) void __sanitizer_set_report_fd(void* descriptor);

namespace jobshaper::reference {
namespace {

constexpr char kJobId[] = "42";
constexpr const char* kManualFiles[] = {"/qvn_manualPS", "/pageReOrdered", "/pageEven",
                                        "/newEvenOrder", "/headerPS",      "/newOddOrder"};

[[noreturn]] void giveUp(const char* what) {
  std::fprintf(stderr, "the comparison cannot go on: %s: %s\n", what, std::strerror(errno));
  std::abort();
}

// A file in memory, reused by each run.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("output", MFD_CLOEXEC)) {
    if (descriptor_ < 0) giveUp("memfd_create");
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { ::close(descriptor_); }

  int get() const { return descriptor_; }
  Descriptor copy() const { return Descriptor(fcntl(descriptor_, F_DUPFD_CLOEXEC, 3)); }

  void clear() {
    if (ftruncate(descriptor_, 0) != 0) giveUp("ftruncate");
    lseek(descriptor_, 0, SEEK_SET);
  }
  void fill(const std::string& bytes) {
    clear();
    if (!writeAll(descriptor_, bytes)) giveUp("write");
    lseek(descriptor_, 0, SEEK_SET);
  }
  std::string content() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0) giveUp("fstat");
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t n =
          pread(descriptor_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
      if (n <= 0) giveUp("pread");
      done += static_cast<std::size_t>(n);
    }
    return bytes;
  }

 private:
  int descriptor_;
};

// Redirects standard error to a file while this object exists.
class StandardErrorAside {
 public:
  explicit StandardErrorAside(MemoryFile& file) : file_(file) {
    static const int own = [] {
      const int copy = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
      if (copy >= 0 && __sanitizer_set_report_fd) {
        // The function takes a number in a pointer.
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(copy)));
      }
      return copy;
    }();
    own_ = own;
    std::fflush(stderr);
    file_.clear();
    dup2(file_.get(), STDERR_FILENO);
  }
  ~StandardErrorAside() { restore(); }
  StandardErrorAside(const StandardErrorAside&) = delete;
  StandardErrorAside& operator=(const StandardErrorAside&) = delete;

  std::string restore() {
    if (own_ < 0) return {};
    std::fflush(stderr);
    dup2(std::exchange(own_, -1), STDERR_FILENO);
    return file_.content();
  }

 private:
  MemoryFile& file_;
  int own_ = -1;
};

// Delivers the job in small reads: from a pipe with packets of random sizes, or, if the job does
// not fit into a pipe, from a file in blocks of one random size.
class Feeder {
 public:
  Feeder(const std::string& bytes, const Delivery& delivery) {
    // Only small jobs are delivered in very small reads; large ones would take too long.
    std::size_t largest = delivery.largestRead == 0 ? bytes.size() + 1 : delivery.largestRead;
    largest = std::max(largest, bytes.size() / 100 + 1);
    if (delivery.pipe && largest <= kLargestPacket) fillPipe(bytes, delivery.seed, largest);
    if (reading_.valid()) return;
    static MemoryFile file;
    file.fill(bytes);
    reading_ = file.copy();
    if (delivery.largestRead > 0) block_ = largest;
  }

  Descriptor takeReadingEnd() { return std::move(reading_); }

  // The number of bytes to read at a time; 0 for all that are available.
  std::size_t block() const { return block_; }

 private:
  static constexpr std::size_t kLargestPacket = 4096;

  void fillPipe(const std::string& bytes, std::uint64_t seed, std::size_t largest) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_DIRECT | O_NONBLOCK) != 0) giveUp("pipe2");
    Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    if (fcntl(writing.get(), F_SETPIPE_SZ, 256 * kLargestPacket) <= 0) return;
    RandomGenerator generator(seed);
    for (std::size_t at = 0; at < bytes.size();) {
      const std::size_t size = std::min(generator.between(1, largest), bytes.size() - at);
      if (::write(writing.get(), bytes.data() + at, size) < 0) return;  // full
      at += size;
    }
    reading_ = std::move(reading);
  }

  Descriptor reading_;
  std::size_t block_ = 0;
};

void fillOptions(const JobParameters& job, argumentStore& options) {
  for (const auto& [name, value] : job.options) options.addOption(name, value);
  if (job.pageCountFile) {
    options.addOption("QVBookletPageCountFilename", pageCountPath(*job.pageCountFile));
  }
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool replaceFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  return static_cast<bool>(file.flush());
}

std::string manualFile(const char* name) { return workDirectory() + name + kJobId; }

}  // namespace

const std::string& workDirectory() {
  struct Directory {
    Directory() {
      std::string pattern = "/dev/shm/jobshaper-reference-XXXXXX";
      if (!mkdtemp(pattern.data())) {
        pattern = std::filesystem::temp_directory_path() / "jobshaper-reference-XXXXXX";
        if (!mkdtemp(pattern.data())) giveUp("mkdtemp");
      }
      path = pattern;
    }
    ~Directory() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
    std::string path;
  };
  static const Directory directory;
  return directory.path;
}

std::string pageCountPath(const std::string& content) {
  static std::optional<std::string> written;
  std::string path = workDirectory() + "/count";
  if (written != content) {
    if (!replaceFile(path, content)) giveUp("page-count file");
    written = content;
  }
  return path;
}

std::string instructionDirectory(const JobParameters& job) {
  static std::map<std::string, std::string> written;
  std::string directory = workDirectory() + "/instructions";
  if (written != job.instructionPages) {
    std::filesystem::remove_all(directory);
    for (const auto& [language, page] : job.instructionPages) {
      const std::string name = directory + "/" + language + ".lproj";
      std::filesystem::create_directories(name);
      if (!replaceFile(name + "/instruction(null)", page)) giveUp("instruction page");
    }
    written = job.instructionPages;
  }
  return directory;
}

std::string withoutDirectoryLines(const std::string& messages) {
  std::string result;
  std::size_t begin = 0;
  while (begin < messages.size()) {
    std::size_t end = messages.find('\n', begin);
    end = end == std::string::npos ? messages.size() : end + 1;
    const std::string line = messages.substr(begin, end - begin);
    if (line.rfind("tmp at ", 0) != 0) result += line;
    begin = end;
  }
  return result;
}

std::string headerLines(const JobParameters& job, std::optional<std::int32_t> copies) {
  JobState state;
  fillOptions(job, state.jobOptions);
  createHeader(state, "ada");
  if (copies) state.pjlHeader.insertNumCopies(*copies);
  std::string lines;
  for (const std::string& line : state.pjlHeader.objectEnumerator()) lines += line;
  return lines;
}

FilterOutput runFilter(const RandomJob& random) {
  static MemoryFile printed;
  static MemoryFile captureIn;
  static MemoryFile captureOut;
  static MemoryFile messages;
  printed.clear();
  captureIn.clear();
  captureOut.clear();

  const JobParameters& parameters = random.job;
  System system;
  system.version = parameters.version;
  system.instructionDirectory = instructionDirectory(parameters);
  setenv("TMPDIR", workDirectory().c_str(), 1);
  if (parameters.language) {
    setenv("LANG", parameters.language->c_str(), 1);
  } else {
    unsetenv("LANG");
  }

  FilterOutput actual;
  StandardErrorAside aside(messages);
  {
    JobState job;
    version = parameters.version.value_or(0);
    job.usbPjlAllowed = parameters.version && version > 0x102f;
    job.uelString = kUniversalExitLanguage;
    job.jobIdString = kJobId;
    job.copiesArgument = parameters.copiesArgument;
    job.deviceUri = parameters.deviceUri.value_or("(null)");
    job.tempDirectory = temporaryDirectory();
    job.instructionDirectory = system.instructionDirectory;
    fillOptions(parameters, job.jobOptions);
    if (parameters.manualPpd) job.ppdValues.values["*QvnManualBooklet"] = "True";
    if (parameters.capture) {
      job.captureEnabled = true;
      job.captureIn = captureIn.copy();
      job.captureOut = captureOut.copy();
    }
    Feeder feeder(parameters.input, random.delivery);
    job.inputFile = feeder.takeReadingEnd();
    job.inputStream = job.inputFile.get();
    const JobEnd end = runJob(job, system, "ada", printed.get(), feeder.block());
    actual.status = end == JobEnd::printed ? 0 : 1;
  }
  actual.messages = withoutDirectoryLines(aside.restore());
  actual.printed = printed.content();
  actual.captureIn = captureIn.content();
  actual.captureOut = captureOut.content();
  if (parameters.manualPpd) {
    for (const char* name : kManualFiles) {
      if (access(manualFile(name).c_str(), F_OK) == 0) {
        actual.leftovers.append(name + 1).append(" ");
        unlink(manualFile(name).c_str());
      }
    }
  }
  return actual;
}

std::optional<ReorderedJob> reorderByFilter(const ReorderingJob& random) {
  static MemoryFile messages;
  setenv("TMPDIR", workDirectory().c_str(), 1);
  version = random.version;
  Feeder feeder(random.input, random.delivery);
  const Descriptor input = feeder.takeReadingEnd();
  const std::string outputPath = manualFile(kManualFiles[0]);
  std::optional<std::string_view> orientation;
  if (random.orientation) orientation = *random.orientation;

  StandardErrorAside aside(messages);
  const int result =
      manualBookletOrder(input.get(), outputPath, kJobId, orientation, random.onlyInside);
  aside.restore();

  std::optional<ReorderedJob> reordered;
  if (result == 1) {
    reordered.emplace();
    reordered->oddSide = contentOf(manualFile("/pageReOrdered"));
    reordered->evenSide = contentOf(manualFile("/pageEven"));
    reordered->reversedEvens = contentOf(manualFile("/newEvenOrder"));
    reordered->reversedOdds = contentOf(manualFile("/newOddOrder"));
    if (access(manualFile("/headerPS").c_str(), F_OK) == 0) {
      reordered->header = contentOf(manualFile("/headerPS"));
    }
    reordered->output = contentOf(outputPath);
  }
  for (const char* name : kManualFiles) unlink(manualFile(name).c_str());
  return reordered;
}

std::optional<PageFiles> rearrangeByFilter(std::int32_t pageNumber, const PageFiles& files,
                                           bool withReversedStream, const std::string& later) {
  const std::string sidePath = workDirectory() + "/side";
  const std::string reversedPath = workDirectory() + "/reversed";
  PageFile side;
  PageFile reversed;
  if (!side.open(sidePath) || !reversed.open(reversedPath)) giveUp("page files");
  side.write(files.side);
  reversed.write(files.reversed);
  if (!side.flush() || !reversed.flush()) giveUp("page files");
  if (!withReversedStream && !reversed.close()) giveUp("page files");
  if (reArrangedPages(pageNumber, side, withReversedStream ? &reversed : nullptr, sidePath,
                      reversedPath) != 1) {
    return std::nullopt;
  }
  side.write(later);
  if (!side.close()) return std::nullopt;
  return PageFiles{contentOf(sidePath), contentOf(reversedPath)};
}

}  // namespace jobshaper::reference
