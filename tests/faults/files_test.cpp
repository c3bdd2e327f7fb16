// The files that the filter creates, in a directory that others can write to, and those that it
// only reads: none of them leads it to a file elsewhere, blocks it or exhausts its memory.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/permissions.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNoCaptureIn =
    "ERROR: Cannot write incoming print data to a log file.\n";
constexpr std::string_view kNoCaptureOut =
    "ERROR: Cannot write outgoing print data to a log file.\n";
constexpr std::string_view kNoDebugFile = "ERROR: Unable to open log file\n";
constexpr std::string_view kForeign = "somebody else's\n";

std::string tmpLine(const Job& job) { return "tmp at " + job.tmp() + " \n"; }

mode_t modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

// ---- what is created

constexpr std::string_view kText = "%!PS\nshowpage\n";

// A kind of job, with one of the files that it creates.
struct Created {
  const char* file;
  Job (*job)();
};

void PrintTo(const Created& row, std::ostream* out) { *out << row.file; }

Outcome printedWith(std::string err) {
  return {join(plainHeader(), kText, trailer()), std::move(err), 0, 0};
}

Job capturedJob() { return Job().capture().input(std::string(kText)); }
Job loggedJob() { return Job().log(7).input(std::string(kText)); }
Job bookletJob() { return manualJob(join(kTop, pages("12345"))); }

void expectEqual(const Outcome& outcome, const Outcome& expected) {
  expectOutcome(outcome, expected.out, expected.err, expected.exitStatus);
}

// What is in the place of a file before the job: `elsewhere` is a file in another directory.
struct Obstacle {
  const char* name;
  void (*put)(const std::string& path, const std::string& elsewhere);
};

constexpr Obstacle kObstacles[] = {
    {"a link", [](auto& path, auto& elsewhere) { fs::create_symlink(elsewhere, path); }},
    {"a link that leads nowhere",
     [](auto& path, auto& elsewhere) { fs::create_symlink(elsewhere + "2", path); }},
    {"another name", [](auto& path, auto& elsewhere) { fs::create_hard_link(elsewhere, path); }},
    {"a pipe", [](auto& path, auto&) { EXPECT_EQ(mkfifo(path.c_str(), 0666), 0); }},
    {"a socket", [](auto& path, auto&) { EXPECT_EQ(mknod(path.c_str(), S_IFSOCK | 0600, 0), 0); }},
};

// Something in the place of a file. It stays open, so it can be read afterward.
class Obstructed {
 public:
  Obstructed(const std::string& path, void (*put)(const std::string&, const std::string&)) {
    writeFile(elsewhere(), kForeign);
    put(path, elsewhere());
    open_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  }
  ~Obstructed() { close(open_); }
  Obstructed(const Obstructed&) = delete;
  Obstructed& operator=(const Obstructed&) = delete;

  std::string elsewhere() const { return outside_.file("elsewhere"); }
  // Expects that nothing was written.
  void expectUntouched(std::string_view before = kForeign) const {
    char bytes[100];
    const ssize_t n = read(open_, bytes, sizeof bytes);
    if (n > 0) {
      EXPECT_EQ(std::string_view(bytes, static_cast<std::size_t>(n)), before);
    }
    EXPECT_EQ(readFile(elsewhere()), kForeign);
    EXPECT_FALSE(fs::exists(elsewhere() + "2"));
  }

 private:
  TemporaryDirectory outside_;
  int open_ = -1;
};

class CreatedFile : public ::testing::TestWithParam<Created> {};

INSTANTIATE_TEST_SUITE_P(
    Names, CreatedFile,
    ::testing::Values(Created{"qvn_ps", capturedJob}, Created{"qvn_ps2", capturedJob},
                      Created{"qvn_manualPS42", bookletJob}, Created{"pageReOrdered42", bookletJob},
                      Created{"pageEven42", bookletJob}, Created{"newEvenOrder42", bookletJob},
                      Created{"newOddOrder42", bookletJob}));

TEST_P(CreatedFile, ReplacesAnythingButADirectory) {
  for (const Obstacle& obstacle : kObstacles) {
    SCOPED_TRACE(obstacle.name);
    const Job job = GetParam().job();
    const Outcome plain = job.run();
    fs::remove(job.tmpFile(GetParam().file));
    const Obstructed obstructed(job.tmpFile(GetParam().file), obstacle.put);
    expectEqual(job.run(), plain);
    obstructed.expectUntouched();
  }
}

// Someone may have opened an old file of the same name while it was readable.
TEST_P(CreatedFile, IsNotReadThroughADescriptorOfAnEarlierOne) {
  for (const std::string_view before : {"", "earlier\n"}) {
    const Job job = GetParam().job();
    writeFile(job.tmpFile(GetParam().file), before);
    const int earlier = open(job.tmpFile(GetParam().file).c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(job.run().exitStatus, 0);
    char bytes[100];
    EXPECT_EQ(read(earlier, bytes, sizeof bytes), static_cast<ssize_t>(before.size()));
    close(earlier);
  }
}

// It would not be enough to empty an old file, because others may have it open.
TEST_P(CreatedFile, IsNotCreatedInADirectoryThatTakesNoNewOnes) {
  const Job job = GetParam().job();
  for (const char* name : {"qvn_ps", "qvn_ps2", "qvn_manualPS42", "pageReOrdered42", "pageEven42",
                           "newEvenOrder42", "newOddOrder42"}) {
    writeFile(job.tmpFile(name), "earlier\n");
  }
  fs::permissions(job.tmp(), fs::perms::owner_read | fs::perms::owner_exec);
  const Outcome outcome = job.run(obeyPermissions);
  if (GetParam().job == bookletJob) {
    expectOutcome(outcome, "", join(threeTmpLines(job), kNoFile, kFatal), 1);
  } else {
    expectEqual(outcome, printedWith(join(tmpLines(job), kCaptureOn, kNoCaptureIn, kNoCaptureOut)));
  }
  EXPECT_EQ(readFile(job.tmpFile(GetParam().file)), "earlier\n");
}

// ---- the diagnostic log, which may be an earlier file

void nameLog(const Job& job, const std::string& name) {
  const std::string settings = job.tmpFile("Debug/.DebugPlist/qvDebug.plist");
  std::string list = readFile(settings);
  list.replace(list.find("debug.log"), 9, name);
  writeFile(settings, list);
}

void expectNoLog(const Job& job) {
  expectEqual(job.run(), printedWith(join(tmpLine(job), kNoDebugFile, tmpLine(job))));
}

TEST(LogFile, MustBeARegularFileOfTheUser) {
  for (const Obstacle& obstacle : kObstacles) {
    SCOPED_TRACE(obstacle.name);
    const Job job = loggedJob();
    const Obstructed obstructed(job.tmpFile("debug.log"), obstacle.put);
    expectNoLog(job);
    obstructed.expectUntouched();
  }
}

TEST(LogFile, MustNotBelongToAnotherUser) {
  Job job = loggedJob();
  writeFile(job.tmpFile("debug.log"), kForeign);
  fs::permissions(job.tmpFile("debug.log"), fs::perms(0666));
  job.preload("refusing_calls").env("REFUSED_CALL", "ownership");
  expectNoLog(job);
  EXPECT_EQ(readFile(job.tmpFile("debug.log")), kForeign);
}

// Not even in a directory of the filter's user.
TEST(LogFile, IsNotInALinkedDirectory) {
  for (const char* name : {"linked/debug.log", "/linked/debug.log", "logs/linked/debug.log"}) {
    const Job job = loggedJob();
    const TemporaryDirectory outside;
    writeFile(outside.file("debug.log"), kForeign);
    fs::permissions(outside.file("debug.log"), fs::perms(0600));
    fs::create_directory(job.tmpFile("logs"));
    fs::create_directory_symlink(outside.path(), job.tmpFile("linked"));
    fs::create_directory_symlink(outside.path(), job.tmpFile("logs/linked"));
    nameLog(job, name);
    expectNoLog(job);
    EXPECT_EQ(readFile(outside.file("debug.log")), kForeign) << name;
    EXPECT_EQ(modeOf(outside.file("debug.log")), 0600U) << name;
  }
}

// Someone who can rename files could give the log's name to a private one.
TEST(LogFile, IsReadableByEveryoneUnlessItWasPrivate) {
  for (const mode_t before : {0600U, 0640U, 0644U, 0666U}) {
    const Job job = loggedJob();
    writeFile(job.tmpFile("debug.log"), "earlier\n");
    fs::permissions(job.tmpFile("debug.log"), fs::perms(before));
    expectEqual(job.run(), printedWith(tmpLines(job)));
    EXPECT_TRUE(readFile(job.tmpFile("debug.log")).starts_with("earlier\nAA")) << before;
    EXPECT_EQ(modeOf(job.tmpFile("debug.log")), before < 0644 ? before : 0666U);
  }
}

// ---- permissions

// A job that waits for its second line while all its files are there.
class WaitingJob {
 public:
  explicit WaitingJob(const Job& job) : process_(job.program(), job.argv(), job.environment()) {
    process_.write("%!PS\n");
    EXPECT_TRUE(sleeps(process_));
  }
  Process* operator->() { return &process_; }

 private:
  Process process_;
};

class EachCreatedFileMode : public ::testing::TestWithParam<mode_t> {};

TEST_P(EachCreatedFileMode, IsForTheOwnerAlone) {
  Job job = manualJob("");
  job.capture();
  // The permissions of files of an earlier run are not kept.
  for (const char* name : {"qvn_ps", "pageEven42"}) {
    writeFile(job.tmpFile(name), "");
    fs::permissions(job.tmpFile(name), fs::perms(0666));
  }
  const mode_t before = umask(GetParam());
  WaitingJob waiting(job);
  umask(before);
  for (const char* name : {"qvn_ps", "qvn_ps2", "qvn_manualPS42", "pageReOrdered42", "pageEven42",
                           "newEvenOrder42", "newOddOrder42"}) {
    EXPECT_EQ(modeOf(job.tmpFile(name)), 0600U) << name;
  }
  EXPECT_EQ(waiting->finish().exitStatus, 0);
}

INSTANTIATE_TEST_SUITE_P(Umask, EachCreatedFileMode, ::testing::Values(0000, 0022, 0077, 0777));

// Nothing is written to a file that others can read, except for the log, which is for everyone.
TEST(CreatedFileMode, IsRequiredForCapturesAndBooklets) {
  const auto refuse = [](Job& job) -> Job& {
    return job.preload("refusing_calls").env("REFUSED_CALL", "fchmod");
  };
  Job captured = capturedJob();
  expectOutcome(refuse(captured).run(), join(plainHeader(), kText, trailer()),
                join(tmpLines(captured), kCaptureOn, kNoCaptureIn, kNoCaptureOut));
  Job booklet = bookletJob();
  expectOutcome(refuse(booklet).run(), "", join(threeTmpLines(booklet), kNoFile, kFatal), 1);
  Job logged = loggedJob();
  expectOutcome(refuse(logged).run(), join(plainHeader(), kText, trailer()), tmpLines(logged));
  EXPECT_NE(readFile(logged.tmpFile("debug.log")), "");
}

// The filter starts no programs; if it did, they would not inherit its files.
TEST(OpenFiles, AreClosedOnExec) {
  Job job = manualJob("");
  job.capture().log(7).fileWith("");
  // A job file that waits: a pipe held open.
  const std::string pipe = job.tmpFile("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int writer = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  Process process(job.program(), job.file(pipe).argv(), job.environment(), [] {
    for (int inherited = 3; inherited < 1024; ++inherited) close(inherited);
  });
  ASSERT_TRUE(sleeps(process));
  int files = 0;
  const std::string directory = "/proc/" + std::to_string(process.pid());
  for (const auto& entry : fs::directory_iterator(directory + "/fd")) {
    const std::string number = entry.path().filename();
    if (std::stoi(number) <= 2) continue;
    ++files;
    const std::string info = contentOf(directory + "/fdinfo/" + number);
    const std::size_t flags = info.find("flags:");
    ASSERT_NE(flags, std::string::npos);
    EXPECT_NE(std::stoul(info.substr(flags + 6), nullptr, 8) & O_CLOEXEC, 0U)
        << fs::read_symlink(entry.path());
  }
  EXPECT_GE(files, 9);  // job, PPD, log, two captures and the files of the booklet
  close(writer);
  EXPECT_EQ(process.finish().exitStatus, 0);
}

// ---- files of the filter that are read back

// Puts something else in the place of a file while the job waits.
TEST(ReadBack, FollowsNoLinkToAFileElsewhere) {
  for (const char* name : {"pageReOrdered42", "pageEven42"}) {
    const TemporaryDirectory outside;
    writeFile(outside.file("elsewhere"), kForeign);
    const Job job = manualJob("");
    Process process(job.program(), job.argv(), job.environment());
    process.write(join(kTop, pages("12")));
    ASSERT_TRUE(sleeps(process));
    fs::remove(job.tmpFile(name));
    fs::create_symlink(outside.file("elsewhere"), job.tmpFile(name));
    const Outcome outcome = process.finish();
    EXPECT_EQ(outcome.out.find(kForeign), std::string::npos) << name;
    expectOutcome(outcome, "", join(threeTmpLines(job), kNoFile, kFatal), 1);
    EXPECT_EQ(readFile(outside.file("elsewhere")), kForeign);
  }
}

// The reordered job may be replaced after it was written and before it is opened: the opening
// checks that it is still the filter's file.
TEST(ReadBack, OfTheReorderedJobFollowsNoLink) {
  const TemporaryDirectory outside;
  writeFile(outside.file("elsewhere"), kForeign);
  const Job job = manualJob("");
  Process process(job.program(), job.argv(), job.environment());
  process.write(join(kTop, pages("12")));
  ASSERT_TRUE(sleeps(process));
  fs::remove(job.tmpFile("qvn_manualPS42"));
  fs::create_symlink(outside.file("elsewhere"), job.tmpFile("qvn_manualPS42"));
  expectOutcome(process.finish(), "",
                join(threeTmpLines(job), "ERROR: Cannot read the print job.\n"), 1);
}

// ---- the debug file's name

TEST(DebugFileName, DoesNotLeadOutOfTheTemporaryDirectory) {
  const TemporaryDirectory outside;
  for (const std::string& name :
       {join("../", fs::path(outside.path()).filename().string(), "/x.log"),
        std::string("logs/../x.log"), std::string(".."), std::string("logs/..")}) {
    const Job job = loggedJob();
    fs::create_directory(job.tmpFile("logs"));
    nameLog(job, name);
    expectNoLog(job);
    EXPECT_FALSE(fs::exists(outside.file("x.log"))) << name;
    EXPECT_FALSE(fs::exists(job.tmpFile("x.log"))) << name;
  }
}

TEST(DebugFileName, MayHoldDots) {
  const Job job = loggedJob();
  nameLog(job, "..debug..log..");
  expectEqual(job.run(), printedWith(tmpLines(job)));
  EXPECT_TRUE(fs::exists(job.tmpFile("..debug..log..")));
}

// ---- what is only read

// The job is printed as without the file, and does not wait for a writer of the pipe.
void expectPrintedSoon(const Job& job, std::string_view err) {
  Process process(job.program(), job.argv(), job.environment());
  process.write(kText);
  process.closeInput();
  EXPECT_TRUE(endsByItself(process));
  expectOutcome(process.finish(), join(plainHeader(), kText, trailer()), err);
}

// Something other than a regular file, in a directory of its own.
class NoFile {
 public:
  enum Kind { pipe, heldPipe, awaitedPipe, endless };

  explicit NoFile(Kind kind) {
    if (kind == endless) {
      fs::create_symlink("/dev/zero", path());
    } else {
      EXPECT_EQ(mkfifo(path().c_str(), 0600), 0);
    }
    if (kind == heldPipe) writer_ = open(path().c_str(), O_RDWR | O_CLOEXEC);
    if (kind == awaitedPipe) {
      awaiting_ = fork();
      if (awaiting_ == 0) _exit(open(path().c_str(), O_WRONLY | O_CLOEXEC) >= 0 ? 0 : 1);
      EXPECT_TRUE(sleeps(awaiting_));
    }
  }
  // The filter must not have opened the pipe: its writer would lose what it writes.
  ~NoFile() {
    if (writer_ >= 0) close(writer_);
    if (awaiting_ < 0) return;
    EXPECT_EQ(waitpid(awaiting_, nullptr, WNOHANG), 0);
    kill(awaiting_, SIGKILL);
    waitpid(awaiting_, nullptr, 0);
  }
  NoFile(const NoFile&) = delete;
  NoFile& operator=(const NoFile&) = delete;

  std::string path() const { return directory_.file("file"); }

 private:
  TemporaryDirectory directory_;
  int writer_ = -1;
  pid_t awaiting_ = -1;
};

class FileToRead : public ::testing::TestWithParam<NoFile::Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, FileToRead,
                         ::testing::Values(NoFile::pipe, NoFile::heldPipe, NoFile::awaitedPipe,
                                           NoFile::endless));

TEST_P(FileToRead, ThatIsNotRegularIsAnEmptyPpd) {
  const NoFile file(GetParam());
  Job job;
  job.env("PPD", file.path());
  expectPrintedSoon(job, tmpLines(job));
}

TEST_P(FileToRead, ThatIsNotRegularDoesNotTurnOnTheLog) {
  const NoFile file(GetParam());
  const Job job;
  fs::create_directories(job.tmpFile("Debug/.DebugPlist"));
  fs::rename(file.path(), job.tmpFile("Debug/.DebugPlist/qvDebug.plist"));
  expectPrintedSoon(job, tmpLines(job));
}

TEST_P(FileToRead, ThatIsNotRegularHasNoPageCount) {
  const NoFile file(GetParam());
  Job job;
  job.options("QVBookletFold=Booklet QVBookletPageCountFilename='" + file.path() + "'");
  expectPrintedSoon(job, tmpLines(job));
}

TEST_P(FileToRead, ThatIsNotRegularIsNotAnInstructionPage) {
  const NoFile file(GetParam());
  const TemporaryDirectory pages;
  fs::create_directory(pages.file("en.lproj"));
  fs::create_symlink(file.path(), pages.file("en.lproj/instruction(null)"));
  Job job = manualJob("");
  job.version("0x1050").env("JOBSHAPER_INSTRUCTIONS", pages.path()).env("LANG", "en");
  Process process(job.program(), job.argv(), job.environment());
  process.write("%%Page: 1 1\n");
  process.closeInput();
  EXPECT_TRUE(endsByItself(process));
  EXPECT_EQ(process.finish().err, join(threeTmpLines(job), kNoInstruction));
}

// Its size is 0, and it has no end. Only root can open it.
// Some of them never end. The second one has the line of a PPD file.
TEST(FileOfTheSystem, IsAPpdWithoutLines) {
  for (const char* const path : {"/proc/kmsg", "/proc/self/environ"}) {
    Job job;
    job.env("PPD", path).env("LINE", "\n*QVGeneric: Color\n");
    expectPrintedSoon(job, tmpLines(job));
  }
}

// A sparse file of many gigabytes that begins and ends with these bytes.
std::string hugeFile(const TemporaryDirectory& directory, std::string_view begin, off_t size,
                     std::string_view end) {
  std::string path = directory.file("huge");
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  EXPECT_EQ(pwrite(file, begin.data(), begin.size(), 0), static_cast<ssize_t>(begin.size()));
  EXPECT_EQ(pwrite(file, end.data(), end.size(), size), static_cast<ssize_t>(end.size()));
  close(file);
  return path;
}

TEST(HugeFile, IsAPpdOnlyUpTo64MiB) {
  const TemporaryDirectory directory;
  Job job;
  job.env("PPD",
          hugeFile(directory, "*QVGeneric: Color\n", off_t{1} << 33, "\n*QVGeneric: Mono\n"));
  job.input(std::string(kText));
  expectOutcome(
      job.run(),
      headerWith("@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n") + kText + trailer(),
      tmpLines(job));
}

// A line that begins at the limit is not read, one that ends there is.
TEST(HugeFile, IsAPpdOfExactly64MiB) {
  for (const off_t size : {off_t{1} << 26, (off_t{1} << 26) - 1}) {
    const TemporaryDirectory directory;
    Job job;
    job.env("PPD", hugeFile(directory, "*QVGeneric: Color\n", size - 1, "\n*QVGeneric: Mono\n"));
    job.input(std::string(kText));
    expectOutcome(
        job.run(),
        headerWith(size == off_t{1} << 26
                       ? "@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n"
                       : "@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n") +
            kText + trailer(),
        tmpLines(job));
  }
}

TEST(HugeFile, DoesNotTurnOnTheLog) {
  const TemporaryDirectory directory;
  const Job job = loggedJob();
  const std::string settings = job.tmpFile("Debug/.DebugPlist/qvDebug.plist");
  const std::string path = hugeFile(directory, readFile(settings), off_t{1} << 33, "</plist>");
  fs::rename(path, settings);
  expectOutcome(job.run(), join(plainHeader(), kText, trailer()), tmpLines(job));
}

TEST(HugeFile, HoldsAPageCountUpToItsFirstOtherByte) {
  const TemporaryDirectory directory;
  Job job;
  job.options("QVBookletFold=Booklet QVBookletCoverSource=Tray1 QVBookletPageCountFilename='" +
              hugeFile(directory, "4", off_t{1} << 33, "4") + "'");
  job.input("%%Page: 1 1\n");
  expectOutcome(job.run(),
                join(plainHeader(),
                     "%%Page: 1 1\n[{\n<< /DeferredMediaSelection true /ManualFeed false "
                     "/MediaPosition 0  >> setpagedevice\n} stopped cleartomark\n",
                     trailer()),
                tmpLines(job));
}

}  // namespace
}  // namespace jobshaper::testing
