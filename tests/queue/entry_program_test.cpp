// jobshaper-queue as CUPS starts it: its output is that of the filter for the job with completed
// options.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <set>

#include "tests/queue/queue_ppd.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/instrumented.h"
#include "tests/support/program.h"

// Set by the build.
#ifndef QUEUE_PROGRAM
#error "QUEUE_PROGRAM is not set"
#endif

namespace fs = std::filesystem;

namespace jobshaper::testing {
namespace {

using Strings = std::vector<std::string>;

// A job that the printer keeps, without a title, which would be its name there.
const Strings kJob = {"Office", "42", "ada", "", "3", "PrintTo=JRVerify"};
const std::string kOptions = "PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=3";
// A PPD file whose default is not to arrange the pages.
const std::string kFoldPpd = ppdWith(ppdOption("QVBookletFold", "false BiFold", "BiFold") +
                                     ppdOption("QvnBookletPages", "Arrange Arranged", "Arranged"));
const std::string kInput = bytes(
    "%!PS\r\n\0\xFF the job\n%%BeginFeature: *QVBookletFold BiFold\nx\n"
    "statusdict /duplexer get exec\n%RBINumCopies: 3\n");

Strings withOptions(Strings argv, const std::string& options) {
  argv.at(5) = options;
  return argv;
}

// A directory for a PPD file, the environment of CUPS, and runs of a program in it.
class Queue {
 public:
  std::string file(const std::string& name) const { return directory_.file(name); }
  void ppd(const std::string& text) {
    writeFile(file("printer.ppd"), text);
    environment["PPD"] = file("printer.ppd");
  }
  Outcome run(const Strings& argv, std::string_view input = kInput,
              const BeforeExec& beforeExec = nullptr) const {
    return run(QUEUE_PROGRAM, argv, input, beforeExec);
  }
  Outcome filter(const Strings& argv, std::string_view input = kInput,
                 const BeforeExec& beforeExec = nullptr) const {
    return run(job_.program(), argv, input, beforeExec);
  }
  Outcome filterWithoutPpd(const Strings& argv) {
    const auto before = environment;
    environment.erase("PPD");
    const Outcome outcome = filter(argv);
    environment = before;
    return outcome;
  }

 private:
  Outcome run(const std::string& program, const Strings& argv, std::string_view input,
              const BeforeExec& beforeExec) const {
    Process process(program, argv, environment, beforeExec);
    process.write(input);
    return process.finish();
  }

  Job job_;
  TemporaryDirectory directory_;

 public:
  std::map<std::string, std::string> environment = job_.environment();
};

void expectSame(const Outcome& outcome, const Outcome& expected) {
  EXPECT_EQ(outcome.out, expected.out);
  EXPECT_EQ(outcome.err, expected.err);
  EXPECT_EQ(outcome.exitStatus, expected.exitStatus);
  EXPECT_EQ(outcome.signal, expected.signal);
}

// Why a PPD file with too much in it is not used.
constexpr char kTooLarge[] = "it has more than 2 MiB, 50,000 lines or 4,000 definitions";

void expectWarning(const Queue& queue, const Outcome& outcome, const std::string& reason,
                   const Outcome& expected) {
  EXPECT_EQ(outcome.out, expected.out);
  EXPECT_EQ(outcome.err,
            "\nWARNING: The PPD file " + queue.environment.at("PPD") + " is not used: " + reason +
                ". Set the driver of the queue again with lpadmin -m.\n" + expected.err);
  EXPECT_EQ(outcome.exitStatus, 0);
}

TEST(EntryProgram, FiltersTheJobWithCompletedOptions) {
  Queue queue;
  queue.ppd(kFoldPpd);
  const Outcome outcome = queue.run(kJob);
  expectSame(outcome, queue.filter(withOptions(kJob, kOptions + " QVBookletFold=BiFold")));
  EXPECT_NE(outcome.out.find("<< /Fold 1 >> setpagedevice"), std::string::npos);
  EXPECT_NE(outcome.out.find("<< /CollatedCopies 3 >>"), std::string::npos);
}

TEST(EntryProgram, KeepsTheOtherArguments) {
  Queue queue;
  writeFile(queue.file("a job"), kInput);
  const Strings argv = {"B\xC3\xBCro \"2\"", "42", "O'Hara {x}", "a b\\ <20>", "2", "",
                        queue.file("a job")};
  expectSame(queue.run(argv, ""),
             queue.filter(withOptions(argv, "com.apple.print.PrintSettings.PMCopies..n.=2"), ""));
}

TEST(EntryProgram, NamesAJobThatThePrinterKeeps) {
  Queue queue;
  Strings argv = kJob;
  argv[3] = "The \"first\"\ndraft";
  Outcome expected = queue.filter(withOptions(kJob, kOptions));
  const std::string line = "JOBNAME = \"";
  expected.out.insert(expected.out.find(line) + line.size(), "The 'first' draft");
  expectSame(queue.run(argv), expected);
  argv[5] = "";
  EXPECT_NE(queue.run(argv).out.find(line + "\"\n"), std::string::npos);
}

TEST(EntryProgram, LeavesTheHeaderWhole) {
  Queue queue;
  Strings argv = kJob;
  argv[2] = "x\"\n@PJL SET COPIES = 99";
  Strings clean = argv;
  clean[2] = "x' @PJL SET COPIES = 99";
  expectSame(queue.run(argv), queue.filter(withOptions(clean, kOptions)));
}

TEST(EntryProgram, ReportsThePages) {
  Queue queue;
  std::string job = "%!PS\n%RBINumCopies: 2\n";
  const std::string filler(300000, 'x');  // several reads
  for (const char* page : {"1 1", "2 2", "3 3"}) {
    job += std::string("%%Page: ") + page + "\n" + filler + "\n";
  }
  const Strings argv = {"Office", "42", "ada", "", "2", ""};
  Outcome expected =
      queue.filter(withOptions(argv, "com.apple.print.PrintSettings.PMCopies..n.=2"), job);
  EXPECT_EQ(expected.err.find("PAGE:"), std::string::npos);
  expected.err += "PAGE: 1 2\nPAGE: 2 2\nPAGE: 3 2\n";
  expectSame(queue.run(argv, job), expected);
}

// The rules see a line that also begins a page; no rule applies to binary data, nor is it counted.
TEST(EntryProgram, ReportsPagesInLinesThatTheRulesChange) {
  Queue queue;
  const std::string job = "%!PS\n%%Page: 1 1\n%%Page: sfcl{ 2\n%%Page: 3 InputSlot\n}efcl\n" +
                          std::string("%%Page: \0\n", 10) + "%%Page: JobPatchFile\n1\n2\n";
  const Strings argv = {"Office", "42", "ada", "", "2", ""};
  Outcome expected =
      queue.filter(withOptions(argv, "com.apple.print.PrintSettings.PMCopies..n.=2"), job);
  expected.err += "PAGE: 1 1\nPAGE: 2 1\nPAGE: 3 1\nPAGE: 4 1\n";
  expectSame(queue.run(argv, job), expected);
}

TEST(EntryProgram, ReportsTheFirstPageBeforeItWaits) {
  Queue queue;
  Process process(QUEUE_PROGRAM, {"Office", "42", "ada", "", "1", ""}, queue.environment);
  process.write("%!PS\n");
  ASSERT_TRUE(process.waitForOutputText("%!PS\n"));
  const std::string before = process.err();
  process.write("%%Page: 1 1\n");
  EXPECT_TRUE(process.waitForError(before.size() + 10));
  process.kill(SIGTERM);
  EXPECT_EQ(process.finish().err, before + "PAGE: 1 1\n");
}

TEST(EntryProgram, ReportsThePagesOfAManualBooklet) {
  Queue queue;
  queue.ppd(ppdWith(ppdOption("QVBookletFold", "false Booklet", "Booklet") +
                    "*QvnManualBooklet: True\n"));
  const std::string job = "%!PS\n%%Page: 1 1\na\nb\nc\nd\n%%Page: 2 2\ne\n%%Page: 3 3\nf\n";
  EXPECT_TRUE(queue.run({"Office", "42", "ada", "", "1", ""}, job)
                  .err.ends_with("PAGE: 1 1\nPAGE: 2 1\nPAGE: 3 1\n"));
}

TEST(EntryProgram, TakesEmptyArguments) {
  Queue queue;
  const Strings argv = {"", "", "", "", "", ""};
  expectSame(queue.run(argv), queue.filter(argv));
}

TEST(EntryProgram, LeavesAWrongNumberOfArgumentsToTheFilter) {
  for (const Strings& argv :
       {Strings{"Office", "42"}, Strings{"Office", "42", "ada", "Title", "3"},
        Strings{"Office", "42", "ada", "Title", "3", "a=1", "file", "more"}}) {
    Queue queue;
    queue.environment["DEVICE_URI"] = std::string(100, 'u');
    const Outcome outcome = queue.run(argv);
    expectSame(outcome, queue.filter(argv));
    EXPECT_EQ(outcome.exitStatus, 1);
  }
}

TEST(EntryProgram, TakesADeviceUriOfAnyLength) {
  for (const std::size_t length : {99U, 100U, 5000U}) {
    Queue queue;
    const std::string uri = ("dnssd://" + std::string(length, 'x')).substr(0, length);
    queue.environment["DEVICE_URI"] = uri;
    const Outcome outcome = queue.run(kJob);
    queue.environment["DEVICE_URI"] = uri.substr(0, 99);
    expectSame(outcome, queue.filter(withOptions(kJob, kOptions)));
  }
}

TEST(EntryProgram, NeedsNoDeviceUri) {
  Queue queue;
  queue.environment.erase("DEVICE_URI");
  expectSame(queue.run(kJob), queue.filter(withOptions(kJob, kOptions)));
}

TEST(EntryProgram, EndsLikeTheFilterWhenTheJobIsCanceled) {
  Queue queue;
  queue.ppd(kFoldPpd);
  Outcome outcomes[2];
  for (int i = 0; i < 2; ++i) {
    const Strings argv = i == 0 ? kJob : withOptions(kJob, kOptions + " QVBookletFold=BiFold");
    Process process(i == 0 ? QUEUE_PROGRAM : Job().program(), argv, queue.environment);
    process.write("%!PS\n");
    ASSERT_TRUE(process.waitForOutputText("%!PS\n"));
    process.kill(SIGTERM);
    outcomes[i] = process.finish();
  }
  EXPECT_EQ(outcomes[0].signal, SIGTERM);
  EXPECT_TRUE(outcomes[0].out.ends_with("@PJL EOJ\n@PJL QPORTROTATE\n\x1b%-12345X"));
  expectSame(outcomes[0], outcomes[1]);
}

TEST(EntryProgram, PrintsAJobWhoseMessagesNobodyReads) {
  Queue queue;
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  ::close(ends[0]);
  const BeforeExec closeReader = [&] {
    ::signal(SIGPIPE, SIG_DFL);
    ::dup2(ends[1], STDERR_FILENO);
  };
  queue.environment["PPD"] = "/nowhere";  // a message at the start
  const Outcome outcome = queue.run(kJob, kInput, closeReader);
  ::close(ends[1]);
  EXPECT_EQ(outcome.out, queue.filterWithoutPpd(withOptions(kJob, kOptions)).out);
  EXPECT_EQ(outcome.signal, 0);
}

TEST(EntryProgram, TakesNoPpdFileForTheJob) {
  Queue queue;
  queue.ppd(kFoldPpd);
  const Strings completed = withOptions(kJob, kOptions + " QVBookletFold=BiFold");
  const BeforeExec close = [] { ::close(STDIN_FILENO); };
  expectSame(queue.run(kJob, "", close), queue.filter(completed, "", close));
}

TEST(EntryProgram, LeavesNoFileOpenBesidesTheFilters) {
#if !defined(__linux__)
  GTEST_SKIP() << "the open files of a process are listed in /proc on Linux only";
#else
  Queue queue;
  queue.ppd(kFoldPpd);
  std::multiset<std::string> open[2];
  for (int i = 0; i < 2; ++i) {
    Process process(i == 0 ? QUEUE_PROGRAM : Job().program(), kJob, queue.environment);
    ASSERT_TRUE(process.waitForOutputText("ENTER LANGUAGE = POSTSCRIPT\n"));
    for (const auto& entry :
         fs::directory_iterator("/proc/" + std::to_string(process.pid()) + "/fd")) {
      const std::string target = fs::read_symlink(entry.path());
      open[i].insert(target.substr(0, target.find('[')));
    }
    process.finish();
  }
  EXPECT_EQ(open[1].erase(queue.file("printer.ppd")), 1U);  // a queue has read it before
  EXPECT_EQ(open[0], open[1]);
#endif
}

TEST(EntryProgram, TakesOptionsThatNoArgumentCouldHold) {
  Queue queue;
  queue.ppd(kFoldPpd);
  // The most that the system passes: the additions do not fit into an argument.
  const auto longest = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) * 32 - 1;
  const Outcome outcome = queue.run(withOptions(kJob, "a=" + std::string(longest - 2, 'x')));
  expectSame(outcome, queue.filter(withOptions(kJob, kOptions.substr(kOptions.find(' ') + 1) +
                                                         " QVBookletFold=BiFold")));
}

// ---- choices without their equipment

TEST(EntryProgram, RemovesTheCodeOfAChoiceWithoutItsEquipment) {
  Queue queue;
  const std::string slot =
      "*OpenUI *InputSlot/Slot: PickOne\n*OrderDependency: 30 AnySetup *InputSlot\n"
      "*DefaultInputSlot: Tray1\n*InputSlot Tray1/1: \"one\"\n*InputSlot Tray5/5: \"five\"\n"
      "*CloseUI: *InputSlot\n";
  queue.ppd(ppdWith(slot + "*OpenGroup: InstallableOptions/Options\n" +
                    ppdOption("OptionTray5", "True False", "False") +
                    "*CloseGroup: InstallableOptions\n"
                    "*UIConstraints: *OptionTray5 False *InputSlot Tray5\n"));
  const std::string begin = "%!PS\n[{\n%%BeginFeature: *InputSlot ";
  const std::string end = "%%EndFeature\n} stopped cleartomark\n%%Page: 1 1\nfive\n";
  const auto body = [&](const char* choice, const std::string& code) {
    const Outcome outcome = queue.run({"Office", "42", "ada", "", "1", "InputSlot=Tray5"},
                                      begin + choice + "\n" + code + end);
    EXPECT_NE(outcome.err.find("\nWARNING: InputSlot=Tray5 needs equipment that is not installed "
                               "(OptionTray5=False); it is ignored. If it is installed, "
                               "tell the queue with lpadmin -p QUEUE -o.\n"),
              std::string::npos);
    return outcome.out;
  };
  EXPECT_NE(body("Tray5", "five\n5\n").find(begin + "Tray5\n" + end), std::string::npos);
  EXPECT_NE(body("Tray5\r", "five\n").find(begin + "Tray5\r" + end), std::string::npos);
  EXPECT_NE(body("Tray1", "one\n").find(begin + "Tray1\none\n" + end), std::string::npos);
}

// ---- jobs that are read to their end first

// A booklet of one page, to be arranged.
const Strings kBookletJob = {"Office", "42", "ada", "", "1", "QVBookletFold=BiFold"};
const std::string kPages = "%!PS-Adobe-3.0\n%%BeginProlog\n%%EndProlog\n%%Page: 1 1\n%%EOF\n";

TEST(ArrangedJob, ThatCannotBeKeptIsReported) {
  Queue queue;
  queue.ppd(ppdWith(ppdOption("QVBookletFold", "false BiFold", "false")));
  const auto report = [&](const std::string& reason) {
    return "\nERROR: The job cannot be kept in " + queue.environment["TMPDIR"] + ": " + reason +
           ". Free space there or make it writable, and restart the job.\n";
  };
  // The disk holds nothing; then the job, but not the sides made from it.
  for (const std::size_t limit : {std::size_t{0}, kPages.size()}) {
    const FileSizeLimit fileSize(limit);
    const Outcome outcome = queue.run(kBookletJob, kPages);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, report("File too large"));
    EXPECT_EQ(outcome.exitStatus, 1);
  }
  queue.environment["TMPDIR"] = queue.file("missing");
  EXPECT_EQ(queue.run(kBookletJob, kPages).err, report("No such file or directory"));
}

TEST(ArrangedJob, ThatCannotBeReadIsReported) {
  Queue queue;
  queue.ppd(ppdWith(ppdOption("QVBookletFold", "false BiFold", "false")));
  const auto run = [&](const std::string& path) {
    Strings argv = kBookletJob;
    argv.push_back(path);
    return queue.run(argv).err;
  };
  const std::string begin = "\nERROR: Cannot read the print job: ";
  EXPECT_EQ(run(queue.file("missing")), begin + "No such file or directory. Print it again.\n");
  EXPECT_EQ(run(queue.file("")), begin + "Is a directory. Print it again.\n");
  const BeforeExec readDirectory = [&] { ::dup2(::open("/", O_RDONLY | O_CLOEXEC), STDIN_FILENO); };
  EXPECT_EQ(queue.run(kBookletJob, "", readDirectory).err,
            begin + "Is a directory. Print it again.\n");
}

// ---- jobs that are not printed

TEST(RefusedJob, SendsNothingAndShowsItsUserTheReason) {
  Queue queue;
  for (const char* options : {"PrintTo=JRConf", "job-password=secret", "JRHOLDKEY=Custom.47x11"}) {
    const Outcome outcome = queue.run(withOptions(kJob, options));
    EXPECT_EQ(outcome.out, "") << options;
    EXPECT_EQ(outcome.exitStatus, 1) << options;
    EXPECT_TRUE(outcome.err.starts_with("\nERROR: Not printed: ")) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n', 1), outcome.err.size() - 1) << outcome.err;
    // Not even a wrong PIN is in the messages.
    EXPECT_EQ(outcome.err.find("secret"), std::string::npos);
    EXPECT_EQ(outcome.err.find("47"), std::string::npos);
  }
}

TEST(RefusedJob, EndsAfterItsMessageHasBeenRead) {
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  const Queue queue;
  Process process(QUEUE_PROGRAM, withOptions(kJob, "PrintTo=JRConf"), queue.environment,
                  [&] { ::dup2(pipe[1], STDERR_FILENO); });
  ::close(pipe[1]);
  char text[200];
  ASSERT_EQ(::read(pipe[0], text, 1), 1);
  ::usleep(100000);  // in which it would end if it did not wait
  siginfo_t ended = {};
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(process.pid()), &ended, WEXITED | WNOHANG | WNOWAIT),
            0);
  EXPECT_EQ(ended.si_pid, 0);
  ASSERT_GT(::read(pipe[0], text, sizeof text), 0);
  EXPECT_EQ(process.finish().exitStatus, 1);
  ::close(pipe[0]);
}

// ---- PPD files that cannot be used

TEST(BadPpd, ThatIsNotSetCausesNoWarning) {
  Queue queue;
  expectSame(queue.run(kJob), queue.filter(withOptions(kJob, kOptions)));
}

TEST(BadPpd, ThatIsMissing) {
  Queue queue;
  queue.environment["PPD"] = queue.file("missing.ppd");
  expectWarning(queue, queue.run(kJob), "No such file or directory",
                queue.filterWithoutPpd(withOptions(kJob, kOptions)));
}

TEST(BadPpd, ThatIsEmptyOrNotARegularFile) {
  Queue queue;
  ASSERT_EQ(::mkfifo(queue.file("fifo").c_str(), 0600), 0);
  writeFile(queue.file("empty"), "");
  Strings paths = {queue.file("fifo"), queue.file("empty"), queue.file(""), "/dev/zero"};
#if defined(__linux__)
  paths.push_back("/proc/self/maps");
#endif
  for (const std::string& path : paths) {
    queue.environment["PPD"] = path;
    expectWarning(queue, queue.run(kJob), "it is empty or not a regular file",
                  queue.filterWithoutPpd(withOptions(kJob, kOptions)));
  }
}

TEST(BadPpd, ThatIsNotAPpdFile) {
  Queue queue;
  queue.ppd("This is no PPD file.\n");
  expectWarning(queue, queue.run(kJob), "Missing asterisk in column 1, line 1",
                queue.filterWithoutPpd(withOptions(kJob, kOptions)));
}

TEST(BadPpd, IsReportedWithTheLineThatIsWrong) {
  Queue queue;
  queue.ppd(ppdWith("*de.QVBookletFold BiFold/Mitte: \"\"\nwrong\n"));
  expectWarning(queue, queue.run(kJob), "Missing asterisk in column 1, line 15",
                queue.filterWithoutPpd(withOptions(kJob, kOptions)));
}

TEST(BadPpd, OfAnotherMaker) {
  Queue queue;
  std::string text = kFoldPpd;
  text.replace(text.find("\"Quorvan\""), 9, "\"Another\"");
  queue.ppd(text);
  expectWarning(queue, queue.run(kJob), "its manufacturer is not Quorvan",
                queue.filterWithoutPpd(withOptions(kJob, kOptions)));
}

// Limits memory and processor time, so that libcups could not read these files.
void limitResources() {
  const rlimit time = {20, 20};
  ::setrlimit(RLIMIT_CPU, &time);
  if (kSanitized) return;
  const rlimit memory = {256 << 20, 256 << 20};
  ::setrlimit(RLIMIT_AS, &memory);
}

std::string repeated(std::size_t count, const std::string& before, const std::string& after) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text.append(before).append(std::to_string(i) + after);
  return text;
}

TEST(BadPpd, ThatIsTooLarge) {
  const std::string filler(1000, 'x');
  for (const std::string& lines : {
           repeated(100000, "*ParamCustomPageSize p", ": 1 int 1 2\n"),
           repeated(100000, "*customPageSize p", ": x\n"),
           repeated(30000, "*OpenUI *o", ": PickOne\n"),
           repeated(30000, "*JCLOpenUI *o", ": PickOne\n"),
           repeated(30000, "*OpenSubGroup: g", "\n"),
           repeated(45000, "*PageSize s", ": x\n"),
           repeated(60000, "*PaperDimension s", ": \"1 2\"\n"),
           repeated(60000, "*ImageableArea s", ": \"1 2\"\n"),
           repeated(60000, "*a", ": x\n"),
           repeated(2200, "*a", ": \"" + filler + "\"\n"),
       }) {
    Queue queue;
    queue.ppd(ppdWith(lines));
    expectWarning(queue, queue.run(kJob, kInput, limitResources), kTooLarge,
                  queue.filterWithoutPpd(withOptions(kJob, kOptions)));
  }
}

TEST(BadPpd, ThatIsTooLargeWhenUncompressed) {
  Queue queue;
  queue.ppd(ppdWith(repeated(20, "*a", ": \"" + std::string(1 << 20, ' ') + "\"\n")));
  ASSERT_EQ(std::system(("gzip -n '" + queue.file("printer.ppd") + "'").c_str()), 0);
  queue.environment["PPD"] = queue.file("printer.ppd.gz");
  expectWarning(queue, queue.run(kJob, kInput, limitResources), kTooLarge,
                queue.filterWithoutPpd(withOptions(kJob, kOptions)));
}

TEST(BadPpd, ThatIsCutOff) {
  const std::string whole =
      ppdWith("*OpenGroup: A/a\n" + ppdOption("QVBookletFold", "false BiFold", "BiFold") +
              "*CloseGroup: A\n");
  for (const char* const last : {"BiFold/BiFold: \"", "BiFold/BiFold: \"\"\n", "*CloseUI: *"}) {
    Queue queue;
    queue.ppd(whole.substr(0, whole.find(last)) + last);
    expectWarning(queue, queue.run(kJob), "its end is missing",
                  queue.filterWithoutPpd(withOptions(kJob, kOptions)));
  }
}

// What precedes the damage is not used either: choices would be missing.
TEST(BadPpd, ThatCannotBeReadToItsEnd) {
  Queue queue;
  std::string lines;
  for (int i = 0; i < 20000; ++i) lines += "*a: \"" + std::to_string(i * 7919) + "\"\n";
  queue.ppd(kFoldPpd + lines);
  ASSERT_EQ(std::system(("gzip -n '" + queue.file("printer.ppd") + "'").c_str()), 0);
  queue.environment["PPD"] = queue.file("printer.ppd.gz");
  std::string damaged = readFile(queue.environment["PPD"]);
  damaged.replace(damaged.size() - 1000, 200, 200, '\0');
  writeFile(queue.environment["PPD"], damaged);
  expectWarning(queue, queue.run(kJob), "Input/output error",
                queue.filterWithoutPpd(withOptions(kJob, kOptions)));
}

TEST(GoodPpd, MayBeCompressedOnce) {
  Queue queue;
  queue.ppd(kFoldPpd);
  ASSERT_EQ(std::system(("gzip -n '" + queue.file("printer.ppd") + "'").c_str()), 0);
  queue.environment["PPD"] = queue.file("printer.ppd.gz");
  expectSame(queue.run(kJob), queue.filter(withOptions(kJob, kOptions + " QVBookletFold=BiFold")));
  const std::string twice = queue.file("twice");
  ASSERT_EQ(std::system(("gzip -n <'" + queue.environment["PPD"] + "' >'" + twice + "'").c_str()),
            0);
  queue.environment["PPD"] = twice;
  expectWarning(queue, queue.run(kJob), "Missing asterisk in column 1, line 1",
                queue.filterWithoutPpd(withOptions(kJob, kOptions)));
}

// libcups rejects each of these lines.
TEST(GoodPpd, MayHaveAnythingInLinesThatNoJobNeeds) {
  const std::string name(100, 'x');
  for (const std::string& line : {"*de.QVBookletFold " + name + "/Mitte: \"\"\n",
                                  "*Font " + name + ": Standard \"(001.000)\" Standard ROM\n",
                                  std::string("*OrderDependency: 10\n")}) {
    Queue queue;
    queue.ppd(kFoldPpd + line);
    expectSame(queue.run(kJob),
               queue.filter(withOptions(kJob, kOptions + " QVBookletFold=BiFold")));
  }
}

TEST(GoodPpd, IsReadWhereNoFileCanBeWritten) {
  Queue queue;
  queue.ppd(kFoldPpd);
  const BeforeExec limitFiles = [] {
    const rlimit size = {0, 0};
    ::setrlimit(RLIMIT_FSIZE, &size);
  };
  expectSame(queue.run(kJob, kInput, limitFiles),
             queue.filter(withOptions(kJob, kOptions + " QVBookletFold=BiFold")));
}

// And none after the last line.
TEST(GoodPpd, MayHaveAnyLineEnds) {
  for (const char* const end : {"\n", "\r", "\r\n"}) {
    std::string text;
    for (const char c : kFoldPpd + "*UIConstraints: *A *QVBookletFold\n*QVGeneric: \"Color\"") {
      if (c == '\n') {
        text += end;
      } else {
        text += c;
      }
    }
    Queue queue;
    queue.ppd(text);
    const Outcome outcome = queue.run(kJob);
    expectSame(outcome, queue.filter(withOptions(kJob, kOptions + " QVBookletFold=BiFold")));
    EXPECT_NE(outcome.out.find("@PJL SET RENDERMODE"), std::string::npos) << outcome.out;
  }
}

}  // namespace
}  // namespace jobshaper::testing
