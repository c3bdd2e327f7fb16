// The PIN of a confidential job: which one is sent, and which jobs are not printed.
#include "queue/passcode.h"

#include "tests/queue/queue_job.h"

namespace jobshaper::testing {
namespace {

// The PPD files of queues, by what becomes of a job that does not ask for PrintTo.
const std::string kPin =
    "JRHOLDKEY: *None\n*CustomJRHOLDKEY True: \"\"\n*ParamCustomJRHOLDKEY PIN: 1 passcode 4 8\n";
const std::string kPrints = kPin + "PrintTo: *JRPrinter JRVerify JRConf\n";
const std::string kVerifies = kPin + "PrintTo: JRPrinter *JRVerify JRConf\n";
const std::string kConfidential = kPin + "PrintTo: JRPrinter JRVerify *JRConf\n";
const std::string kDefaultPin = "*DefaultJRHOLDKEY: Custom.9999";

// PrintTo and PIN, such as "JRConf 4711", are sent.
void expectPin(const Request& request, const std::string& printToAndPin,
               const std::string& messages = "", Where where = Where::here()) {
  Completion job = complete(request);
  expectSame(job.refusal.value_or(job.values["PrintTo"] + " " + job.values["JRHOLDKEY"]),
             printToAndPin, "the PIN", request.options, where);
  expectSame(job.messages, messages, "the messages", request.options, where);
}

// None of the jobs is printed. The messages never contain the PIN.
void expectRefusal(const std::string& reason, const std::string& advice,
                   const std::vector<std::string>& jobs, const std::string& ppd = kPrints,
                   const std::string& messages = "", Where where = Where::here()) {
  for (const std::string& options : jobs) {
    const Completion job = complete({options, ppd});
    expectSame(job.refusal.value_or("printed"),
               "Not printed: " + reason + " Cancel the job and print it " + advice, "the result",
               options, where);
    expectSame(job.options, "", "the options", options, where);
    expectSame(job.messages, messages, "the messages", options, where);
  }
}

TEST(Passcode, MakesAJobConfidential) {
  struct Row {
    const char* options;
    std::string pin;
    std::string otherPrintTo = "";  // which the user is warned of
  };
  const Row rows[] = {
      // typed in a dialog, or at lp
      {"PrintTo=JRConf JRHOLDKEY=Custom.4711", "4711"},
      {"printto=jrconf jrholdkey=custom.0042", "0042"},
      {"JRHOLDKEY=12345678", "12345678"},
      {"PrintTo=JRVerify JRHOLDKEY=4711", "4711", "JRVerify"},
      // from IPP clients
      {"job-password=4711 job-password-encryption=none", "4711"},
      {"job-password=4711 PrintTo=JRConf JRHOLDKEY=None", "4711"},
      {"job-password=4711 PrintTo=a\\\nERROR:\\ b", "4711", "a ERROR: b"},
      // both
      {"job-password=x job-password-encryption=md5 PrintTo=JRConf JRHOLDKEY=123456", "123456"},
      {"job-password=4711 JRHOLDKEY=x", "4711"},
  };
  for (const auto& [options, pin, printTo] : rows) {
    const std::string warning =
        printTo.empty() ? ""
                        : "\nWARNING: PrintTo=" + printTo +
                              " cannot be used with a PIN; JRConf is used instead. Print without a "
                              "PIN to use another PrintTo.\n";
    for (const std::string& ppd : {kPrints, kVerifies, std::string()}) {
      expectPin({options, ppd}, "JRConf " + pin, warning);
    }
  }
}

TEST(Passcode, OfAnotherFormIsRefused) {
  expectRefusal("the PIN (JRHOLDKEY) is not 4 to 8 digits.", "again with another PIN.",
                {"JRHOLDKEY=471", "JRHOLDKEY=123456789", "JRHOLDKEY=471x", "JRHOLDKEY=4711\\ ",
                 "JRHOLDKEY=", "JRHOLDKEY", "JRHOLDKEY=Custom.Custom.4711", "JRHOLDKEY=Custom.",
                 "job-password=4711 PrintTo=JRConf JRHOLDKEY=x",  // JRHOLDKEY wins
                 // in a string that nothing can be appended to
                 "JRHOLDKEY=x a={b"});
  expectRefusal("the PIN (job-password) is not 4 digits.", "again with another PIN.",
                {"job-password=", "job-password=471", "job-password=47111", "job-password=47a1",
                 "job-password=Custom.4711", "job-password=x a={b"});
  expectRefusal("the printer cannot read an encrypted PIN (job-password-encryption).",
                "again without encryption of the PIN, or with JRHOLDKEY.",
                {"job-password=4711 job-password-encryption=sha2-256",
                 "job-password=4711 job-password-encryption="});
}

TEST(Passcode, IsMissing) {
  const std::string reason = "a confidential job needs a PIN of 4 to 8 digits.";
  const std::string advice = "again with JRHOLDKEY=PIN.";
  expectRefusal(reason, advice, {"PrintTo=JRConf", "PrintTo=jrconf JRHOLDKEY=None"});
  expectRefusal(reason, advice, {""}, kConfidential);
  expectRefusal(reason, advice, {"PrintTo=JRConf"}, "");
  expectRefusal("the default PIN of the queue is not secret.",
                "again with a PIN of your own (JRHOLDKEY).", {"", "PrintTo=JRConf JRHOLDKEY=None"},
                kConfidential + kDefaultPin);
  expectPin({"JRHOLDKEY=4711", kConfidential + kDefaultPin}, "JRConf 4711");
  // A default PIN alone makes no job confidential.
  expectPin({"", kPrints + kDefaultPin}, " ");
}

TEST(Passcode, NeedsAPrinterThatKeepsConfidentialJobs) {
  expectRefusal("this printer cannot keep confidential jobs.",
                "on another printer, or without PrintTo=JRConf and PIN.",
                {"job-password=4711", "PrintTo=JRConf"}, "PrintTo: JRPrinter *JRVerify",
                notAChoice("PrintTo=JRConf", "JRVerify"));
}

TEST(Passcode, IsNotLostInAnOptionThatDoesNotEnd) {
  const std::string advice = "again without open quotes and braces, for example in the file name.";
  expectRefusal("the job may be confidential, but its options cannot be read to their end.", advice,
                {"a={b jrholdkey=1234", "a=\"b JOB-PASSWORD=1234", "PrintTo={JRConf",
                 "=x JRHOLDKEY=1234", "a='b\"printto=jrconf"},
                kPrints, kDefaultsNotUsed);
  expectRefusal(
      "jobs of this queue are confidential, but the options of this one cannot be read to their "
      "end.",
      advice, {"a={b"}, kConfidential, kDefaultsNotUsed);
  expectPin({"a={b", kVerifies}, " ", kDefaultsNotUsed);
  expectPin({"PrintTo=JRConf JRHOLDKEY=1234 a={b", kPrints}, "JRConf 1234", kDefaultsNotUsed);
}

TEST(Passcode, IsNotLostInAnotherChoice) {
  const std::map<std::string, std::vector<std::string>> rows = {
      {"PrintTo", {"printto=jrconf;x", "PrintTo=JRVerify,JRHOLDKEY=1234"}},
      {"Duplex", {"Duplex=None,PrintTo=JRConf"}},
      {"media", {"media=A4;jrholdkey=1234"}},
      {"a", {"a='b job-password=1234'"}}};
  for (const auto& [name, jobs] : rows) {
    expectRefusal("the value of " + name + " contains other options.",
                  "again with blanks between the options.", jobs);
  }
}

TEST(Passcode, LeavesOtherJobsAlone) {
  expectPin({"JRHOLDKEY=None", kPrints}, " None");
  expectPin({"job-password-encryption=md5", kPrints}, " ");
  expectPin({"PrintTo=JRPrinter JRHOLDKEY=none", kPrints}, " none");
  expectPin({"PrintTo=JRVerify", kPrints}, "JRVerify ");
}

}  // namespace
}  // namespace jobshaper::testing
