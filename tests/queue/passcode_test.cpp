// The PIN of a confidential job: which one is sent, and which jobs are not printed.
#include "queue/passcode.h"

#include "tests/queue/queue_job.h"

namespace jobshaper::testing {
namespace {

// The PPD file as our printers have it, with this default of PrintTo and, if any, of the PIN.
std::string ppdText(const std::string& printTo, const std::string& defaultKey = "None") {
  return ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify JRConf", printTo) +
                 ppdOption("JRHOLDKEY", "None", defaultKey) +
                 "*CustomJRHOLDKEY True: \"\"\n*ParamCustomJRHOLDKEY PIN: 1 passcode 4 8\n");
}

const std::string kPpd = ppdText("JRPrinter");

// Sent as "JRConf 4711", or not printed at all.
void expectPin(const Request& request, const std::string& printToAndPin,
               const std::string& messages = "", Where where = Where::here()) {
  Completion job = complete(request);
  expectSame(job.refusal.value_or("printed"), "printed", "the result", request.options, where);
  expectSame(job.values["PrintTo"] + " " + job.values["JRHOLDKEY"], printToAndPin, "the PIN",
             request.options, where);
  expectSame(job.messages, messages, "the messages", request.options, where);
}

// Not printed, and without a message, which could contain the PIN.
void expectRefusal(const std::string& refusal, const std::vector<std::string>& rows,
                   const std::string& ppd = kPpd, Where where = Where::here()) {
  for (const std::string& options : rows) {
    const Completion job = complete({options, ppd});
    expectSame(job.refusal.value_or("printed"), "Not printed: " + refusal, "the result", options,
               where);
    EXPECT_EQ(job.options, "") << options;
    EXPECT_EQ(job.messages, "") << options;
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
      {"PrintTo=JRConf JRHOLDKEY=custom.4711", "4711"},
      {"printto=jrconf jrholdkey=0042", "0042"},
      {"PrintTo=JRConf JRHOLDKEY=12345678", "12345678"},
      {"JRHOLDKEY=Custom.4711", "4711"},
      {"PrintTo=JRVerify JRHOLDKEY=4711", "4711", "JRVerify"},
      // from IPP clients
      {"job-password=4711 job-password-encryption=none", "4711"},
      {"job-password=4711 PrintTo=JRConf JRHOLDKEY=None", "4711"},
      {"job-password=4711 PrintTo=a\\\nERROR:\\ b", "4711", "a ERROR: b"},
      // both
      {"job-password=x job-password-encryption=md5 PrintTo=JRConf JRHOLDKEY=123456", "123456"},
      {"job-password=4711 JRHOLDKEY=123456", "4711"},
      {"job-password=4711 PrintTo=JRVerify JRHOLDKEY=x", "4711", "JRVerify"},
  };
  for (const auto& [options, pin, printTo] : rows) {
    const std::string warning =
        printTo.empty() ? ""
                        : "\nWARNING: PrintTo=" + printTo +
                              " cannot be used with a PIN; JRConf is used instead. Print without a "
                              "PIN to use another PrintTo.\n";
    for (const std::string& ppd : {kPpd, ppdText("JRVerify"), std::string()}) {
      expectPin({options, ppd}, "JRConf " + pin, warning);
    }
  }
}

TEST(Passcode, OfAnotherFormIsRefused) {
  const std::string again = "Cancel the job and print it again ";
  expectRefusal("the PIN (JRHOLDKEY) is not 4 to 8 digits. " + again + "with another PIN.",
                {"PrintTo=JRConf JRHOLDKEY=471", "PrintTo=JRConf JRHOLDKEY=123456789",
                 "PrintTo=JRConf JRHOLDKEY=471x", "PrintTo=JRConf JRHOLDKEY=4711\\ ",
                 "PrintTo=JRConf JRHOLDKEY=<34>711",
                 "PrintTo=JRConf JRHOLDKEY=\xD9\xA4\xD9\xA7\xD9\xA1\xD9\xA1",
                 "PrintTo=JRConf JRHOLDKEY=", "PrintTo=JRConf JRHOLDKEY",
                 "PrintTo=JRConf JRHOLDKEY=Custom.Custom.4711", "JRHOLDKEY=Custom.",
                 "job-password=4711 PrintTo=JRConf JRHOLDKEY=x",  // JRHOLDKEY wins
                 // in a string that nothing can be appended to
                 "PrintTo=JRConf JRHOLDKEY=x a={b"});
  expectRefusal("the PIN (job-password) is not 4 digits. " + again + "with another PIN.",
                {"job-password=", "job-password=471", "job-password=47111", "job-password=47a1",
                 "job-password=Custom.4711", "job-password=x a={b"});
  expectRefusal("the printer cannot read an encrypted PIN (job-password-encryption). " + again +
                    "without encryption of the PIN, or with JRHOLDKEY.",
                {"job-password=4711 job-password-encryption=sha2-256",
                 "job-password=4711 job-password-encryption="});
}

TEST(Passcode, IsMissing) {
  const std::string none =
      "a confidential job needs a PIN of 4 to 8 digits. Cancel the job and print it again with "
      "JRHOLDKEY=PIN.";
  expectRefusal(none, {"PrintTo=JRConf", "PrintTo=jrconf JRHOLDKEY=None"});
  expectRefusal(none, {""}, ppdText("JRConf"));
  expectRefusal(none, {"PrintTo=JRConf"}, "");
  const std::string withDefault = ppdText("JRConf", "Custom.9999");
  expectRefusal(
      "the default PIN of the queue is not secret. Cancel the job and print it again with a PIN of "
      "your own (JRHOLDKEY).",
      {"", "PrintTo=JRConf JRHOLDKEY=None"}, withDefault);
  expectPin({"JRHOLDKEY=4711", withDefault}, "JRConf 4711");
  // A default PIN alone makes no job confidential.
  expectPin({"", ppdText("JRPrinter", "Custom.9999")}, " ");
}

TEST(Passcode, NeedsAPrinterThatKeepsConfidentialJobs) {
  for (const char* options : {"job-password=4711", "PrintTo=JRConf"}) {
    const Completion job =
        complete({options, ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify", "JRVerify"))});
    EXPECT_EQ(job.refusal,
              "Not printed: this printer cannot keep confidential jobs. Cancel the job and print "
              "it on another printer, or without PrintTo=JRConf and PIN.")
        << options;
  }
}

TEST(Passcode, IsNotLostInAnOptionThatDoesNotEnd) {
  const std::string advice =
      " Cancel the job and print it again without open quotes and braces, for example in the file "
      "name.";
  const auto refusal = [](const std::string& options, const std::string& ppd) {
    return complete({options, ppd}).refusal.value_or("printed");
  };
  for (const char* options : {"a={b jrholdkey=1234", "a=\"b JOB-PASSWORD=1234", "PrintTo={JRConf",
                              "=x JRHOLDKEY=1234", "a='b\"printto=jrconf"}) {
    EXPECT_EQ(refusal(options, kPpd),
              "Not printed: the job may be confidential, but its options cannot be read to their "
              "end." +
                  advice)
        << options;
  }
  EXPECT_EQ(refusal("a={b", ppdText("JRConf")),
            "Not printed: jobs of this queue are confidential, but the options of this one cannot "
            "be read to their end." +
                advice);
  EXPECT_EQ(refusal("a={b", ppdText("JRVerify")), "printed");
  EXPECT_EQ(complete({"PrintTo=JRConf JRHOLDKEY=1234 a={b", kPpd}).values["JRHOLDKEY"], "1234");
}

TEST(Passcode, IsNotLostInAnotherChoice) {
  for (const auto& [name, rows] : std::map<std::string, std::vector<std::string>>{
           {"PrintTo",
            {"PrintTo=JRConf,JRHOLDKEY=1234", "printto=jrconf;x", "PrintTo=JRConf2",
             "PrintTo=JRVerify,JRHOLDKEY=1234"}},
           {"Duplex", {"Duplex=None,PrintTo=JRConf"}},
           {"media", {"media=A4;jrholdkey=1234"}},
           {"a", {"a='b job-password=1234'"}}}) {
    expectRefusal("the value of " + name +
                      " contains other options. Cancel the job and print it again with blanks "
                      "between the options.",
                  rows);
  }
}

TEST(Passcode, LeavesOtherJobsAlone) {
  expectPin({"JRHOLDKEY=None", kPpd}, " None");
  expectPin({"job-password-encryption=md5", kPpd}, " ");
  expectPin({"PrintTo=JRVerify", kPpd}, "JRVerify ");
  expectPin({"PrintTo=JRPrinter JRHOLDKEY=none", kPpd}, " none");
}

}  // namespace
}  // namespace jobshaper::testing
