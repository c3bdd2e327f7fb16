// Manual booklets whose temporary files cannot be created, read or written, or do not fit.
#include <unistd.h>

#include <string>
#include <string_view>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/permissions.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

// Nothing is printed of a booklet that fails, which is reported after these messages.
void expectFailure(const Outcome& outcome, const Job& job, std::string_view messages = kNoFile,
                   Where where = Where::here()) {
  expectOutcome(outcome, "", join(threeTmpLines(job), messages, kFatal), 1, job.input(), where);
}
const std::string kNotRearranged = join(kNoFile, kNoRearranging);

Job fivePages() { return manualJob(join(kTop, pages("12345"))); }

// ---- files that cannot be created

TEST(ManualBookletFault, FileThatCannotBeCreatedEndsTheJobBeforeItIsRead) {
  for (const char* name :
       {"pageReOrdered42", "pageEven42", "newEvenOrder42", "newOddOrder42", "qvn_manualPS42"}) {
    const Job job = manualJob("");
    fs::create_directory(job.tmpFile(name));
    writeFile(job.tmpFile("headerPS42"), "of another run");
    Process process(job);
    EXPECT_TRUE(endsByItself(process)) << name;
    expectFailure(process.finish(), job);
    EXPECT_TRUE(fs::is_directory(job.tmpFile(name))) << name;
    EXPECT_EQ(readFile(job.tmpFile("headerPS42")), "of another run") << name;
  }
}

TEST(ManualBookletFault, BlockedHeaderFileIsHarmless) {
  const Job job = fivePages();
  fs::create_directory(job.tmpFile("headerPS42"));
  expectRun(job, join(plainHeader(), printed(kTop, pages("135"), kBlank, pages("42")), trailer()),
            join(reorderingLine(job), kNoInstruction));
}

TEST(ManualBookletFault, TemporaryDirectoryIsMissingOrAFileOrReadOnly) {
  Job job = fivePages();
  expectFailure(job.env("TMPDIR", job.tmpFile("no such directory")).run(), job);
  writeFile(job.tmpFile("file"), "");
  expectFailure(job.env("TMPDIR", job.tmpFile("file")).run(), job);

  const Job other = fivePages();
  fs::permissions(other.tmp(), fs::perms::owner_read | fs::perms::owner_exec);
  expectFailure(other.run(obeyPermissions), other);
  EXPECT_TRUE(fs::is_empty(other.tmp()));
}

TEST(ManualBookletFault, JobIdHoldsASlash) {
  for (const char* id : {"a/b", "/../b"}) {
    Job job = fivePages();
    // With these directories the names would lead to files.
    for (const char* name : kManualFiles) {
      fs::create_directory(job.tmpFile(join(name, "a")));
      fs::create_directory(job.tmpFile(name));
    }
    expectFailure(job.jobId(id).run(), job);
    for (const auto& entry : fs::recursive_directory_iterator(job.tmp())) {
      EXPECT_TRUE(entry.is_directory()) << entry.path();
    }
  }
}

TEST(ManualBookletFault, DoesNotAffectPlainJobsAndPrinterMadeBooklets) {
  for (const char* options : {"", "QVBookletFold=Booklet"}) {
    Job job;
    job.jobId("a/b").env("TMPDIR", job.tmpFile("no such directory"));
    expectBody(job.options(options).input(std::string(kTop)), kTop);
  }
}

TEST(ManualBookletFault, LeavesEmptyCaptures) {
  Job job = fivePages();
  fs::create_directory(job.tmpFile("pageEven42"));
  expectRun(job.capture(), "", join(kCaptureOn, reorderingLine(job), kNoFile, kFatal), 1);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), "");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), "");
}

// ---- files that fail later

// Every line is in its file before the next one is waited for.
TEST(ManualBookletFiles, HoldEveryLineWhileTheJobWaits) {
  const Job job = manualJob("");
  Process process(job);
  std::string odd;
  const auto expectFiles = [&](std::string_view in, std::string_view toOdd,
                               std::string_view newEven, Where where = Where::here()) {
    process.write(in);
    EXPECT_TRUE(sleeps(process));
    expectSame(readFile(job.tmpFile("pageReOrdered42")), odd += toOdd, "odd pages", in, where);
    expectSame(readFile(job.tmpFile("pageEven42")), newEven, "even page", in, where);
  };
  expectFiles(kTop, kTop, "");
  expectFiles("%%Page: 1 1\nhalf a li", join(kFirstPass, "%%Page: 1 1\n"), "");
  expectFiles("ne\n%%Page: 2 2\n", "half a line\n", "%%Page: 2 2\n");
  expectFiles("%%Page: 3 3\n%%Page: 4 4\nx\n", "%%Page: 3 3\n", "%%Page: 4 4\nx\n");
  EXPECT_EQ(readFile(job.tmpFile("newEvenOrder42")), "%%Page: 2 2\n");
  EXPECT_EQ(readFile(job.tmpFile("newOddOrder42")), "");
  EXPECT_FALSE(fs::exists(job.tmpFile("headerPS42")));
  EXPECT_EQ(process.finish().exitStatus, 0);
  expectNoManualFiles(job);
}

// A directory takes the place of a file while the job waits for more pages.
TEST(ManualBookletFault, FileCannotBeOpenedAgain) {
  const struct {
    std::string_view begin, file, more, messages;
  } rows[] = {{"123", "pageEven42", "45", kNotRearranged},
              {"12345", "newEvenOrder42", "67", kNotRearranged},
              {"12", "pageReOrdered42", "", kNoFile},
              {"12", "pageEven42", "", kNoFile}};
  for (const auto& [begin, file, more, messages] : rows) {
    const Job job = manualJob("");
    Process process(job);
    process.write(join(kTop, pages(begin)));
    ASSERT_TRUE(sleeps(process)) << file;
    fs::remove(job.tmpFile(file));
    fs::create_directory(job.tmpFile(file));
    process.write(pages(more));
    expectFailure(process.finish(), job, messages);
    EXPECT_TRUE(fs::is_regular_file(job.tmpFile("qvn_manualPS42"))) << "the files are left";
  }
}

TEST(ManualBookletFault, ReorderedFileCannotBeOpened) {
  const Job job = manualJob("");
  Process process(job);
  process.write(join(kTop, pages("12")));
  ASSERT_TRUE(sleeps(process));
  fs::remove(job.tmpFile("qvn_manualPS42"));
  expectOutcome(process.finish(), "",
                join(threeTmpLines(job), "ERROR: Cannot read the print job.\n"), 1);
}

// ---- no space

Outcome runWithLimit(const Job& job, rlim_t size) {
  const FileSizeLimit limit(size);
  return job.run();
}

// A page of 400000 bytes.
std::string bigPage(int number) {
  const std::string start = "%%Page: " + std::to_string(number) + "\n";
  return join(start, std::string(400000 - start.size() - 1, 'x'), "\n");
}

TEST(ManualBookletSpace, IsMissing) {
  const std::string two = bigPage(2), three = "%%Page: 3\n", four = bigPage(4);
  const struct {
    const char* why;
    std::string job;
    rlim_t size;
    std::string_view messages;
  } rows[] = {
      {"the odd pages", join(kTop, bigPage(1), two), 200000, kNoFile},
      {"the last even page", join(kTop, kPage1, two), 200000, kNoFile},
      {"the reversed pages", join(kPage1, two, three, four, "%%Page: 5\n", bigPage(6), three),
       500000, kNotRearranged},
      {"all even pages", join(kPage1, two, three, four, "%%Page: 5\n"), 500000, kNoFile},
      {"the reordered job", join(bigPage(1), two), 500000, kNoFile}};
  for (const auto& [why, text, size, messages] : rows) {
    SCOPED_TRACE(why);
    const Job job = manualJob(text);
    expectFailure(runWithLimit(job, size), job, messages);
    EXPECT_TRUE(fs::exists(job.tmpFile("qvn_manualPS42"))) << "the files are left";
  }
}

TEST(ManualBookletSpace, ThatIsJustEnoughIsEnough) {
  // The blank page has "%%Page: 1\n" and the three pieces of 1024 bytes that follow.
  const std::string page = bigPage(1);
  const std::string blank = join(page.substr(0, 10 + 3 * 1024), kProcedures);
  const std::size_t size = kFirstPass.size() + page.size() + kSecondPass.size() + blank.size();
  const Job job = manualJob(page);
  expectOutcome(runWithLimit(job, size),
                join(plainHeader(), printed("", page, blank, ""), trailer()),
                join(threeTmpLines(job), kNoInstruction));
  expectFailure(runWithLimit(job, size - 1), job);
}

TEST(ManualBookletSpace, IsMissingOnAFullDisk) {
  Job job = manualJob(join(bigPage(1), std::string(500000, 'x'), "\n"));
  expectFailure(job.preload("small_disk").env("DISK_SIZE", "524288").run(), job);
}

}  // namespace
}  // namespace jobshaper::testing
