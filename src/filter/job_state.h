// The state of the one job that the filter handles, from start to exit.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pjl/pjl_creation.h"
#include "platform/descriptor.h"
#include "settings/argument_store.h"
#include "settings/ppd_values.h"

namespace jobshaper {

// The version that the usage message and the log show: the project's, without the patch number.
inline constexpr char kFilterVersion[] = "3.9";

// A feature of the PPD file in the job's PostScript, such as "InputSlot Tray5", and what takes the
// place of its code: whole lines, or nothing.
struct ReplacedFeature {
  std::string feature;
  std::string code;
};

// What jobshaper-queue adds to a run. Empty for `jobshaper`.
struct JobAdditions {
  std::vector<pjlCreation::Setter> settings;  // their lines end the header, in this order
  std::string jobName;                        // for the JOBNAME line; without quotes
  std::optional<PpdKeywords> ppdKeywords;     // of the PPD file, if it has been read already
  std::vector<ReplacedFeature> replacedFeatures;
  bool ownInput = false;    // the input is a file of the queue: if it cannot be read, the job fails
  bool countPages = false;  // tell CUPS of each page on standard error
  bool wholeSheets = false;  // a copy ends with its last sheet, whose blank back counts
  // The number of the page, from 1, that is the first side of a booklet's cover sheet; after that
  // sheet the paper is what it was before. 0: the rule for the number of pages decides.
  int coverSide = 0;
};

// Filled by setUpJob() and runJob(). Options and texts are the bytes that CUPS passes.
struct JobState {
  JobAdditions additions;

  bool usbPjlAllowed = false;  // the system can send PJL to a USB printer
  std::string uelString;       // Universal Exit Language
  std::string jobIdString;     // argv[1]
  std::string copiesArgument;  // argv[4]
  std::string deviceUri;       // "(null)" when DEVICE_URI is absent
  std::string tempDirectory;

  Descriptor inputFile;  // the named job file, or the reordered job; else none
  int inputStream = 0;   // descriptor to read the job from: inputFile or standard input; not owned

  bool captureEnabled = false;  // the marker file exists; recorded only, no rule reads it
  Descriptor captureIn;         // copy of the incoming job; none if off or not created
  Descriptor captureOut;        // copy of the output; none if off or not created

  argumentStore jobOptions;
  PPDValues ppdValues;
  std::optional<std::string> printTo;  // job retention mode: the value of the option "PrintTo"
  pjlCreation pjlHeader;               // refers to jobOptions, so a JobState must not be moved
  bool isAppleTalk = false;            // the device URI begins with "pap:"; recorded only

  bool onlyInside = false;           // the booklet's cover is printed on its inside only
  bool bookletMode = false;          // the job is a booklet
  std::string_view bookletName;      // the kind of booklet; recorded only
  std::string_view foldCommand;      // PostScript that folds and staples the booklet; may be empty
  bool manualBooklet = false;        // in two passes, on a printer without a duplex unit
  std::string languageCode;          // of the instruction page, such as "fr_FR"
  std::string instructionDirectory;  // has one directory per language
  std::string manualJobPath;         // the reordered job
  std::int32_t halfPageCount = 0;    // half of the booklet's page count, rounded toward zero
};

}  // namespace jobshaper
