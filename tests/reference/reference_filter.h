// Computes the expected output of a job in the plainest way: the whole job as one string, one byte
// after the other, one rule after the other. Shares no code with the filter.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace jobshaper::reference {

// Everything that decides what is printed.
struct JobParameters {
  std::string input;
  std::map<std::string, std::string> options;  // decoded, and without the page-count file
  std::optional<std::string> pageCountFile;    // the content of the file
  std::string copiesArgument = "1";
  std::optional<std::int32_t> version = 0x1050;  // no value: the query fails
  std::optional<std::string> deviceUri = "socket://printer";
  std::optional<std::string> language;  // LANG
  bool manualPpd = false;               // the PPD file has "*QvnManualBooklet"
  bool capture = false;
};

// The header lines themselves come from the filter; the reference implementation only says whether
// they are printed.
struct ReferenceOutput {
  bool pjl = true;                     // header and trailer are printed
  std::optional<std::int32_t> copies;  // for a line at the end of the header; no value: no line
  std::string printed;                 // after the header, to the end
  std::string captureIn;               // empty without a capture
  std::string captureOut;              // after the header; empty without a capture
  std::string messages;                // on standard error, without "tmp at" lines
};

// The instruction pages that are installed, by language directory; that of de is empty.
const std::map<std::string, std::string>& instructionPages();

ReferenceOutput runReference(const JobParameters& job);

}  // namespace jobshaper::reference
