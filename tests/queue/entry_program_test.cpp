// The entry program as CUPS starts it, with a recorder as the filter.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/queue/queue_ppd.h"
#include "tests/support/program.h"

// Both are set by the build.
#ifndef QUEUE_PROGRAM
#error "QUEUE_PROGRAM is not set"
#endif
#ifndef RECORDER_PROGRAM
#error "RECORDER_PROGRAM is not set"
#endif

namespace fs = std::filesystem;

namespace jobshaper::testing {
namespace {

using Strings = std::vector<std::string>;

Strings splitAtZeros(const std::string& text) {
  Strings strings;
  for (std::size_t from = 0, to; (to = text.find('\0', from)) != text.npos; from = to + 1) {
    strings.push_back(text.substr(from, to - from));
  }
  return strings;
}

// A server folder with the two programs, and a run of the entry program in it.
class Server {
 public:
  Server() {
    fs::create_directories(folder_.file("filter/records"));
    fs::copy_file(QUEUE_PROGRAM, filter("jobshaper-queue"));
    fs::copy_file(RECORDER_PROGRAM, filter("jobshaper"));
    environment = Job().environment();
    environment["CUPS_SERVERBIN"] = folder_.path();
  }

  std::string filter(const std::string& name) const { return folder_.file("filter/" + name); }
  std::string file(const std::string& name) const { return folder_.file(name); }
  void ppd(const std::string& text) {
    writeFile(file("printer.ppd"), text);
    environment["PPD"] = file("printer.ppd");
  }
  Outcome run(const Strings& argv, std::string_view input = "",
              const std::string& program = "jobshaper-queue") const {
    Process process(filter(program), argv, environment);
    process.write(input);
    return process.finish();
  }

  // What the filter was started with.
  Strings argv(const std::string& jobId = "42") const { return recorded(jobId, "argv"); }
  Strings files() const { return recorded("42", "files"); }
  std::string input(const std::string& jobId = "42") const {
    return readFile(filter("records/" + jobId + ".jobshaper.input"));
  }
  std::map<std::string, std::string> filterEnvironment() const {
    std::map<std::string, std::string> variables;
    for (const std::string& line : recorded("42", "environment")) {
      variables[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    }
    return variables;
  }
  bool filterRan() const { return !fs::is_empty(filter("records")); }

  std::map<std::string, std::string> environment;

 private:
  Strings recorded(const std::string& jobId, const std::string& what) const {
    return splitAtZeros(readFile(filter("records/" + jobId + ".jobshaper." + what)));
  }

  TemporaryFolder folder_;
};

void expectSilentSuccess(const Outcome& outcome) { expectOutcome(outcome, "", ""); }

const Strings kJob = {"Office", "42", "ada", "Title", "3", "PrintTo=JRVerify"};
const std::string kOptions = "PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=3";
const std::string kFoldPpd = ppdWith(ppdOption("QVBookletFold", "false BiFold", "BiFold"));

TEST(EntryProgram, BecomesTheFilterWithCompletedOptions) {
  Server server;
  server.ppd(kFoldPpd);
  expectSilentSuccess(server.run(kJob, bytes("%!PS\r\n\0\xFF the job")));
  EXPECT_EQ(server.argv(),
            Strings({"Office", "42", "ada", "Title", "3", kOptions + " QVBookletFold=BiFold"}));
  EXPECT_EQ(server.input(), bytes("%!PS\r\n\0\xFF the job"));
  EXPECT_EQ(server.filterEnvironment(), server.environment);
  // No file stays open behind it.
  const Strings files = server.files();
  server.run(kJob, "", "jobshaper");
  EXPECT_EQ(files, server.files());
}

TEST(EntryProgram, KeepsTheOtherArguments) {
  Server server;
  const Strings argv = {"Büro \"2\"", "42", "O'Hara {x}", "a\nb\\ <20>", "2", "", "/tmp/no file"};
  expectSilentSuccess(server.run(argv));
  Strings expected = argv;
  expected[5] = "com.apple.print.PrintSettings.PMCopies..n.=2";
  EXPECT_EQ(server.argv(), expected);
}

TEST(EntryProgram, TakesEmptyArguments) {
  Server server;
  expectSilentSuccess(server.run({"", "", "", "", "", "", ""}));
  EXPECT_EQ(server.argv(""), Strings({"", "", "", "", "", "", ""}));
}

TEST(EntryProgram, LeavesAWrongNumberOfArgumentsToTheFilter) {
  for (const Strings& argv :
       {Strings{"Office", "42"}, Strings{"Office", "42", "ada", "Title", "3"},
        Strings{"Office", "42", "ada", "Title", "3", "a=1", "file", "more"}}) {
    Server server;
    server.environment["DEVICE_URI"] = std::string(100, 'u');
    expectSilentSuccess(server.run(argv));
    EXPECT_EQ(server.argv(), argv);
  }
}

TEST(EntryProgram, GoesOnWithoutAPpd) {
  Server server;
  expectSilentSuccess(server.run(kJob));
  EXPECT_EQ(server.argv().at(5), kOptions);
}

TEST(EntryProgram, GoesOnWithAPpdThatCannotBeOpened) {
  Server server;
  server.environment["PPD"] = server.file("missing.ppd");
  expectOutcome(server.run(kJob), "",
                "WARNING: The defaults of the PPD file are not used: Unable to open PPD file, "
                "line 0.\n");
  EXPECT_EQ(server.argv().at(5), kOptions);
}

TEST(EntryProgram, ShortensTheDeviceUriTo99Bytes) {
  for (const std::size_t length : {0U, 1U, 98U, 99U, 100U, 112U, 5000U}) {
    Server server;
    const std::string uri = ("dnssd://" + std::string(length, 'x')).substr(0, length);
    server.environment["DEVICE_URI"] = uri;
    expectSilentSuccess(server.run(kJob));
    EXPECT_EQ(server.filterEnvironment()["DEVICE_URI"], uri.substr(0, 99)) << length;
  }
}

TEST(EntryProgram, SetsNoDeviceUriWhereThereIsNone) {
  Server server;
  server.environment.erase("DEVICE_URI");
  expectSilentSuccess(server.run(kJob));
  EXPECT_EQ(server.filterEnvironment(), server.environment);
}

TEST(EntryProgram, PassesSignalsInTheStateInWhichItGotThem) {
  // The tests start programs with SIGPIPE as CUPS does; libcups must not have changed it.
  Server server;
  fs::remove(server.filter("jobshaper"));
  writeFile(server.filter("jobshaper"), "#!/bin/sh\nexec grep ^SigIgn /proc/self/status\n");
  fs::permissions(server.filter("jobshaper"), fs::perms::owner_all);
  server.ppd(kFoldPpd);
  EXPECT_EQ(server.run(kJob).out, "SigIgn:\t0000000000000000\n");
}

// ---- where the filter is

TEST(FilterPlace, IsBesideTheEntryProgramWhenCupsNamesNone) {
  for (const char* serverBin : {"", "/no such folder", "/dev/null"}) {
    Server server;
    server.environment["CUPS_SERVERBIN"] = serverBin;
    expectSilentSuccess(server.run(kJob));
    EXPECT_EQ(server.argv().at(5), kOptions);
  }
  Server server;
  server.environment.erase("CUPS_SERVERBIN");
  expectSilentSuccess(server.run(kJob));
  EXPECT_TRUE(server.filterRan());
}

TEST(FilterPlace, ThatCupsNamesComesFirst) {
  Server other, server;
  server.environment["CUPS_SERVERBIN"] = other.file("");
  expectSilentSuccess(server.run(kJob));
  EXPECT_TRUE(other.filterRan());
  EXPECT_FALSE(server.filterRan());
}

TEST(FilterPlace, WithoutAFilterIsAnError) {
  Server server;
  fs::remove(server.filter("jobshaper"));
  expectOutcome(
      server.run(kJob), "",
      "ERROR: Cannot start " + server.filter("jobshaper") + ": No such file or directory\n", 1);
}

TEST(FilterPlace, WithAFilterThatMayNotRunIsAnError) {
  Server server;
  fs::permissions(server.filter("jobshaper"), fs::perms::owner_read);
  expectOutcome(server.run(kJob), "",
                "ERROR: Cannot start " + server.filter("jobshaper") + ": Permission denied\n", 1);
}

// ---- sizes

TEST(Sizes, OptionsOfManyKilobytesAreCompleted) {
  Server server;
  server.ppd(kFoldPpd);
  Strings argv = kJob;
  argv[5] = "a=" + std::string(100000, 'x');
  expectSilentSuccess(server.run(argv));
  EXPECT_EQ(server.argv().at(5),
            argv[5] + " com.apple.print.PrintSettings.PMCopies..n.=3" + " QVBookletFold=BiFold");
}

// The system passes no argument of 128 KiB or more: what arrived goes on as it arrived.
TEST(Sizes, OptionsThatFillAnArgumentGoOnAsTheyAre) {
  Server server;
  Strings argv = kJob;
  const auto longest = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) * 32 - 1;
  argv[5] = "a=" + std::string(longest - 2, 'x');
  expectSilentSuccess(server.run(argv));
  EXPECT_EQ(server.argv(), argv);
}

}  // namespace
}  // namespace jobshaper::testing
