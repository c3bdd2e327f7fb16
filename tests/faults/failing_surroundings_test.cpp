// Disks and descriptors that run out while a job is printed, files that go away, and many jobs at
// once.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <deque>

#include "tests/faults/fault_jobs.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

// ---- captures

// Each of the two files asks for 16 MiB in advance; neither may take what the other needs.
TEST(CaptureFault, DiskWithJustEnoughSpaceHoldsBothFiles) {
  const std::string text = lines(1200000);
  Job job = Job().capture().input(text);
  expectRun(job.preload("small_disk").env("DISK_SIZE", "19000000"), printed(text), kCaptureOn);
  expectCaptures(job, text, printed(text));
}

TEST(Capture, FreesTheSpaceThatACanceledJobDidNotUse) {
  const std::string text = lines(1200000);
  const Job job = Job().capture();
  Process process(job);
  process.write(text);
  ASSERT_TRUE(process.waitForOutput(join(plainHeader(), text).size()));
  process.kill(SIGTERM);
  EXPECT_EQ(process.finish().signal, SIGTERM);
  for (const char* const name : {"qvn_ps", "qvn_ps2"}) {
    struct stat status {};
    EXPECT_EQ(stat(job.tmpFile(name).c_str(), &status), 0);
    EXPECT_LT(status.st_blocks * 512 - status.st_size, 1000000) << name;
  }
}

// Unlike a full disk, the limit sends a signal.
TEST(CaptureFault, LimitOnTheSizeOfFilesTruncatesTheCapturesAlone) {
  const std::string text = lines(300000);
  const Job job = Job().capture().input(text);
  const Outcome outcome = job.run([] {
    signal(SIGXFSZ, SIG_DFL);
    const rlimit limit{200000, 200000};
    setrlimit(RLIMIT_FSIZE, &limit);
  });
  expectOutcome(outcome, printed(text), join(tmpLines(job), kCaptureOn));
  expectCaptures(job, text.substr(0, 200000), printed(text).substr(0, 200000));
}

// ---- files of the filter that are read back

// While the job waits, a link to another file takes the place of the file.
TEST(ReadBack, IsOnlyOfTheFileThatWasWritten) {
  const std::string failed = join(kNoFile, kFatal);
  const TemporaryDirectory outside;
  writeFile(outside.file("elsewhere"), "somebody else's\n");
  for (const auto& [name, err] : {std::pair("pageReOrdered42", failed),
                                  {"pageEven42", failed},
                                  {"qvn_manualPS42", std::string(kCannotRead)}}) {
    const Job job = manualJob("");
    Process process(job);
    process.write(join(kTop, pages("12")));
    ASSERT_TRUE(sleeps(process));
    fs::remove(job.tmpFile(name));
    fs::create_symlink(outside.file("elsewhere"), job.tmpFile(name));
    expectOutcome(process.finish(), "", threeTmpLines(job) + err, 1, name);
  }
  EXPECT_EQ(readFile(outside.file("elsewhere")), "somebody else's\n");
}

// ---- few descriptors

// Allows the three standard streams and this many more descriptors.
BeforeExec descriptors(unsigned more) {
  return [more] {
    for (int inherited = 3; inherited < 1024; ++inherited) close(inherited);
    const rlimit limit{3 + more, 3 + more};
    setrlimit(RLIMIT_NOFILE, &limit);
  };
}

// One descriptor each for the log, the captures and the PPD. The log needs two until it is open.
TEST(FewDescriptors, CostOnlyWhatCannotBeOpened) {
  const std::string ppd = "ERROR: Unable to open PPD file\n";
  const std::string errors[] = {join(kNoCaptureOut, ppd), join(kNoCaptureOut, ppd), ppd, ""};
  for (unsigned more = 1; more <= 4; ++more) {
    Job job = Job().capture().log(7).ppd("*QVGeneric: Color\n").input("%!PS\n");
    job.asanOption("detect_leaks=0");  // leak detection would open files
    const std::string_view color =
        more < 4 ? "" : "@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n";
    expectOutcome(job.run(descriptors(more)), join(headerWith(color), "%!PS\n", trailer()),
                  join(tmpLines(job), kCaptureOn, errors[more - 1]), 0, std::to_string(more));
  }
}

TEST(FewDescriptors, EndAManualBookletOrLetItBePrinted) {
  bool printedOnce = false;
  for (unsigned more = 1; more <= 12; ++more) {
    SCOPED_TRACE(more);
    Job job = manualJob(join(kTop, pages("123456")));
    const Outcome outcome = job.asanOption("detect_leaks=0").run(descriptors(more));
    if (outcome.exitStatus == 0) {
      printedOnce = true;
      expectOutcome(outcome, printed(printed(kTop, pages("135"), kBlank, pages("642"))),
                    join(threeTmpLines(job), kNoInstruction));
    } else {
      EXPECT_FALSE(printedOnce);
      EXPECT_EQ(outcome.out, "");
      EXPECT_TRUE(outcome.err.starts_with(join(threeTmpLines(job), kNoFile))) << outcome.err;
      EXPECT_TRUE(outcome.err.ends_with(kFatal)) << outcome.err;
      EXPECT_EQ(outcome.exitStatus, 1);
    }
  }
  EXPECT_TRUE(printedOnce);
}

// ---- many jobs at once

// A job whose number chooses its kind, and is in each of its lines.
Job numberedJob(int number) {
  const std::string name = std::to_string(number);
  std::string text = "%!PS\n%RBINumCopies: " + name + "\n/Collate " + name + "\n*QVBookletFold " +
                     name + "\nstatusdict /duplexer get exec\n";
  for (int page = 1; page <= 8; ++page) {
    text += "%%Page: " + std::to_string(page) + " " + name + "\n";
    for (int i = 0; i < 500; ++i) text += "(" + name + ") show\n";
  }
  const std::string settings = "com.apple.print.PrintSettings.PMCopy";
  const std::string options[] = {"QVBookletFold=SaddleStitch",
                                 "PrintTo=JRVerify " + settings + "ies..n.=" + name,
                                 "QVPosterEnablePS=true " + settings + "Collate..b.=true", ""};
  Job job = number % 5 == 4 ? manualJob("") : Job().options(options[number % 5]);
  if (number % 5 == 2) job.version("0x1030");
  return job.jobId(name).user("user " + name).input(text);
}

TEST(ManyJobs, PrintTheSameAsEachAlone) {
  const TemporaryDirectory shared;
  writeFile(shared.file("qvn_log"), "");
  std::vector<Job> jobs;
  std::vector<std::string> alone;
  std::deque<Process> processes;
  for (int number = 0; number < 20; ++number) {
    jobs.push_back(numberedJob(number));
    alone.push_back(jobs.back().run().out);
    processes.emplace_back(jobs.back().env("TMPDIR", shared.path()));
  }
  for (std::size_t part = 0; part < 4; ++part) {
    for (std::size_t i = 0; i < jobs.size(); ++i) {
      const std::size_t size = jobs[i].input().size() / 4 + 1;
      processes[i].write(std::string_view(jobs[i].input()).substr(part * size, size));
    }
  }
  const std::string line = "tmp at " + shared.path() + " \n";
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    EXPECT_GT(alone[i].size(), jobs[i].input().size());
    const std::string ofManual = i % 5 == 4 ? line + kNoInstruction : "";
    expectOutcome(processes[i].finish(), alone[i], join(line, line, kCaptureOn, ofManual), 0,
                  std::to_string(i));
  }
}

}  // namespace
}  // namespace jobshaper::testing
