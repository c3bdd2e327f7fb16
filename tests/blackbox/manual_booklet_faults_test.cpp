// Manual booklets whose temporary files cannot be created, read or written, or do not fit.
#include <string>
#include <string_view>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

// Nothing is printed of a booklet that fails.
void expectFailure(const Outcome& outcome, const Job& job, std::string_view rearranging = "",
                   Where where = Where::here()) {
  expectOutcome(outcome, "", join(threeTmpLines(job), kNoFile, rearranging, kFatal), 1,
                "the booklet", where);
}

Job fivePages() { return manualJob(join(kTop, pages("12345"))); }

// ---- files that cannot be created

TEST(ManualBookletFault, FileThatCannotBeCreatedEndsTheJobBeforeItIsRead) {
  for (const char* name :
       {"pageReOrdered42", "pageEven42", "newEvenOrder42", "newOddOrder42", "qvn_manualPS42"}) {
    const Job job = manualJob("").capture();
    fs::create_directory(job.tmpFile(name));
    writeFile(job.tmpFile("headerPS42"), "of another run");
    Process process(job);
    EXPECT_TRUE(endsByItself(process)) << name;
    expectOutcome(process.finish(), "",
                  join(tmpLines(job), kCaptureOn, reorderingLine(job), kNoFile, kFatal), 1, name);
    EXPECT_TRUE(fs::is_directory(job.tmpFile(name))) << name;
    EXPECT_EQ(readFile(job.tmpFile("headerPS42")), "of another run") << name;
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps")) + readFile(job.tmpFile("qvn_ps2")), "");
  }
}

TEST(ManualBookletFault, TemporaryDirectoryIsMissingOrAFile) {
  Job job = fivePages();
  expectFailure(job.env("TMPDIR", job.tmpFile("no such directory")).run(), job);
  writeFile(job.tmpFile("file"), "");
  expectFailure(job.env("TMPDIR", job.tmpFile("file")).run(), job);
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

// ---- files that fail later

// Every line is in its file before the next one is waited for.
TEST(ManualBookletFiles, HoldEveryLineWhileTheJobWaitsAndHaveTheJobIdInTheirNames) {
  const std::string id = "7 %s%@%n..\xc3\xa9";
  const Job job = manualJob("").jobId(id);
  Process process(job);
  std::string odd;
  const auto expectFiles = [&](std::string_view in, std::string_view toOdd, std::string_view even,
                               std::string_view newEven, Where where = Where::here()) {
    process.write(in);
    EXPECT_TRUE(sleeps(process));
    odd += toOdd;
    expectSame(readFile(job.tmpFile("pageReOrdered" + id)), odd, "odd pages", in, where);
    expectSame(readFile(job.tmpFile("pageEven" + id)), even, "even page", in, where);
    expectSame(readFile(job.tmpFile("newEvenOrder" + id)), newEven, "earlier ones", in, where);
  };
  expectFiles(kTop, kTop, "", "");
  expectFiles("%%Page: 1 1\nhalf a li", join(kFirstPass, "%%Page: 1 1\n"), "", "");
  expectFiles("ne\n%%Page: 2 2\n", "half a line\n", "%%Page: 2 2\n", "");
  expectFiles("%%Page: 3 3\n%%Page: 4 4\nx\n", "%%Page: 3 3\n", "%%Page: 4 4\nx\n",
              "%%Page: 2 2\n");
  EXPECT_EQ(readFile(job.tmpFile("newOddOrder" + id)) + readFile(job.tmpFile("qvn_manualPS" + id)),
            "");
  EXPECT_FALSE(fs::exists(job.tmpFile("headerPS" + id)));
  EXPECT_EQ(process.finish().exitStatus, 0);
  expectNoManualFiles(job, id);
}

// A directory takes the place of a file while the job waits for more pages.
TEST(ManualBookletFault, FileCannotBeOpenedAgain) {
  const std::string failed = join(kNoFile, kFatal);
  const struct {
    std::string_view begin, file, more;
    std::string messages;
  } rows[] = {{"123", "pageEven42", "45", join(kNoFile, kNoRearranging, kFatal)},
              {"123", "newEvenOrder42", "45", join(kNoFile, kNoRearranging, kFatal)},
              {"12345", "newEvenOrder42", "67", join(kNoFile, kNoRearranging, kFatal)},
              {"12", "pageReOrdered42", "", failed},
              {"12", "pageEven42", "", failed},
              {"12", "qvn_manualPS42", "", "ERROR: Cannot read the print job.\n"}};
  for (const auto& [begin, file, more, messages] : rows) {
    const Job job = manualJob("");
    Process process(job);
    process.write(join(kTop, pages(begin)));
    ASSERT_TRUE(sleeps(process)) << file;
    fs::remove(job.tmpFile(file));
    fs::create_directory(job.tmpFile(file));
    process.write(pages(more));
    expectOutcome(process.finish(), "", threeTmpLines(job) + messages, 1, file);
    EXPECT_TRUE(fs::exists(job.tmpFile("newOddOrder42"))) << "the files are left";
  }
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
  const auto expectNoSpace = [](const std::string& text, rlim_t size, std::string_view rearranging,
                                Where where = Where::here()) {
    const Job job = manualJob(text);
    expectFailure(runWithLimit(job, size), job, rearranging, where);
    EXPECT_TRUE(fs::exists(job.tmpFile("qvn_manualPS42"))) << "the files are left";
  };
  expectNoSpace(join(kTop, bigPage(1), two), 200000, "");  // for the odd pages
  expectNoSpace(join(kTop, kPage1, two), 200000, "");      // for the last even page
  expectNoSpace(join(kPage1, "%%Page: 2\n", std::string(6000, 'x'), "\n", three, four), 5000,
                kNoRearranging);                                     // for an earlier even page
  expectNoSpace(join(kPage1, two, three, four, three), 500000, "");  // for all even pages
  expectNoSpace(join(bigPage(1), two), 500000, "");                  // for the reordered job
  expectNoSpace(join(kPage1, two, three, four, three, two, three), 500000,
                kNoRearranging);  // for the reversed pages
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

}  // namespace
}  // namespace jobshaper::testing
