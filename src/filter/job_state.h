// What the filter knows of its job, from start to exit.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "pjl/pjl_creation.h"
#include "platform/descriptor.h"
#include "settings/argument_store.h"
#include "settings/ppd_values.h"

namespace jobshaper {

// The filter's own version, as the usage message and the log show it: the project's without its
// last number.
inline constexpr char kFilterVersion[] = "3.9";

struct JobState {
  bool usbPjlAllowed = false;  // the system is new enough to send PJL to a USB printer
  std::string uelString;       // Universal Exit Language
  std::string jobIdString;     // argv[1]
  std::string copiesArgument;  // argv[4]
  std::string deviceUri;       // "(null)" when DEVICE_URI is absent
  std::string tempDirectory;

  Descriptor inputFile;  // the named job file, or the reordered job; else none
  int inputStream = 0;   // where the job is read from

  bool captureEnabled = false;  // the capture marker exists; told to readers of the state alone
  Descriptor captureIn;         // copy of the incoming job; none when it cannot be created
  Descriptor captureOut;        // copy of the output; likewise

  argumentStore jobOptions;
  PPDValues ppdValues;
  std::optional<std::string> printTo;  // job retention mode
  pjlCreation pjlHeader;
  bool isAppleTalk = false;  // the printer is at "pap:"; likewise, its jobs are the same bytes

  bool onlyInside = false;        // the booklet's cover carries print on its inside only
  bool bookletMode = false;       // the job is a booklet
  std::string_view bookletName;   // its kind; likewise
  std::string_view foldCommand;   // PostScript that folds and staples it, or nothing
  bool manualBooklet = false;     // made by hand, on a printer without a duplex unit
  std::string languageCode;       // folder of the instruction page
  std::string instructionFolder;  // where the language folders are
  std::string manualJobPath;      // the reordered job
  std::int32_t halfPageCount = 0;
};

}  // namespace jobshaper
