// The files that the filter creates, in a directory that others can write to, and those that it
// only reads: none of them leads it to a file elsewhere, blocks it or exhausts its memory.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <deque>
#include <fstream>

#include "platform/descriptor.h"
#include "tests/faults/fault_jobs.h"
#include "tests/support/permissions.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kForeign = "somebody else's\n";
const std::string kText = "%!PS\nshowpage\n";

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
// An earlier file, which others may have opened while it was readable.
const Obstacle kEarlierFiles[] = {
    {"an empty file", [](auto& path, auto&) { writeFile(path, ""); }},
    {"a file", [](auto& path, auto&) { writeFile(path, kForeign); }},
};

// An obstacle that others have open since before the job, which must change neither it nor what it
// leads to.
class Obstructed {
 public:
  Obstructed(const std::string& path, const Obstacle& obstacle) : name_(obstacle.name) {
    writeFile(elsewhere_, kForeign);
    obstacle.put(path, elsewhere_);
    file_ = Descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    size_ = fs::is_regular_file(path) ? fs::file_size(path) : 0;
  }
  ~Obstructed() {
    std::string content(100, '\0');
    content.resize(readFully(file_.get(), content.data(), content.size()));
    EXPECT_EQ(content, kForeign.substr(0, size_)) << name_;
    EXPECT_EQ(readFile(elsewhere_), kForeign) << name_;
    EXPECT_FALSE(fs::exists(elsewhere_ + "2")) << name_;
  }

 private:
  std::string name_;
  TemporaryDirectory outside_;
  std::string elsewhere_ = outside_.file("elsewhere");
  Descriptor file_;
  std::size_t size_ = 0;
};

// ---- what is created

constexpr const char* kCreated[] = {"qvn_ps",          "qvn_ps2",    "qvn_manualPS42",
                                    "pageReOrdered42", "pageEven42", "newEvenOrder42",
                                    "newOddOrder42"};

void expectReplaced(const Obstacle& obstacle) {
  const Job job = manualJob(join(kTop, pages("123456"))).capture();
  std::deque<Obstructed> files;
  for (const char* name : kCreated) files.emplace_back(job.tmpFile(name), obstacle);
  const std::string body = printed(kTop, pages("135"), kBlank, pages("642"));
  const std::string line = tmpLine(job);
  expectOutcome(job.run(), printed(body), join(line, line, kCaptureOn, line, kNoInstruction), 0,
                obstacle.name);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), printed(body));
}

TEST(CreatedFile, ReplacesAnythingButADirectory) {
  for (const Obstacle& obstacle : kObstacles) expectReplaced(obstacle);
}

TEST(CreatedFile, IsNotReadThroughADescriptorOfAnEarlierOne) {
  for (const Obstacle& file : kEarlierFiles) expectReplaced(file);
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
  for (const mode_t mask : {0000, 0777}) {
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

void expectNoLog(const Job& job, std::string_view of, Where where = Where::here()) {
  expectOutcome(job.run(), printed(kText),
                join(tmpLine(job), "ERROR: Unable to open log file\n", tmpLine(job)), 0, of, where);
}

TEST(LogFile, MustBeARegularFileOfTheUser) {
  for (const Obstacle& obstacle : kObstacles) {
    const Job job = loggedJob().input(kText);
    const Obstructed obstructed(job.tmpFile("debug.log"), obstacle);
    expectNoLog(job, obstacle.name);
  }
}

TEST(LogFile, MustNotBelongToAnotherUser) {
  const Job job = loggedJob().input(kText);
  writeFileWithMode(job.tmpFile("debug.log"), kForeign, 0666);
  if (chown(job.tmpFile("debug.log").c_str(), geteuid() + 1, getegid()) != 0)
    GTEST_SKIP() << "only root can give a file to another user";
  expectNoLog(job, "a file of another user");
  EXPECT_EQ(readFile(job.tmpFile("debug.log")), kForeign);
}

// Someone who can rename files could give the log's name, which may hold dots, to a private one.
TEST(LogFile, IsReadableByEveryoneUnlessItWasPrivate) {
  for (const mode_t before : {0600U, 0640U, 0644U}) {
    const Job job = loggedJob("..debug..log..").input(kText);
    const std::string path = job.tmpFile("..debug..log..");
    writeFileWithMode(path, "earlier\n", before);
    expectRun(job, printed(kText));
    EXPECT_TRUE(readFile(path).starts_with("earlier\nAA")) << before;
    EXPECT_EQ(modeOf(path), before == 0644 ? 0666U : before);
  }
}

// Not even in a directory of the filter's user.
TEST(DebugFileName, LeadsNeitherThroughALinkNorUpward) {
  const TemporaryDirectory outside;
  writeFileWithMode(outside.file("debug.log"), kForeign, 0600);
  const std::string upward = "../" + fs::path(outside.path()).filename().string() + "/new.log";
  for (const char* name : {"linked/debug.log", "/linked/debug.log", "logs/linked/debug.log",
                           "linked/new.log", upward.c_str(), "logs/../new.log", "..", "logs/.."}) {
    const Job job = loggedJob(name).input(kText);
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

// ---- what is only read

// A pipe with a process that waits until it can write to it. The filter must not open it: the
// process would go on, and lose what it writes.
class AwaitedPipe {
 public:
  explicit AwaitedPipe(const std::string& path) {
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    writer_ = fork();
    if (writer_ == 0) _exit(open(path.c_str(), O_WRONLY | O_CLOEXEC) >= 0 ? 0 : 1);
    EXPECT_TRUE(sleeps(writer_));
  }
  ~AwaitedPipe() {
    EXPECT_EQ(waitpid(writer_, nullptr, WNOHANG), 0) << "opened";
    kill(writer_, SIGKILL);
    waitpid(writer_, nullptr, 0);
  }

 private:
  pid_t writer_ = -1;
};

// The jobs are printed as without the files, which are pipes, or devices without an end.
TEST(FileToRead, MustBeARegularFile) {
  for (const bool endless : {false, true}) {
    Job job = loggedJob().input("%%Page: 1 1\n");
    Job booklet = instructedJob(join(kTop, kPage1), "");
    const std::string ppd = job.tmpFile("ppd"), count = job.tmpFile("count");
    const std::string settings = job.tmpFile(kLogSettings);
    const std::string page = booklet.tmpFile("pages/en.lproj/instruction(null)");
    std::deque<AwaitedPipe> pipes;
    for (const std::string& path : {ppd, count, settings, page}) {
      fs::remove(path);
      if (endless) {
        fs::create_symlink("/dev/zero", path);
      } else {
        pipes.emplace_back(path);
      }
    }
    expectBody(job.env("PPD", ppd).options(countIn(count)), job.input());
    expectPrinted(booklet, printed(kTop, kPage1, kBlank, ""));
  }
}

// Their size is 0. The first never ends, and only root can open it; the second has the line of a
// PPD file.
TEST(FileOfTheSystem, IsAPpdWithoutLines) {
  for (const char* const path : {"/proc/kmsg", "/proc/self/environ"}) {
    const Job job = Job().env("PPD", path).env("LINE", "\n*QVGeneric: Color\n");
    expectBody(job, "");
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
