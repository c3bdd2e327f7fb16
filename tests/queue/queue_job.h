// Jobs that jobshaper-queue completes, in the process of the test.
#pragma once

#include <optional>
#include <string>

#include "queue/option_string.h"
#include "settings/argument_store.h"
#include "tests/queue/queue_ppd.h"
#include "tests/support/program.h"

namespace jobshaper::testing {

struct Request {
  std::string options;
  std::string ppd = "";     // for ppdWith(); "" for no PPD file
  std::string copies = "";  // nothing is added for them
  std::string contentType = "";
  std::optional<int> pages = 4;  // of the document; none if it cannot be read
  bool isBanner = false;
};

struct Completion : CompletedJob {
  argumentStore::Options values;  // what the filter reads in `options`
  std::string messages;           // on standard error
  int counted = 0;                // how often the pages were counted
};

inline Completion completeJob(const QueueJob& job) {
  ::testing::internal::CaptureStderr();
  Completion completion{completedJob(job), {}, {}, 0};
  completion.messages = ::testing::internal::GetCapturedStderr();
  argumentStore store;
  store.initWithOptionString(completion.options.c_str());
  completion.values = store.keyEnumerator();
  return completion;
}

inline Completion complete(const Request& request) {
  TemporaryDirectory directory;
  const std::string path = directory.file("printer.ppd");
  if (!request.ppd.empty()) writeFile(path, ppdWith(request.ppd));
  QueueJob job;
  job.title = "The \"first\" draft\n";
  job.options = request.options.c_str();
  job.copies = request.copies.c_str();
  job.ppdPath = request.ppd.empty() ? nullptr : path.c_str();
  job.origin = {.contentType = request.contentType, .isBanner = request.isBanner};
  int counted = 0;
  job.countPages = [&] {
    ++counted;
    return request.pages;
  };
  Completion completion = completeJob(job);
  completion.counted = counted;
  return completion;
}

// The warnings about a choice, "Option=Choice". Without `instead`, it is ignored.
inline std::string outcome(const std::string& instead) {
  return instead.empty() ? "it is ignored" : instead + " is used instead";
}
inline std::string notAChoice(const std::string& choice, const std::string& instead) {
  return "\nWARNING: " + choice + " is not a choice of this printer; " + outcome(instead) +
         ". lpoptions -p QUEUE -l lists them.\n";
}
inline std::string notInstalled(const std::string& choice, const std::string& equipment,
                                const std::string& instead = "") {
  return "\nWARNING: " + choice + " needs equipment that is not installed (" + equipment + "); " +
         outcome(instead) + ". If it is installed, tell the queue with lpadmin -p QUEUE -o.\n";
}

// The warning about options that do not end.
inline constexpr char kDefaultsNotUsed[] =
    "\nWARNING: The defaults of the queue are not used, because the job's options cannot be read "
    "to their end. Remove open quotes and braces, for example from the file name.\n";

}  // namespace jobshaper::testing
