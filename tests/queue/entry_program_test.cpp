// jobshaper-queue as CUPS starts it: its output is that of the filter for the job with completed
// options.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "tests/queue/queue_job.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/pipe.h"

namespace fs = std::filesystem;

namespace jobshaper::testing {
namespace {

const std::string kCopies = "com.apple.print.PrintSettings.PMCopies..n.=";
// A PPD file whose default is not to arrange the pages.
const std::string kFoldPpd =
    ppdWith("QVBookletFold: false *BiFold\nQvnBookletPages: Arrange *Arranged");
const std::string kInput = bytes(
    "%!PS\r\n\0\xFF the job\n%%BeginFeature: *QVBookletFold BiFold\nx\n"
    "statusdict /duplexer get exec\n%RBINumCopies: 3\n");

Job foldJob() { return Job().ppd(kFoldPpd).copies("3").input(kInput); }
const std::string kFoldOptions = kCopies + "3 QVBookletFold=BiFold";

// Checks that the queue makes of the job what the filter makes of it with these options, and
// writes these messages before and after the filter's.
void expectFiltered(const Job& job, const Job& filterJob, const std::string& before = "",
                    const std::string& after = "", const BeforeExec& beforeExec = nullptr,
                    Where where = Where::here()) {
  const Outcome expected = filterJob.run(beforeExec);
  expectOutcome(Job(job).queue().run(beforeExec), expected.out, before + expected.err + after,
                expected.exitStatus, "the job", where);
}

TEST(EntryProgram, FiltersTheJobWithCompletedOptions) {
  // The most that the system passes: the additions do not fit into an argument.
  const auto longest = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) * 32 - 1;
  const Job job = foldJob();
  for (const std::string& options : {std::string(), "a=" + std::string(longest - 2, 'x')}) {
    expectFiltered(Job(job).options(options), Job(job).options(kFoldOptions));
  }
}

TEST(EntryProgram, KeepsTheOtherArguments) {
  const Job job = Job().jobId("O'Hara {x}").title("a b\\ <20>").fileWith(kInput);
  expectFiltered(Job(job).user("x\xC3\xBC\"\n@PJL"),
                 Job(job).user("x\xC3\xBC' @PJL").options(kCopies + "1"));
  const Job empty = Job().arguments({"", "", "", "", ""}).input(kInput);
  expectFiltered(empty, empty);
}

TEST(EntryProgram, NamesAJobThatThePrinterKeeps) {
  const std::string output =
      Job().queue().title("The \"first\"\ndraft").options("PrintTo=JRVerify").run().out;
  EXPECT_NE(output.find("JOBNAME = \"The 'first' draft\"\n"), output.npos) << output;
}

// The rules see a line that also begins a page; no rule applies to binary data, nor is it counted.
TEST(EntryProgram, ReportsThePages) {
  const std::string filler(300000, 'x');  // several reads
  const Job job = Job().copies("2").input(
      "%!PS\n%RBINumCopies: 2\n%%Page: 1 1\n" + filler + "\n%%Page: sfcl{ 2\n" + filler +
      "\n%%Page: 3 InputSlot\n}efcl\n" + bytes("%%Page: \0\n") + "%%Page: JobPatchFile\n1\n2\n");
  expectFiltered(job, Job(job).options(kCopies + "2"), "",
                 "PAGE: 1 2\nPAGE: 2 2\nPAGE: 3 2\nPAGE: 4 2\n");
}

TEST(EntryProgram, ReportsTheFirstPageBeforeItWaits) {
  Process process(Job().queue());
  process.write("%!PS\n");
  ASSERT_TRUE(process.waitForOutputText("%!PS\n"));
  const std::string before = process.err();
  process.write("%%Page: 1 1\n");
  EXPECT_TRUE(process.waitForError(before.size() + 10));
  process.kill(SIGTERM);
  EXPECT_EQ(process.finish().err, before + "PAGE: 1 1\n");
}

TEST(EntryProgram, ReportsThePagesOfAManualBooklet) {
  Job job;
  job.queue().ppd(ppdWith("QVBookletFold: false *Booklet\n*QvnManualBooklet: True"));
  job.input("%!PS\n%%Page: 1 1\na\nb\nc\nd\n%%Page: 2 2\ne\n%%Page: 3 3\nf\n");
  const std::string messages = job.run().err;
  EXPECT_TRUE(messages.ends_with("PAGE: 1 1\nPAGE: 2 1\nPAGE: 3 1\n")) << messages;
}

TEST(EntryProgram, LeavesAWrongNumberOfArgumentsToTheFilter) {
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"42", "ada", "Title", "3"}, {"42", "ada", "Title", "3", "a=1", "file", "more"}}) {
    const Job job = Job().arguments(arguments).env("DEVICE_URI", std::string(100, 'u'));
    expectFiltered(job, job);
  }
}

TEST(EntryProgram, TakesADeviceUriOfAnyLengthOrNone) {
  for (const std::size_t length : {99U, 100U, 5000U}) {
    const std::string uri = "dnssd://" + std::string(length - 8, 'x');
    const Job job = Job().env("DEVICE_URI", uri);
    expectFiltered(job, Job(job).env("DEVICE_URI", uri.substr(0, 99)).options(kCopies + "1"));
  }
  const Job job = Job().unsetEnv("DEVICE_URI");
  expectFiltered(job, Job(job).options(kCopies + "1"));
}

TEST(EntryProgram, EndsACanceledJobWithItsTrailer) {
  Process process(foldJob().queue());
  process.write("%!PS\n");
  ASSERT_TRUE(process.waitForOutputText("%!PS\n"));
  process.kill(SIGTERM);
  const Outcome outcome = process.finish();
  EXPECT_TRUE(outcome.out.ends_with("%!PS\n" + trailer())) << outcome.out;
  EXPECT_EQ(outcome.signal, SIGTERM);
}

TEST(EntryProgram, PrintsAJobWhoseMessagesNobodyReads) {
  const Job job = foldJob().env("PPD", "/nowhere");  // a message at the start
  Pipe messages;
  messages.closeReading();
  expectFiltered(job, Job(job).unsetEnv("PPD").options(kCopies + "3"), "", "", [&] {
    ::signal(SIGPIPE, SIG_DFL);
    ::dup2(messages.writing(), STDERR_FILENO);
  });
}

TEST(EntryProgram, LeavesNoFileOpenBesidesTheFilters) {
#if !defined(__linux__)
  GTEST_SKIP() << "the open files of a process are listed in /proc on Linux only";
#else
  std::multiset<std::string> open[2];
  const Job job = foldJob();
  for (int i = 0; i < 2; ++i) {
    Process process(i == 0 ? Job(job).queue() : job);
    ASSERT_TRUE(process.waitForOutputText("ENTER LANGUAGE = POSTSCRIPT\n"));
    for (const auto& entry :
         fs::directory_iterator("/proc/" + std::to_string(process.pid()) + "/fd")) {
      const std::string target = fs::read_symlink(entry.path());
      open[i].insert(target.substr(0, target.find('[')));
    }
    process.finish();
  }
  EXPECT_EQ(open[1].erase(job.environment().at("PPD")), 1U);  // a queue has read it before
  EXPECT_EQ(open[0], open[1]);
#endif
}

TEST(EntryProgram, RemovesTheCodeOfAChoiceWithoutItsEquipment) {
  const Job job = Job()
                      .ppd(ppdWith("InputSlot: *Tray1{one} Tray5{five}\nOptionTray5: True *False\n"
                                   "*UIConstraints: *OptionTray5 False *InputSlot Tray5"))
                      .options("InputSlot=Tray5");
  const std::string begin = "%!PS\n[{\n%%BeginFeature: *InputSlot ";
  const std::string end = "%%EndFeature\n} stopped cleartomark\n%%Page: 1 1\nfive\n";
  const std::pair<std::string, std::string> rows[] = {{"Tray5\nfive\n5\n", "Tray5\n"},
                                                      {"Tray5\rfive\n", "Tray5\r"},
                                                      {"Tray1\none\n", "Tray1\none\n"}};
  for (const auto& [feature, sent] : rows) {
    expectFiltered(Job(job).input(begin + feature + end),
                   Job(job).input(begin + sent + end).options(kCopies + "1"),
                   notInstalled("InputSlot=Tray5", "OptionTray5=False"), "PAGE: 1 1\n");
  }
}

// ---- jobs that are read to their end first

// A booklet of one page, to be arranged.
const std::string kPages = "%!PS-Adobe-3.0\n%%BeginProlog\n%%EndProlog\n%%Page: 1 1\n%%EOF\n";
Job bookletJob() {
  return Job()
      .queue()
      .ppd(ppdWith("QVBookletFold: *false BiFold"))
      .options("QVBookletFold=BiFold")
      .input(kPages);
}

void expectFailure(const Job& job, const std::string& message, const std::string& reason,
                   const std::string& advice, const BeforeExec& beforeExec = nullptr,
                   Where where = Where::here()) {
  expectOutcome(job.run(beforeExec), "",
                "\nERROR: " + message + ": " + reason + ". " + advice + "\n", 1, reason, where);
}

TEST(ArrangedJob, ThatCannotBeKeptIsReported) {
  const Job job = bookletJob();
  const std::string advice = "Free space there or make it writable, and restart the job.";
  // The disk holds nothing; then the job, but not the sides made from it.
  for (const std::size_t limit : {std::size_t{0}, kPages.size()}) {
    const FileSizeLimit fileSize(limit);
    expectFailure(job, "The job cannot be kept in " + job.tmp(), "File too large", advice,
                  [] { ::signal(SIGXFSZ, SIG_DFL); });  // unlike a full disk, the limit sends it
  }
  const std::string missing = job.tmpFile("missing");
  expectFailure(Job(job).env("TMPDIR", missing), "The job cannot be kept in " + missing,
                "No such file or directory", advice);
}

TEST(ArrangedJob, ThatCannotBeReadIsReported) {
  const std::string message = "Cannot read the print job";
  const std::string again = "Print it again.";
  expectFailure(bookletJob().file("/missing"), message, "No such file or directory", again);
  expectFailure(bookletJob().file("/"), message, "Is a directory", again);
  expectFailure(bookletJob(), message, "Is a directory", again,
                [] { ::dup2(::open("/", O_RDONLY | O_CLOEXEC), STDIN_FILENO); });
}

// ---- jobs that are not printed

// The scheduler shows a message only while the filter runs, and other filters write to the same
// pipe.
TEST(RefusedJob, SendsNothingAndEndsAfterItsMessageHasBeenRead) {
  Pipe messages(0, O_DIRECT);  // keeps writes apart
  const std::string name(3000, 'x');
  Process process(Job().queue().options(name + "=PrintTo=JRConf").input(kInput),
                  [&] { ::dup2(messages.writing(), STDERR_FILENO); });
  messages.closeWriting();
  pollfd message = {messages.reading(), POLLIN, 0};
  ASSERT_EQ(::poll(&message, 1, 20000), 1);
  ::usleep(50000);  // in which it would end if it did not wait
  siginfo_t ended = {};
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(process.pid()), &ended, WEXITED | WNOHANG | WNOWAIT),
            0);
  EXPECT_EQ(ended.si_pid, 0);
  std::string text(4096, '\0');
  text.resize(static_cast<std::size_t>(::read(messages.reading(), text.data(), text.size())));
  EXPECT_EQ(text, "\nERROR: Not printed: the value of " + name +
                      " contains other options. Cancel the job and print it again with blanks "
                      "between the options.\n");
  expectOutcome(process.finish(), "", "", 1);
}

}  // namespace
}  // namespace jobshaper::testing
