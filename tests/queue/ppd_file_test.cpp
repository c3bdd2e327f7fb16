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

const std::string kPrintTo = "PrintTo: JRPrinter *JRVerify\n";
const std::string kPpd = ppdWith(kPrintTo);

// The path of a file with this text, until the next call.
std::string fileWith(const std::string& text) {
  static const TemporaryDirectory directory;
  writeFile(directory.file("ppd"), text);
  return directory.file("ppd");
}

std::string compressed(const std::string& text) {
  const std::string path = fileWith(text);
  EXPECT_EQ(std::system(("gzip -nf '" + path + "'").c_str()), 0);
  return readFile(path + ".gz");
}

std::string repeated(int count, const std::string& line) {
  std::string text;
  for (int i = 0; i < count; ++i) text += line;
  return text;
}

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

void expectGood(const std::string& path, Where where = Where::here()) {
  const Completion job = completeWith(path);
  expectSame(job.messages, "", "the messages", path, where);
  expectSame(job.options, "PrintTo=JRVerify", "the options", path, where);
}

// The filter would warn again, or read it all.
TEST(BadPpd, IsNotPassedToTheFilter) {
  const Job job = Job().env("PPD", "/missing.ppd").input("%!PS\n");
  const Outcome filtered =
      Job(job).unsetEnv("PPD").options("com.apple.print.PrintSettings.PMCopies..n.=1").run();
  expectOutcome(Job(job).queue().run(), filtered.out,
                notUsed("/missing.ppd", "No such file or directory") + filtered.err);
}

TEST(BadPpd, IsEmptyOrNotARegularFile) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.file("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::vector<std::string> paths = {fileWith(""), fifo, "/", "/dev/zero"};
#if defined(__linux__)
  paths.push_back("/proc/self/maps");
#endif
  for (const std::string& path : paths) expectBad(path, "it is empty or not a regular file");
}

TEST(BadPpd, IsReportedWithItsError) {
  expectBad(fileWith(ppdWith("*de.PrintTo JRVerify/Mitte: \"\"") + "wrong\n"),
            "Missing asterisk in column 1, line 16");
  std::string other = kPpd;
  other.replace(other.find("\"Quorvan\""), 9, "\"Another\"");
  expectBad(fileWith(other), "its manufacturer is not Quorvan");
  const std::string whole = ppdWith("*OpenGroup: A/a\n" + kPrintTo + "*CloseGroup: A");
  for (const char* const last :
       {"JRVerify/JRVerify: \"", "JRVerify/JRVerify: \"\"\n", "*CloseUI: *"}) {
    expectBad(fileWith(whole.substr(0, whole.find(last)) + last), "its end is missing");
  }
  expectBad(fileWith(kPpd + "*JobPatchFile 1: \""), "its end is missing");
}

// What precedes the damage is not used either: choices would be missing.
TEST(BadPpd, CannotBeReadToItsEnd) {
  std::string lines;
  for (int i = 0; i < 20000; ++i) lines += "*a: \"" + std::to_string(i * 7919) + "\"\n";
  std::string damaged = compressed(kPpd + lines);
  damaged.replace(damaged.size() - 1000, 200, 200, '\0');
  expectBad(fileWith(damaged), "Input/output error");
}

bool isRead(const std::string& text) {
  const Descriptor file = fileInMemory(text);
  const bool read = readPpdText(file).has_value();
  EXPECT_EQ(errno, 0);
  return read;
}

// libcups would take minutes or gigabytes.
TEST(BadPpd, IsTooLarge) {
  const std::string reason = "it has more than 2 MiB, 50,000 lines or 4,000 definitions";
  const std::string most = repeated(4000, "*PageSize s: x\n");
  expectBad(fileWith(compressed(repeated(3, "*a: \"" + std::string(1 << 20, ' ') + "\"\n"))),
            reason);
  EXPECT_TRUE(isRead(most));
  for (const char* line :
       {"*ParamCustomPageSize p: 1 int 1 2\n", "*customPageSize p: x\n", "*OpenUI *o: PickOne\n",
        "*JCLOpenUI *o: PickOne\n", "*OpenSubGroup: g\n", "*PageSize s: x\n",
        "*PaperDimension s: \"1 2\"\n", "*ImageableArea s: \"1 2\"\n"}) {
    EXPECT_FALSE(isRead(most + line)) << line;
  }
  EXPECT_TRUE(isRead(repeated(50000, "*a: x\n")));
  EXPECT_FALSE(isRead(repeated(50001, "*a: x\n")));
  const std::string largest = repeated(2 << 13, "*" + std::string(126, 'x') + "\n");
  EXPECT_TRUE(isRead(largest));
  EXPECT_FALSE(isRead(largest + "\n"));
}

TEST(GoodPpd, MayBeCompressedOnce) {
  expectGood(fileWith(compressed(kPpd)));
  expectBad(fileWith(compressed(compressed(kPpd))), "Missing asterisk in column 1, line 1");
}

// libcups rejects each of these lines.
TEST(GoodPpd, MayHaveAnythingInLinesThatNoJobNeeds) {
  const std::string name(100, 'x');
  expectGood(fileWith(kPpd + "*de.PrintTo " + name + "/Mitte: \"\"\n"));
  expectGood(fileWith(kPpd + "*Font " + name + ": Standard \"(001.000)\" Standard ROM\n"));
  expectGood(fileWith(kPpd + "*OrderDependency: 10\n"));
}

TEST(GoodPpd, IsReadWhereNoFileCanBeWritten) {
  const std::string path = fileWith(kPpd);
  const FileSizeLimit limit(0);
  expectGood(path);
}

// And none after the last line, where the constraints of equipment are appended.
TEST(GoodPpd, MayHaveAnyLineEnds) {
  const std::string lines = ppdWith(kPrintTo +
                                    "OptionX: True *False\n"
                                    "*UIConstraints: *OptionX False *PrintTo\n") +
                            "*QVGeneric: \"Color\"";
  for (const std::string end : {"\n", "\r", "\r\n"}) {
    std::string text;
    for (const char c : lines) text += c == '\n' ? end : std::string(1, c);
    const Completion job = completeWith(fileWith(text));
    EXPECT_EQ(job.messages, notInstalled("PrintTo=JRVerify", "OptionX=False"));
    EXPECT_EQ(job.options, "");
    EXPECT_EQ(job.additions.ppdKeywords, (PpdKeywords{{"*QVGeneric", "Color"}}));
  }
}

}  // namespace
}  // namespace jobshaper::testing
