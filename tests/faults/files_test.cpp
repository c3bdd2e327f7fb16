// The files that the filter creates, in a folder where others may have been before it, and those
// that it only reads: neither leads it to a file elsewhere, holds it up or fills its memory.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
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

// ---- what is created

// A kind of job with one of the files that it creates, and how the job ends without it.
struct Created {
  const char* file;
  Job (*job)();
  Outcome (*refused)(const Job& job);
};

void PrintTo(const Created& row, std::ostream* out) { *out << row.file; }

constexpr std::string_view kText = "%!PS\nshowpage\n";

Outcome printedWith(std::string err) {
  return {join(plainHeader(), kText, trailer()), std::move(err), 0, 0};
}

Job capturedJob() { return Job().capture().input(std::string(kText)); }
Job loggedJob() { return Job().log(7).input(std::string(kText)); }
Job bookletJob() { return manualJob(join(kTop, pages("12345"))); }

Outcome withoutBooklet(const Job& job) {
  return {"", join(threeTmpLines(job), kNoFile, kFatal), 1, 0};
}

constexpr Created kCreated[] = {
    {"qvn_ps", capturedJob,
     [](const Job& job) { return printedWith(join(tmpLines(job), kCaptureOn, kNoCaptureIn)); }},
    {"qvn_ps2", capturedJob,
     [](const Job& job) { return printedWith(join(tmpLines(job), kCaptureOn, kNoCaptureOut)); }},
    {"debug.log", loggedJob,
     [](const Job& job) { return printedWith(join(tmpLine(job), kNoDebugFile, tmpLine(job))); }},
    {"qvn_manualPS42", bookletJob, withoutBooklet},
    {"pageReOrdered42", bookletJob, withoutBooklet},
    {"pageEven42", bookletJob, withoutBooklet},
    {"newEvenOrder42", bookletJob, withoutBooklet},
    {"newOddOrder42", bookletJob, withoutBooklet},
};

class CreatedFile : public ::testing::TestWithParam<Created> {
 protected:
  CreatedFile() : job_(GetParam().job()), path_(job_.tmpFile(GetParam().file)) {
    writeFile(elsewhere(), kForeign);
  }

  std::string elsewhere() const { return outside_.file("elsewhere"); }

  // Nothing is written through what stands in the file's place.
  void expectRefused() {
    Process process(job_.program(), job_.argv(), job_.environment());
    process.write(GetParam().job == bookletJob ? join(kTop, pages("12345")) : std::string(kText));
    process.closeInput();
    ASSERT_TRUE(endsByItself(process));
    const Outcome expected = GetParam().refused(job_);
    expectOutcome(process.finish(), expected.out, expected.err, expected.exitStatus);
    EXPECT_EQ(readFile(elsewhere()), kForeign);
  }

  Job job_;
  std::string path_;
  TemporaryFolder outside_;
};

INSTANTIATE_TEST_SUITE_P(Names, CreatedFile, ::testing::ValuesIn(kCreated));

TEST_P(CreatedFile, IsNotTheTargetOfALink) {
  fs::create_symlink(elsewhere(), path_);
  expectRefused();
  EXPECT_TRUE(fs::is_symlink(path_));
}

TEST_P(CreatedFile, IsNotMadeThroughALinkThatLeadsNowhere) {
  fs::create_symlink(outside_.file("new"), path_);
  expectRefused();
  EXPECT_FALSE(fs::exists(outside_.file("new")));
}

TEST_P(CreatedFile, IsNotAFileThatHasAnotherName) {
  fs::create_hard_link(elsewhere(), path_);
  expectRefused();
}

TEST_P(CreatedFile, IsNotAFileOfAnotherUser) {
  writeFile(path_, kForeign);
  fs::permissions(path_, fs::perms(0666));
  job_.preload("refusing_calls").env("REFUSED_CALL", "ownership");
  expectRefused();
  EXPECT_EQ(readFile(path_), kForeign);
}

TEST_P(CreatedFile, IsNotAPipeThatNobodyReads) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  expectRefused();
}

TEST_P(CreatedFile, IsNotAPipeThatSomebodyReads) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  expectRefused();
  char byte;
  EXPECT_LE(read(reader, &byte, 1), 0);
  close(reader);
}

TEST_P(CreatedFile, IsNotASocket) {
  ASSERT_EQ(mknod(path_.c_str(), S_IFSOCK | 0600, 0), 0);
  expectRefused();
}

// Of an earlier run, or in the way of one without the right permissions.
TEST_P(CreatedFile, MayBeThere) {
  writeFile(path_, "earlier\n");
  const Outcome outcome = job_.run();
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_EQ(outcome.err.find("ERROR"), std::string::npos) << outcome.err;
}

// A folder whose files may be written, but neither removed nor joined by others.
Outcome runInClosedFolder(const Job& job) {
  fs::permissions(job.tmp(), fs::perms::owner_read | fs::perms::owner_exec);
  return job.run(obeyPermissions);
}

// Whoever still has the old one open keeps it.
TEST(BookletFile, IsANewOneInThePlaceOfOneWithContent) {
  const Job job = bookletJob();
  writeFile(job.tmpFile("pageEven42"), "earlier\n");
  const int earlier = open(job.tmpFile("pageEven42").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(job.run().exitStatus, 0);
  char bytes[100];
  EXPECT_EQ(read(earlier, bytes, sizeof bytes), 8);
  close(earlier);
}

TEST(BookletFile, IsEmptiedWhereItsFolderTakesNoNewOnes) {
  const Job job = bookletJob();
  for (const char* name :
       {"qvn_manualPS42", "pageReOrdered42", "pageEven42", "newEvenOrder42", "newOddOrder42"}) {
    writeFile(job.tmpFile(name), std::string(100000, 'x'));
  }
  const Outcome plain = bookletJob().run();
  const Outcome outcome = runInClosedFolder(job);
  expectOutcome(outcome, plain.out, join(threeTmpLines(job), kNoInstruction));
}

TEST(CaptureFile, IsEmptiedWhereItsFolderTakesNoNewOnes) {
  const Job job = capturedJob();
  writeFile(job.tmpFile("qvn_ps"), "earlier, and longer than the job\n");
  writeFile(job.tmpFile("qvn_ps2"), "");
  expectOutcome(runInClosedFolder(job), join(plainHeader(), kText, trailer()),
                join(tmpLines(job), kCaptureOn));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), kText);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), join(plainHeader(), kText, trailer()));
}

mode_t modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

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
  // Files of an earlier run keep no permissions of theirs.
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

// What others could read is not written at all; the log is for everyone anyway.
TEST(CreatedFileMode, IsNotLeftToADiskThatKnowsNone) {
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

// A program that the filter never starts would not get hold of its files either.
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
  const std::string folder = "/proc/" + std::to_string(process.pid());
  for (const auto& entry : fs::directory_iterator(folder + "/fd")) {
    const std::string number = entry.path().filename();
    if (std::stoi(number) <= 2) continue;
    ++files;
    const std::string info = contentOf(folder + "/fdinfo/" + number);
    const std::size_t flags = info.find("flags:");
    ASSERT_NE(flags, std::string::npos);
    EXPECT_NE(std::stoul(info.substr(flags + 6), nullptr, 8) & O_CLOEXEC, 0U)
        << fs::read_symlink(entry.path());
  }
  EXPECT_GE(files, 9);  // job, PPD, log, two captures and the files of the booklet
  close(writer);
  EXPECT_EQ(process.finish().exitStatus, 0);
}

// ---- files of ours that are read back

// Puts something else in the place of a file while the job waits.
TEST(ReadBack, IsNoLinkToAFileElsewhere) {
  for (const char* name : {"pageReOrdered42", "pageEven42"}) {
    const TemporaryFolder outside;
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

// The reordered job may be replaced between its writing and its opening: it is opened as a file
// of ours all the same.
TEST(ReadBack, OfTheReorderedJobFollowsNoLink) {
  const TemporaryFolder outside;
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
  const TemporaryFolder outside;
  for (const std::string& name :
       {join("../", fs::path(outside.path()).filename().string(), "/x.log"),
        std::string("logs/../x.log"), std::string(".."), std::string("logs/..")}) {
    const Job job = loggedJob();
    fs::create_directory(job.tmpFile("logs"));
    const std::string settings = job.tmpFile("Debug/.DebugPlist/qvDebug.plist");
    std::string list = readFile(settings);
    list.replace(list.find("debug.log"), 9, name);
    writeFile(settings, list);
    const Outcome expected = printedWith(join(tmpLine(job), kNoDebugFile, tmpLine(job)));
    expectOutcome(job.run(), expected.out, expected.err, 0);
    EXPECT_FALSE(fs::exists(outside.file("x.log"))) << name;
    EXPECT_FALSE(fs::exists(job.tmpFile("x.log"))) << name;
  }
}

TEST(DebugFileName, MayHoldDots) {
  const Job job = loggedJob();
  const std::string settings = job.tmpFile("Debug/.DebugPlist/qvDebug.plist");
  std::string list = readFile(settings);
  list.replace(list.find("debug.log"), 9, "..debug..log..");
  writeFile(settings, list);
  const Outcome expected = printedWith(tmpLines(job));
  expectOutcome(job.run(), expected.out, expected.err, 0);
  EXPECT_TRUE(fs::exists(job.tmpFile("..debug..log..")));
}

// ---- what is only read

// The job is printed as without the file, and soon, though nobody writes into the pipe.
void expectPrintedSoon(const Job& job, std::string_view err) {
  Process process(job.program(), job.argv(), job.environment());
  process.write(kText);
  process.closeInput();
  EXPECT_TRUE(endsByItself(process));
  expectOutcome(process.finish(), join(plainHeader(), kText, trailer()), err);
}

// Something that is no file, below a folder of its own.
class NoFile {
 public:
  enum Kind { pipe, heldPipe, endless };

  explicit NoFile(Kind kind) {
    if (kind == endless) {
      fs::create_symlink("/dev/zero", path());
    } else {
      EXPECT_EQ(mkfifo(path().c_str(), 0600), 0);
    }
    if (kind == heldPipe) writer_ = open(path().c_str(), O_RDWR | O_CLOEXEC);
  }
  ~NoFile() {
    if (writer_ >= 0) close(writer_);
  }
  NoFile(const NoFile&) = delete;
  NoFile& operator=(const NoFile&) = delete;

  std::string path() const { return folder_.file("file"); }

 private:
  TemporaryFolder folder_;
  int writer_ = -1;
};

class FileToRead : public ::testing::TestWithParam<NoFile::Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, FileToRead,
                         ::testing::Values(NoFile::pipe, NoFile::heldPipe, NoFile::endless));

TEST_P(FileToRead, ThatIsNoneIsAPpdWithoutLines) {
  const NoFile file(GetParam());
  Job job;
  job.env("PPD", file.path());
  expectPrintedSoon(job, tmpLines(job));
}

TEST_P(FileToRead, ThatIsNoneSwitchesNoLogOn) {
  const NoFile file(GetParam());
  const Job job;
  fs::create_directories(job.tmpFile("Debug/.DebugPlist"));
  fs::create_symlink(file.path(), job.tmpFile("Debug/.DebugPlist/qvDebug.plist"));
  expectPrintedSoon(job, tmpLines(job));
}

TEST_P(FileToRead, ThatIsNoneHoldsNoPageCount) {
  const NoFile file(GetParam());
  Job job;
  job.options("QVBookletFold=Booklet QVBookletPageCountFilename='" + file.path() + "'");
  expectPrintedSoon(job, tmpLines(job));
}

TEST_P(FileToRead, ThatIsNoneIsNoInstructionPage) {
  const NoFile file(GetParam());
  const TemporaryFolder pages;
  fs::create_directory(pages.file("en.lproj"));
  fs::create_symlink(file.path(), pages.file("en.lproj/instruction(null)"));
  Job job = manualJob("");
  job.version("0x1050").env("JOBSHAPER_INSTRUCTIONS", pages.path());
  Process process(job.program(), job.argv(), job.environment());
  process.write("%%Page: 1 1\n");
  process.closeInput();
  EXPECT_TRUE(endsByItself(process));
  EXPECT_EQ(process.finish().err, join(threeTmpLines(job), kNoInstruction));
}

// A file of many gigabytes, most of it a hole, that begins and ends with these bytes.
std::string hugeFile(const TemporaryFolder& folder, std::string_view begin, off_t size,
                     std::string_view end) {
  std::string path = folder.file("huge");
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  EXPECT_EQ(pwrite(file, begin.data(), begin.size(), 0), static_cast<ssize_t>(begin.size()));
  EXPECT_EQ(pwrite(file, end.data(), end.size(), size), static_cast<ssize_t>(end.size()));
  close(file);
  return path;
}

TEST(HugeFile, IsAPpdOnlyUpTo64MiB) {
  const TemporaryFolder folder;
  Job job;
  job.env("PPD", hugeFile(folder, "*QVGeneric: Color\n", off_t{1} << 33, "\n*QVGeneric: Mono\n"));
  job.input(std::string(kText));
  expectOutcome(
      job.run(),
      headerWith("@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n") + kText + trailer(),
      tmpLines(job));
}

// A line that begins there is beyond them, one that ends there is not.
TEST(HugeFile, IsAPpdOfExactly64MiB) {
  for (const off_t size : {off_t{1} << 26, (off_t{1} << 26) - 1}) {
    const TemporaryFolder folder;
    Job job;
    job.env("PPD", hugeFile(folder, "*QVGeneric: Color\n", size - 1, "\n*QVGeneric: Mono\n"));
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

TEST(HugeFile, SwitchesNoLogOn) {
  const TemporaryFolder folder;
  const Job job = loggedJob();
  const std::string settings = job.tmpFile("Debug/.DebugPlist/qvDebug.plist");
  const std::string path = hugeFile(folder, readFile(settings), off_t{1} << 33, "</plist>");
  fs::remove(settings);
  fs::create_symlink(path, settings);
  expectOutcome(job.run(), join(plainHeader(), kText, trailer()), tmpLines(job));
}

TEST(HugeFile, HoldsAPageCountUpToItsFirstOtherByte) {
  const TemporaryFolder folder;
  Job job;
  job.options("QVBookletFold=Booklet QVBookletCoverSource=Tray1 QVBookletPageCountFilename='" +
              hugeFile(folder, "4", off_t{1} << 33, "4") + "'");
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
