// Which PPD files jobshaper-queue uses, and what it says of the others.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/files.h"
#include "queue/ppd_text.h"
#include "tests/queue/queue_job.h"
#include "tests/support/file_size_limit.h"

namespace jobshaper::testing {
namespace {

const std::string kOption = ppdOption("PrintTo", "JRPrinter JRVerify", "JRVerify");
const std::string kPpd = ppdWith(kOption);

std::string notUsed(const std::string& path, const std::string& reason) {
  return "\nWARNING: The PPD file " + path + " is not used: " + reason +
         ". Set the driver of the queue again with lpadmin -m.\n";
}

Completion completeWith(const std::string& path) {
  QueueJob job;
  job.ppdPath = path.c_str();
  return completeJob(job);
}

void expectBad(const std::string& path, const std::string& reason, Where where = Where::here()) {
  const Completion job = completeWith(path);
  expectSame(job.messages, notUsed(path, reason), "the messages", path, where);
  EXPECT_TRUE(job.ppdIsUnusable) << reason;
  EXPECT_EQ(job.options, "") << reason;
}

// A PPD file that is removed at the end.
class PpdFile {
 public:
  explicit PpdFile(std::string_view text) { writeFile(path(), text); }
  std::string path() const { return directory_.file("printer.ppd"); }
  // Compresses the file and returns the new path.
  std::string compressed() const {
    const std::string result = path() + ".gz";
    EXPECT_EQ(std::system(("gzip -n <'" + path() + "' >'" + result + "'").c_str()), 0);
    return result;
  }

 private:
  TemporaryDirectory directory_;
};

// The filter would warn again, or read it all.
TEST(BadPpd, IsNotPassedToTheFilter) {
  const Job job = Job().env("PPD", "/missing.ppd").input("%!PS\n");
  const Outcome filtered =
      Job(job).unsetEnv("PPD").options("com.apple.print.PrintSettings.PMCopies..n.=1").run();
  expectOutcome(Job(job).queue().run(), filtered.out,
                notUsed("/missing.ppd", "No such file or directory") + filtered.err);
}

TEST(BadPpd, IsMissingEmptyOrNotARegularFile) {
  const PpdFile empty("");
  expectBad(empty.path() + "x", "No such file or directory");
  const std::string fifo = empty.path() + ".fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::vector<std::string> paths = {empty.path(), fifo, "/", "/dev/zero"};
#if defined(__linux__)
  paths.push_back("/proc/self/maps");
#endif
  for (const std::string& path : paths) expectBad(path, "it is empty or not a regular file");
}

TEST(BadPpd, IsReportedWithItsError) {
  expectBad(PpdFile(ppdWith("*de.PrintTo JRVerify/Mitte: \"\"\nwrong\n")).path(),
            "Missing asterisk in column 1, line 15");
  std::string other = kPpd;
  other.replace(other.find("\"Quorvan\""), 9, "\"Another\"");
  expectBad(PpdFile(other).path(), "its manufacturer is not Quorvan");
  const std::string whole = ppdWith("*OpenGroup: A/a\n" + kOption + "*CloseGroup: A\n");
  for (const char* const last :
       {"JRVerify/JRVerify: \"", "JRVerify/JRVerify: \"\"\n", "*CloseUI: *"}) {
    expectBad(PpdFile(whole.substr(0, whole.find(last)) + last).path(), "its end is missing");
  }
  expectBad(PpdFile(kPpd + "*JobPatchFile 1: \"").path(), "its end is missing");
}

// What precedes the damage is not used either: choices would be missing.
TEST(BadPpd, CannotBeReadToItsEnd) {
  std::string lines;
  for (int i = 0; i < 20000; ++i) lines += "*a: \"" + std::to_string(i * 7919) + "\"\n";
  const PpdFile file(kPpd + lines);
  const std::string path = file.compressed();
  std::string damaged = readFile(path);
  damaged.replace(damaged.size() - 1000, 200, 200, '\0');
  writeFile(path, damaged);
  expectBad(path, "Input/output error");
}

std::string repeated(int count, const std::string& line) {
  std::string text;
  for (int i = 0; i < count; ++i) text += line;
  return text;
}

// libcups would take minutes or gigabytes.
TEST(BadPpd, IsTooLarge) {
  constexpr char kTooLarge[] = "it has more than 2 MiB, 50,000 lines or 4,000 definitions";
  expectBad(PpdFile(ppdWith(repeated(4001, "*PageSize s: x\n"))).path(), kTooLarge);
  expectBad(PpdFile(repeated(3, "*a: \"" + std::string(1 << 20, ' ') + "\"\n")).compressed(),
            kTooLarge);
  const auto isRead = [](const std::string& text) {
    const PpdFile file(text);
    const Descriptor descriptor = openForReading(file.path().c_str());
    const bool read = readPpdText(descriptor).has_value();
    EXPECT_EQ(errno, 0);
    return read;
  };
  const std::string most = repeated(4000, "*PageSize s: x\n");
  EXPECT_TRUE(isRead(most));
  for (const char* line :
       {"*ParamCustomPageSize p: 1 int 1 2\n", "*customPageSize p: x\n", "*OpenUI *o: PickOne\n",
        "*JCLOpenUI *o: PickOne\n", "*OpenSubGroup: g\n", "*PageSize s: x\n",
        "*PaperDimension s: \"1 2\"\n", "*ImageableArea s: \"1 2\"\n"}) {
    EXPECT_FALSE(isRead(most + line)) << line;
  }
  EXPECT_TRUE(isRead(repeated(50000, "*a: x\n")));
  EXPECT_FALSE(isRead(repeated(50001, "*a: x\n")));
  const std::string block = "*" + std::string(126, 'x') + "\n";
  EXPECT_TRUE(isRead(repeated(2 << 13, block)));
  EXPECT_FALSE(isRead(repeated(2 << 13, block) + "\n"));
}

void expectGood(const std::string& path, Where where = Where::here()) {
  const Completion job = completeWith(path);
  expectSame(job.messages, "", "the messages", path, where);
  expectSame(job.options, "PrintTo=JRVerify", "the options", path, where);
}

TEST(GoodPpd, MayBeCompressedOnce) {
  const PpdFile file(kPpd);
  const std::string path = file.compressed();
  expectGood(path);
  const PpdFile again(readFile(path));
  expectBad(again.compressed(), "Missing asterisk in column 1, line 1");
}

// libcups rejects each of these lines.
TEST(GoodPpd, MayHaveAnythingInLinesThatNoJobNeeds) {
  const std::string name(100, 'x');
  for (const std::string& line : {"*de.PrintTo " + name + "/Mitte: \"\"\n",
                                  "*Font " + name + ": Standard \"(001.000)\" Standard ROM\n",
                                  std::string("*OrderDependency: 10\n")}) {
    expectGood(PpdFile(kPpd + line).path());
  }
}

TEST(GoodPpd, IsReadWhereNoFileCanBeWritten) {
  const PpdFile file(kPpd);
  const FileSizeLimit limit(0);
  expectGood(file.path());
}

// And none after the last line, where the constraints of equipment are appended.
TEST(GoodPpd, MayHaveAnyLineEnds) {
  for (const std::string end : {"\n", "\r", "\r\n"}) {
    std::string text;
    for (const char c :
         ppdWith(kOption + ppdEquipment(ppdOption("OptionX", "True False", "False")) +
                 "*UIConstraints: *OptionX False *PrintTo\n*QVGeneric: \"Color\"")) {
      text += c == '\n' ? end : std::string(1, c);
    }
    text.resize(text.rfind("\"Color\"") + 7);
    const Completion job = completeWith(PpdFile(text).path());
    EXPECT_EQ(job.messages, notInstalled("PrintTo=JRVerify", "OptionX=False", "it is ignored"));
    EXPECT_EQ(job.options, "");
    EXPECT_EQ(job.additions.ppdKeywords, (PpdKeywords{{"*QVGeneric", "Color"}}));
  }
}

}  // namespace
}  // namespace jobshaper::testing
