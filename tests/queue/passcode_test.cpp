// The PIN of a confidential job: which one is sent, and which jobs are not printed.
#include "queue/passcode.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "queue/option_string.h"
#include "settings/argument_store.h"
#include "tests/queue/queue_ppd.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// The PPD file as our printers have it, with this default of PrintTo and, if any, of the PIN.
std::string ppdText(const std::string& printTo, const std::string& defaultKey = "None") {
  return ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify JRConf", printTo) +
                 ppdOption("JRHOLDKEY", "None", defaultKey) +
                 "*CustomJRHOLDKEY True: \"\"\n*ParamCustomJRHOLDKEY PIN: 1 passcode 4 8\n");
}

const std::string kPpd = ppdText("JRPrinter");

struct Answer {
  std::string keeps;    // PrintTo and JRHOLDKEY as the filter gets them, "JRConf 4711"
  std::string refusal;  // the reason
  std::string advice;   // what to do
  std::string said;     // on standard error
};

Answer answer(const std::string& options, const std::optional<std::string>& ppd = kPpd) {
  TemporaryDirectory directory;
  const std::string path = directory.file("printer.ppd");
  if (ppd) writeFile(path, *ppd);
  QueueJob job;
  job.options = options.c_str();
  job.copies = "1";
  if (ppd) job.ppdPath = path.c_str();
  ::testing::internal::CaptureStderr();
  const CompletedJob completed = completedJob(job);
  Answer answer;
  answer.said = ::testing::internal::GetCapturedStderr();
  argumentStore store;
  store.initWithOptionString(completed.options.c_str());
  answer.keeps = std::string(store.getValue("PrintTo"_option).value_or("")) + " " +
                 std::string(store.getValue("JRHOLDKEY"_option).value_or(""));
  if (completed.refusal) {
    const std::string begin = "Not printed: ";
    const std::string middle = " Cancel the job and print it ";
    EXPECT_TRUE(completed.refusal->starts_with(begin));
    const std::size_t end = completed.refusal->find(middle);
    EXPECT_NE(end, std::string::npos) << *completed.refusal;
    answer.refusal = completed.refusal->substr(begin.size(), end - begin.size());
    answer.advice =
        completed.refusal->substr(std::min(end + middle.size(), completed.refusal->size()));
    EXPECT_EQ(completed.options, "");
  }
  return answer;
}

TEST(Passcode, MakesAJobConfidential) {
  const std::string warning =
      "\nWARNING: PrintTo=JRVerify cannot be used with a PIN; JRConf is used instead. "
      "Print without a PIN to use another PrintTo.\n";
  struct Row {
    const char* options;
    const char* key;
    std::string said;
  };
  const Row rows[] = {
      // typed in a dialog, or at lp
      {"PrintTo=JRConf JRHOLDKEY=Custom.4711", "4711", ""},
      {"PrintTo=JRConf JRHOLDKEY=custom.4711", "4711", ""},
      {"PrintTo=JRConf JRHOLDKEY=4711", "4711", ""},
      {"printto=jrconf jrholdkey=0042", "0042", ""},
      {"PrintTo=JRConf JRHOLDKEY=12345678", "12345678", ""},
      {"JRHOLDKEY=Custom.4711", "4711", ""},
      {"PrintTo=JRVerify JRHOLDKEY=4711", "4711", warning},
      // from IPP clients
      {"job-password=4711", "4711", ""},
      {"job-password=4711 job-password-encryption=none", "4711", ""},
      {"job-password=4711 PrintTo=JRConf", "4711", ""},
      {"job-password=4711 PrintTo=JRConf JRHOLDKEY=None", "4711", ""},
      {"job-password=4711 PrintTo=JRVerify", "4711", warning},
      {"job-password=4711 PrintTo=JRSoon", "4711",
       "\nWARNING: PrintTo=JRSoon cannot be used with a PIN; JRConf is used instead. "
       "Print without a PIN to use another PrintTo.\n"},
      {"job-password=4711 PrintTo=a\\\nERROR:\\ b", "4711",
       "\nWARNING: PrintTo=a ERROR: b cannot be used with a PIN; JRConf is used instead. "
       "Print without a PIN to use another PrintTo.\n"},
      // both
      {"job-password=4711 PrintTo=JRConf JRHOLDKEY=123456", "123456", ""},
      {"job-password=x job-password-encryption=md5 PrintTo=JRConf JRHOLDKEY=123456", "123456", ""},
      {"job-password=4711 JRHOLDKEY=123456", "4711", ""},
      {"job-password=4711 PrintTo=JRVerify JRHOLDKEY=x", "4711", warning},
  };
  for (const Row& row : rows) {
    for (const auto& ppd :
         {std::optional(kPpd), std::optional(ppdText("JRVerify")), std::optional<std::string>()}) {
      const Answer got = answer(row.options, ppd);
      EXPECT_EQ(got.refusal, "") << row.options;
      EXPECT_EQ(got.keeps, std::string("JRConf ") + row.key) << row.options;
      EXPECT_EQ(got.said, row.said) << row.options;
    }
  }
}

TEST(Passcode, OfAnotherFormIsRefused) {
  const std::string bad = "the PIN (JRHOLDKEY) is not 4 to 8 digits.";
  const std::string badPassword = "the PIN (job-password) is not 4 digits.";
  const std::string encrypted =
      "the printer cannot read an encrypted PIN (job-password-encryption).";
  const std::pair<const char*, std::string> rows[] = {
      {"PrintTo=JRConf JRHOLDKEY=471", bad},
      {"PrintTo=JRConf JRHOLDKEY=123456789", bad},
      {"PrintTo=JRConf JRHOLDKEY=471x", bad},
      {"PrintTo=JRConf JRHOLDKEY=4711\\ ", bad},
      {"PrintTo=JRConf JRHOLDKEY=-4711", bad},
      {"PrintTo=JRConf JRHOLDKEY=<34>711", bad},
      {"PrintTo=JRConf JRHOLDKEY=\xD9\xA4\xD9\xA7\xD9\xA1\xD9\xA1", bad},
      {"PrintTo=JRConf JRHOLDKEY=", bad},
      {"PrintTo=JRConf JRHOLDKEY", bad},
      {"PrintTo=JRConf JRHOLDKEY=Custom.", bad},
      {"PrintTo=JRConf JRHOLDKEY=Custom.Custom.4711", bad},
      {"JRHOLDKEY=Custom.", bad},
      {"job-password=", badPassword},
      {"job-password=471", badPassword},
      {"job-password=47111", badPassword},
      {"job-password=47a1", badPassword},
      {"job-password=Custom.4711", badPassword},
      {"job-password=4711 job-password-encryption=sha2-256", encrypted},
      {"job-password=4711 job-password-encryption=", encrypted},
      // JRHOLDKEY wins
      {"job-password=4711 PrintTo=JRConf JRHOLDKEY=x", bad},
      // in a string that nothing can be appended to
      {"PrintTo=JRConf JRHOLDKEY=x a={b", bad},
      {"job-password=x a={b", badPassword},
  };
  for (const auto& [options, reason] : rows) {
    const Answer got = answer(options);
    EXPECT_EQ(got.refusal, reason) << options;
    EXPECT_EQ(got.said, "") << options;
  }
}

TEST(Passcode, IsMissing) {
  const std::string none = "a confidential job needs a PIN of 4 to 8 digits.";
  const std::string ofTheQueue = "the default PIN of the queue is not secret.";
  const std::string withDefault = ppdText("JRConf", "Custom.9999");
  EXPECT_EQ(answer("PrintTo=JRConf").refusal, none);
  EXPECT_EQ(answer("PrintTo=jrconf JRHOLDKEY=None").refusal, none);
  EXPECT_EQ(answer("", ppdText("JRConf")).refusal, none);
  EXPECT_EQ(answer("PrintTo=JRConf", std::nullopt).refusal, none);
  EXPECT_EQ(answer("PrintTo=JRConf a={b").refusal, none);
  EXPECT_EQ(answer("", withDefault).refusal, ofTheQueue);
  EXPECT_EQ(answer("PrintTo=JRConf JRHOLDKEY=None", withDefault).refusal, ofTheQueue);
  EXPECT_EQ(answer("JRHOLDKEY=4711", withDefault).keeps, "JRConf 4711");
  // A default PIN alone makes no job confidential.
  EXPECT_EQ(answer("", ppdText("JRPrinter", "Custom.9999")).keeps, " ");
}

TEST(Passcode, NeedsAPrinterThatKeepsConfidentialJobs) {
  const std::string ppd = ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify", "JRVerify"));
  for (const char* options :
       {"job-password=4711", "PrintTo=JRConf", "printto=jrconf JRHOLDKEY=1234"}) {
    EXPECT_EQ(answer(options, ppd).refusal, "this printer cannot keep confidential jobs.")
        << options;
  }
}

TEST(Passcode, IsNotLostInAnOptionThatDoesNotEnd) {
  for (const char* options :
       {"a={b PrintTo=JRConf JRHOLDKEY=1234", "a={b jrholdkey=1234", "a=\"b JOB-PASSWORD=1234",
        "PrintTo={JRConf", "=x JRHOLDKEY=1234", "a='b\"printto=jrconf"}) {
    EXPECT_EQ(answer(options).refusal,
              "the job may be confidential, but its options cannot be read to their end.")
        << options;
  }
  EXPECT_EQ(answer("a={b", ppdText("JRConf")).refusal,
            "jobs of this queue are confidential, but the options of this one cannot be read to "
            "their end.");
  EXPECT_EQ(answer("a={b", ppdText("JRVerify")).refusal, "");
  EXPECT_EQ(answer("PrintTo=JRConf JRHOLDKEY=1234 a={b").keeps, "JRConf 1234");
}

TEST(Passcode, IsNotLostInAnotherChoice) {
  const std::string rows[][2] = {
      {"PrintTo=JRConf,JRHOLDKEY=1234", "PrintTo"},
      {"printto=jrconf;x", "PrintTo"},
      {"PrintTo=JRConf<20> JRHOLDKEY=1234", "PrintTo"},
      {"PrintTo=JRConf2", "PrintTo"},
      {"PrintTo=JRVerify,JRHOLDKEY=1234", "PrintTo"},
      {"Duplex=None,PrintTo=JRConf", "Duplex"},
      {"media=A4;jrholdkey=1234", "media"},
      {"a='b job-password=1234'", "a"},
  };
  for (const auto& [options, name] : rows) {
    const Answer got = answer(options);
    EXPECT_EQ(got.refusal, "the value of " + name + " contains other options.") << options;
    EXPECT_EQ(got.said, "") << options;  // which would contain the PIN
  }
}

TEST(Passcode, RefusalSaysWhatToDo) {
  struct Row {
    std::string options;
    std::string ppd;
    std::string advice;
  };
  const std::string other = "again with another PIN.";
  const Row rows[] = {
      {"PrintTo=JRConf", kPpd, "again with JRHOLDKEY=PIN."},
      {"JRHOLDKEY=x", kPpd, other},
      {"job-password=x", kPpd, other},
      {"job-password=1234 job-password-encryption=md5", kPpd,
       "again without encryption of the PIN, or with JRHOLDKEY."},
      {"", ppdText("JRConf", "Custom.9999"), "again with a PIN of your own (JRHOLDKEY)."},
      {"PrintTo=JRConf", ppdWith(ppdOption("PrintTo", "JRPrinter", "JRPrinter")),
       "on another printer, or without PrintTo=JRConf and PIN."},
      {"PrintTo=JRConf,JRHOLDKEY=1234", kPpd, "again with blanks between the options."},
      {"PrintTo={JRConf", kPpd,
       "again without open quotes and braces, for example in the file name."},
      {"a={b", ppdText("JRConf"),
       "again without open quotes and braces, for example in the file name."},
  };
  for (const Row& row : rows) EXPECT_EQ(answer(row.options, row.ppd).advice, row.advice);
}

TEST(Passcode, LeavesOtherJobsAlone) {
  for (const char* options : {"", "JRHOLDKEY=None", "job-password-encryption=md5",
                              "PrintTo=JRVerify", "PrintTo=JRPrinter JRHOLDKEY=none"}) {
    const Answer got = answer(options);
    EXPECT_EQ(got.refusal + got.said, "") << options;
    EXPECT_FALSE(got.keeps.starts_with("JRConf")) << options;
  }
}

}  // namespace
}  // namespace jobshaper::testing
