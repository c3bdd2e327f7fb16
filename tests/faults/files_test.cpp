// The files that the filter creates, in a directory that others can write to, and those that it
// only reads: none of them leads it to a file elsewhere, blocks it or exhausts its memory.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <deque>
#include <fstream>
#include <optional>

#include "tests/faults/fault_jobs.h"
#include "tests/support/permissions.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kForeign = "somebody else's\n";
constexpr std::string_view kText = "%!PS\nshowpage\n";

mode_t modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

void writeFileWithMode(const std::string& path, std::string_view bytes, mode_t mode) {
  writeFile(path, bytes);
  fs::permissions(path, fs::perms(mode));
}

// What is in the place of a file before the job: `elsewhere` is a file in another directory.
struct Obstacle {
  const char* name;
  void (*put)(const std::string& path, const std::string& elsewhere);
};

const Obstacle kObstacles[] = {
    {"a link", [](auto& path, auto& elsewhere) { fs::create_symlink(elsewhere, path); }},
    {"a link that leads nowhere",
     [](auto& path, auto& elsewhere) { fs::create_symlink(elsewhere + "2", path); }},
    {"another name", [](auto& path, auto& elsewhere) { fs::create_hard_link(elsewhere, path); }},
    {"a pipe", [](auto& path, auto&) { EXPECT_EQ(mkfifo(path.c_str(), 0666), 0); }},
    {"a socket", [](auto& path, auto&) { EXPECT_EQ(mknod(path.c_str(), S_IFSOCK | 0600, 0), 0); }},
};

// A file that others have open since before the job.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path)
      : file_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
  ~OpenFile() { close(file_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  std::string content() const {
    char bytes[100];
    const ssize_t n = read(file_, bytes, sizeof bytes);
    return {bytes, n > 0 ? static_cast<std::size_t>(n) : 0};
  }

 private:
  int file_;
};

// What is in place of a file before the job, which must change neither it nor what it leads to.
class Obstructed {
 public:
  Obstructed(const std::string& path, const Obstacle& obstacle) : name_(obstacle.name) {
    writeFile(elsewhere(), kForeign);
    obstacle.put(path, elsewhere());
    file_.emplace(path);
  }
  ~Obstructed() {
    const std::string content = file_->content();
    EXPECT_TRUE(content.empty() || content == kForeign) << name_ << ": " << content;
    EXPECT_EQ(readFile(elsewhere()), kForeign) << name_;
    EXPECT_FALSE(fs::exists(elsewhere() + "2")) << name_;
  }
  Obstructed(const Obstructed&) = delete;
  Obstructed& operator=(const Obstructed&) = delete;

 private:
  std::string elsewhere() const { return outside_.file("elsewhere"); }

  std::string name_;
  TemporaryDirectory outside_;
  std::optional<OpenFile> file_;
};

// ---- what is created

constexpr const char* kCreated[] = {"qvn_ps",          "qvn_ps2",    "qvn_manualPS42",
                                    "pageReOrdered42", "pageEven42", "newEvenOrder42",
                                    "newOddOrder42"};

// A job that creates all of them, and its run with something else in their places before.
Job creatingJob() { return manualJob(join(kTop, pages("123456"))).capture(); }

void expectCreated(const Job& job, std::string_view of) {
  const std::string body =
      join(kTop, kFirstPass, kInstruction, pages("135"), kSecondPass, kBlank, pages("642"));
  const std::string line = tmpLine(job);
  expectOutcome(job.run(), printed(body), join(line, line, kCaptureOn, line, kNoInstruction), 0,
                of);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), printed(body));
}

TEST(CreatedFile, ReplacesAnythingButADirectory) {
  for (const Obstacle& obstacle : kObstacles) {
    const Job job = creatingJob();
    std::deque<Obstructed> files;
    for (const char* name : kCreated) files.emplace_back(job.tmpFile(name), obstacle);
    expectCreated(job, obstacle.name);
  }
}

// Someone may have opened an old file of the same name while it was readable.
TEST(CreatedFile, IsNotReadThroughADescriptorOfAnEarlierOne) {
  for (const std::string_view before : {"", "earlier\n"}) {
    const Job job = creatingJob();
    std::deque<OpenFile> files;
    for (const char* name : kCreated) {
      writeFile(job.tmpFile(name), before);
      files.emplace_back(job.tmpFile(name));
    }
    expectCreated(job, before);
    for (const OpenFile& file : files) EXPECT_EQ(file.content(), before);
  }
}

// It would not be enough to empty an old file, because others may have it open.
TEST(CreatedFile, IsNotCreatedInADirectoryThatTakesNoNewOnes) {
  const Job booklet = manualJob(join(kTop, pages("12"))), captured = Job().capture();
  for (const Job& job : {booklet, captured}) {
    for (const char* name : kCreated) writeFile(job.tmpFile(name), "earlier\n");
    fs::permissions(job.tmp(), fs::perms::owner_read | fs::perms::owner_exec);
  }
  expectOutcome(booklet.run(obeyPermissions), "", join(threeTmpLines(booklet), kNoFile, kFatal), 1);
  expectOutcome(captured.run(obeyPermissions), printed(""),
                join(tmpLines(captured), kCaptureOn, kNoCaptureIn, kNoCaptureOut));
  for (const Job& job : {booklet, captured}) {
    for (const char* name : kCreated) EXPECT_EQ(readFile(job.tmpFile(name)), "earlier\n") << name;
  }
}

// The permissions of files of an earlier run are not kept.
TEST(CreatedFileMode, IsForTheOwnerAlone) {
  for (const mode_t mask : {0000, 0022, 0077, 0777}) {
    const Job job = manualJob("").capture();
    for (const char* name : {"qvn_ps", "pageEven42"})
      writeFileWithMode(job.tmpFile(name), "", 0666);
    const mode_t before = umask(mask);
    Process process(job);
    umask(before);
    process.write("%!PS\n");
    EXPECT_TRUE(sleeps(process));  // all its files are there
    for (const char* name : kCreated) EXPECT_EQ(modeOf(job.tmpFile(name)), 0600U) << name << mask;
    EXPECT_EQ(process.finish().exitStatus, 0);
  }
}

// ---- the diagnostic log, which may be an earlier file

Job loggedJob(const std::string& name = "debug.log") {
  Job job = Job().log(7).input(std::string(kText));
  const std::string settings = job.tmpFile("Debug/.DebugPlist/qvDebug.plist");
  std::string list = readFile(settings);
  list.replace(list.find("debug.log"), 9, name);
  writeFile(settings, list);
  return job;
}

void expectNoLog(const Job& job, std::string_view of, Where where = Where::here()) {
  expectOutcome(job.run(), printed(kText),
                join(tmpLine(job), "ERROR: Unable to open log file\n", tmpLine(job)), 0, of, where);
}

TEST(LogFile, MustBeARegularFileOfTheUser) {
  for (const Obstacle& obstacle : kObstacles) {
    const Job job = loggedJob();
    const Obstructed obstructed(job.tmpFile("debug.log"), obstacle);
    expectNoLog(job, obstacle.name);
  }
}

TEST(LogFile, MustNotBelongToAnotherUser) {
  const Job job = loggedJob();
  writeFileWithMode(job.tmpFile("debug.log"), kForeign, 0666);
  if (chown(job.tmpFile("debug.log").c_str(), geteuid() + 1, getegid()) != 0)
    GTEST_SKIP() << "only root can give a file to another user";
  expectNoLog(job, "a file of another user");
  EXPECT_EQ(readFile(job.tmpFile("debug.log")), kForeign);
}

// Someone who can rename files could give the log's name to a private one.
TEST(LogFile, IsReadableByEveryoneUnlessItWasPrivate) {
  for (const mode_t before : {0600U, 0640U, 0644U}) {
    const Job job = loggedJob();
    writeFileWithMode(job.tmpFile("debug.log"), "earlier\n", before);
    expectRun(job, printed(kText));
    EXPECT_TRUE(readFile(job.tmpFile("debug.log")).starts_with("earlier\nAA")) << before;
    EXPECT_EQ(modeOf(job.tmpFile("debug.log")), before == 0644 ? 0666U : before);
  }
}

// Not even in a directory of the filter's user.
TEST(DebugFileName, LeadsNeitherThroughALinkNorUpward) {
  const TemporaryDirectory outside;
  writeFileWithMode(outside.file("debug.log"), kForeign, 0600);
  const std::string upward = "../" + fs::path(outside.path()).filename().string() + "/new.log";
  const std::vector<std::string> names = {"linked/debug.log",
                                          "/linked/debug.log",
                                          "logs/linked/debug.log",
                                          "linked/new.log",
                                          upward,
                                          "logs/../new.log",
                                          "..",
                                          "logs/.."};
  for (const std::string& name : names) {
    const Job job = loggedJob(name);
    fs::create_directory(job.tmpFile("logs"));
    for (const char* link : {"linked", "logs/linked"})
      fs::create_directory_symlink(outside.path(), job.tmpFile(link));
    expectNoLog(job, name);
    EXPECT_EQ(readFile(outside.file("debug.log")), kForeign) << name;
    EXPECT_EQ(modeOf(outside.file("debug.log")), 0600U) << name;
    EXPECT_FALSE(fs::exists(outside.file("new.log"))) << name;
    EXPECT_FALSE(fs::exists(job.tmpFile("new.log"))) << name;
  }
}

TEST(DebugFileName, MayHoldDots) {
  const Job job = loggedJob("..debug..log..");
  expectRun(job, printed(kText));
  EXPECT_TRUE(fs::exists(job.tmpFile("..debug..log..")));
}

// ---- what is only read

// The job is printed as without the file, and does not wait for a writer of the pipe.
void expectPrintedSoon(const Job& job, std::string_view body, std::string_view err,
                       Where where = Where::here()) {
  Process process(job);
  process.write(job.input());
  process.closeInput();
  EXPECT_TRUE(endsByItself(process));
  expectOutcome(process.finish(), printed(body), err, 0, "", where);
}

// Something other than a regular file, in a directory of its own.
class NoFile {
 public:
  enum Kind { pipe, heldPipe, awaitedPipe, endless };

  explicit NoFile(Kind kind) {
    if (kind == endless) {
      fs::create_symlink("/dev/zero", path());
      return;
    }
    EXPECT_EQ(mkfifo(path().c_str(), 0600), 0);
    if (kind == heldPipe) writer_ = open(path().c_str(), O_RDWR | O_CLOEXEC);
    if (kind != awaitedPipe) return;
    awaiting_ = fork();
    if (awaiting_ == 0) _exit(open(path().c_str(), O_WRONLY | O_CLOEXEC) >= 0 ? 0 : 1);
    EXPECT_TRUE(sleeps(awaiting_));
  }
  // The filter must not have opened the pipe: its writer would lose what it writes.
  ~NoFile() {
    close(writer_);
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

TEST_P(FileToRead, ThatIsNotRegularIsNoPpdNoSettingsAndNoPageCount) {
  const NoFile ppd(GetParam()), settings(GetParam()), count(GetParam());
  Job job = loggedJob();
  fs::remove(job.tmpFile("Debug/.DebugPlist/qvDebug.plist"));
  fs::rename(settings.path(), job.tmpFile("Debug/.DebugPlist/qvDebug.plist"));
  job.env("PPD", ppd.path()).options(countIn(count.path())).input("%%Page: 1 1\n");
  expectPrintedSoon(job, job.input(), tmpLines(job));
}

TEST_P(FileToRead, ThatIsNotRegularIsNotAnInstructionPage) {
  const NoFile file(GetParam());
  const Job job = instructedJob(join(kTop, kPage1), "");
  fs::remove(job.tmpFile("pages/en.lproj/instruction(null)"));
  fs::create_symlink(file.path(), job.tmpFile("pages/en.lproj/instruction(null)"));
  expectPrintedSoon(job, join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank),
                    join(threeTmpLines(job), kNoInstruction));
}

// Their size is 0. The first never ends, and only root can open it; the second has the line of a
// PPD file.
TEST(FileOfTheSystem, IsAPpdWithoutLines) {
  for (const char* const path : {"/proc/kmsg", "/proc/self/environ"}) {
    Job job = Job().input(std::string(kText));
    expectPrintedSoon(job.env("PPD", path).env("LINE", "\n*QVGeneric: Color\n"), kText,
                      tmpLines(job));
  }
}

// A line that begins at the limit is not read, one that ends there is.
TEST(HugeFile, IsAPpdOnlyUpTo64MiB) {
  for (const off_t size : {off_t{1} << 26, (off_t{1} << 26) - 1}) {
    Job job;
    const std::string path = job.tmpFile("huge");
    writeFile(path, "*QVGeneric: Color\n");
    fs::resize_file(path, static_cast<std::uintmax_t>(size - 1));
    std::ofstream(path, std::ios::app) << "\n*QVGeneric: Mono\n";
    const bool color = size == off_t{1} << 26;
    expectRun(
        job.env("PPD", path),
        headerWith(color ? "@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n"
                         : "@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n") +
            trailer());
  }
}

}  // namespace
}  // namespace jobshaper::testing
