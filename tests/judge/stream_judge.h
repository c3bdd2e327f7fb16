// What a job must come out as, worked out a second time in the plainest way: the whole job as
// one string, one byte after the other, one rule after the other. Shares no code with the filter.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace jobshaper::judge {

// Everything that decides what is printed.
struct JudgedJob {
  std::string input;
  std::map<std::string, std::string> options;  // decoded, and without the page-count file
  std::optional<std::string> pageCountFile;    // what QVBookletPageCountFilename's file holds
  std::string copiesArgument = "1";
  std::optional<std::int32_t> version = 0x1050;  // none: the query fails
  std::optional<std::string> deviceUri = "socket://printer";
  std::optional<std::string> language;  // LANG
  bool manualPpd = false;               // the PPD file has "*QvnManualBooklet"
  bool capture = false;
  // The instruction pages that are installed, by language folder.
  std::map<std::string, std::string> instructionPages;
};

// The header lines come from the PJL builder and are not judged here; whether they are
// printed is.
struct Judgement {
  bool pjl = true;                     // header and trailer are printed
  std::optional<std::int32_t> copies;  // that the header gets a line for
  std::string printed;                 // behind the header, to the end
  std::string captureIn;               // empty without a capture
  std::string captureOut;              // behind the header; empty without a capture
  std::string messages;                // on standard error, without "tmp at" lines
};

Judgement judge(const JudgedJob& job);

}  // namespace jobshaper::judge
