#include "queue/option_string.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>
#include <vector>

#include "pjl/pjl_creation.h"
#include "queue/accounting.h"
#include "queue/header_text.h"
#include "queue/message.h"
#include "queue/option_list.h"
#include "queue/passcode.h"
#include "queue/queue_ppd.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

// The options with choices that the filter reads and a PPD file may have. JRHOLDKEY is not among
// them: the default of the PPD file is not a PIN of the job.
constexpr OptionName kChoiceOptions[] = {
    "PrintTo"_option,
    "QVBookletCoverPage"_option,
    "QVBookletCoverSource"_option,
    "QVBookletCoverType"_option,
    "QVBookletFold"_option,
    "QVGeneric"_option,
    "QVInsideBackCover"_option,
    "QVInsideFrontCover"_option,
    "QVOutsideBackCover"_option,
    "QVOutsideFrontCover"_option,
    "QVPosterEnablePS"_option,
    "QvnBlankPage"_option,
    "QvnDoubleStomp"_option,
    "QvnPixelBoost"_option,
};

// The texts that the filter copies into the header unchanged.
constexpr OptionName kHeaderTexts[] = {
    "JAACCTNUM"_option,
    "JADEPTNUM"_option,
    "JAUSERID"_option,
    "JRUSERNAME"_option,
};

constexpr Setting kSettings[] = {
    {"MediaType"_option, &pjlCreation::setMediaType},
    {"InputSlot"_option, &pjlCreation::setPaperSource},
    {"OutputBin"_option, &pjlCreation::setOutputBin},
    {"TonerDarkness"_option, &pjlCreation::setTonerDarkness},
    {"PictureGrade"_option, &pjlCreation::setPictureGrade},
    {"SepPages"_option, &pjlCreation::setSeparatorPage},
    {"SepSource"_option, &pjlCreation::setSeparatorSource},
    {"Offset"_option, &pjlCreation::setOffsetPage},
    {"CyanBalance"_option, &pjlCreation::setCyan},
    {"MagentaBalance"_option, &pjlCreation::setMagenta},
    {"YellowBalance"_option, &pjlCreation::setYellow},
    {"BlackBalance"_option, &pjlCreation::setBlack},
    {"MediaColor"_option, &pjlCreation::setColorCorrection},
    {"GrayCorrection"_option, &pjlCreation::setGrayCorrection},
    {"ManualRGBImage"_option, &pjlCreation::setManualRGBImage},
    {"ManualRGBText"_option, &pjlCreation::setManualRGBText},
    {"ManualRGBGraphics"_option, &pjlCreation::setManualRGBGraphics},
    {"ManualCMYK"_option, &pjlCreation::setManualCMYK},
    {"ColorSaver"_option, &pjlCreation::setColorSaver},
    {"BLW"_option, &pjlCreation::setBlackAndWhite},
    {"QvnBrightness"_option, &pjlCreation::setBrightness},
    {"QvnContrast"_option, &pjlCreation::setContrast},
    {"QvnSaturation"_option, &pjlCreation::setSaturation},
    {"ImageSmoothing"_option, &pjlCreation::setImageSmoothing},
    {"QvnLineDetail"_option, &pjlCreation::setLineDetail},
    {"Resolution"_option, &pjlCreation::setResolution},
};

// CUPS accepts only numbers as values of Resolution, so the PPD files have a separate option for
// the image-quality modes.
constexpr OptionName kImageQuality = "QvnImageQuality"_option;

// Print dialogs and CUPS itself know this option and its choice for black and white. The filter's
// name for it is BLW.
constexpr OptionName kColorModel = "ColorModel"_option;
constexpr OptionName kResolution = "Resolution"_option;
constexpr char kGray[] = "Gray";
constexpr OptionName kBlackAndWhite = "BLW"_option;

constexpr char kPrintersChoice[] = "PrinterS";

// Its name in the options whose choices CUPS converts to IPP names.
constexpr char kIppPrintersChoice[] = "Auto";
constexpr OptionName kIppOptions[] = {"InputSlot"_option, "MediaType"_option, "OutputBin"_option};

constexpr char kPlainBooklet[] = "Booklet";

bool leavesItToThePrinter(OptionName option, const char* choice) {
  if (std::strcmp(choice, kPrintersChoice) == 0) return true;
  return std::strcmp(choice, kIppPrintersChoice) == 0 &&
         std::find(std::begin(kIppOptions), std::end(kIppOptions), option) != std::end(kIppOptions);
}

// CUPS writes the two values of a switch in lower case, whatever the PPD file calls its
// choices, and the filter compares with those.
const char* asJobOption(const char* choice) {
  for (const char* value : {"true", "false"}) {
    if (strcasecmp(choice, value) == 0) return value;
  }
  return choice;
}

// Whether the choice is what happens to a job without the option. With it, the filter would collate
// the copies of every job, also of those that ask for the opposite: dialogs send all their options.
bool isBehaviorWithoutOption(std::string_view option, std::string_view choice) {
  return option == "PrintTo" && choice == "JRPrinter";
}

bool isCopyCount(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// Whether copies are collated, as "true" or "false"; null if neither the job nor the PPD file says.
const char* collation(const OptionList& jobOptions, const QueuePpd& ppd) {
  const char* collate = jobOptions.find("collate"_option);
  if (!collate) {
    // The three other values all ask for collated copies.
    const char* const handling = jobOptions.find("multiple-document-handling"_option);
    if (handling) {
      return strcasecmp(handling, "separate-documents-uncollated-copies") == 0 ? "false" : "true";
    }
    collate = ppd.choice("Collate");
  }
  if (!collate) return nullptr;
  return strcasecmp(collate, "true") == 0 ? "true" : "false";
}

// What becomes of a choice that cannot be used; `instead` is null if nothing replaces it.
std::string outcome(const char* instead) {
  return instead ? std::string(instead) + " is used instead." : "it is ignored.";
}

void warnOfChoice(const char* option, const char* choice, const char* instead) {
  warn("%s=%s is not a choice of this printer; %s lpoptions -p QUEUE -l lists them.", option,
       headerText(choice).c_str(), outcome(instead).c_str());
}

void warnOfEquipment(const char* option, const char* choice, const std::string& missing,
                     const char* instead) {
  warn(
      "%s=%s needs equipment that is not installed (%s); %s If it is "
      "installed, tell the queue with lpadmin -p QUEUE -o.",
      option, headerText(choice).c_str(), missing.c_str(), outcome(instead).c_str());
}

void warnOfCopies(const char* option, const char* value, const char* instead) {
  warn("%s=%s is not a number of copies; %s lp -n sets it.", option, headerText(value).c_str(),
       outcome(instead).c_str());
}

// What to use instead of a choice that the equipment rules out; null for nothing. CUPS has put the
// code of a fold into the job, and the filter removes it from booklets only, so a fold becomes one.
const char* replacement(const QueuePpd& ppd, const char* option, const char* choice) {
  const bool folds =
      strcasecmp(option, kFoldOption.data()) == 0 && strcasecmp(choice, kPlainBooklet) != 0;
  if (folds && ppd.hasChoice(kFoldOption.data(), kPlainBooklet)) return kPlainBooklet;
  const char* const usual = ppd.defaultChoice(option);
  return usual && ppd.missingEquipment(option, usual).empty() ? usual : nullptr;
}

// The choice that is marked in the PPD file, which is that of the job if the file has it; null if
// there is none. Warns of a choice that the file does not have.
const char* markedChoice(const OptionList& jobOptions, const QueuePpd& ppd, OptionName option) {
  const char* const choice = ppd.choice(option.data());
  const char* const asked = jobOptions.find(option);
  if (asked && !ppd.hasChoice(option.data(), asked)) {
    warnOfChoice(option.data(), asked, choice);
  }
  return choice;
}

// The choice, or what to use instead with the printer's equipment; null for nothing.
const char* possibleChoice(const QueuePpd& ppd, const char* option, const char* choice) {
  if (!choice) return nullptr;
  const std::string missing = ppd.missingEquipment(option, choice);
  if (missing.empty()) return choice;
  const char* const instead = replacement(ppd, option, choice);
  warnOfEquipment(option, choice, missing, instead);
  return instead;
}

void settleChoice(OptionList& wanted, const OptionList& jobOptions, const QueuePpd& ppd,
                  OptionName option) {
  if (!ppd.hasOption(option.data())) return;
  const char* const choice =
      possibleChoice(ppd, option.data(), markedChoice(jobOptions, ppd, option));
  if (choice && !isBehaviorWithoutOption(option, choice)) {
    wanted.put(option.data(), asJobOption(choice));
  } else {
    wanted.remove(option.data());
  }
}

// Returns whether a setter must send the choice. If the choice has code, CUPS has put that into the
// job already.
bool settleSetting(OptionList& wanted, const OptionList& jobOptions, const QueuePpd& ppd,
                   OptionName option, OptionName settingOption) {
  if (!ppd.hasOption(option.data())) return false;
  const char* choice = markedChoice(jobOptions, ppd, option);
  if (!choice || ppd.hasCode(option.data(), choice)) return false;
  choice = possibleChoice(ppd, option.data(), choice);
  if (!choice || leavesItToThePrinter(option, choice)) return false;
  wanted.put(settingOption.data(), choice);
  return true;
}

// CUPS finds a choice for print-color-mode=monochrome, but none for "color".
bool isColor(const OptionList& jobOptions, const char* model) {
  if (strcasecmp(model, kGray) != 0) return true;
  const char* const mode = jobOptions.find("print-color-mode"_option);
  return mode && strcasecmp(mode, "color") == 0 && !jobOptions.find(kColorModel);
}

// The job's own BLW wins.
bool settleColor(OptionList& wanted, const OptionList& jobOptions, const QueuePpd& ppd) {
  if (!ppd.hasOption(kColorModel.data())) return false;
  const char* const model = markedChoice(jobOptions, ppd, kColorModel);
  if (!model || ppd.hasCode(kColorModel.data(), model)) return false;
  if (!jobOptions.find(kBlackAndWhite)) {
    wanted.put(kBlackAndWhite.data(), isColor(jobOptions, model) ? "FalseM" : "TrueM");
  }
  return true;
}

void settleSettings(OptionList& wanted, std::vector<pjlCreation::Setter>& settings,
                    const OptionList& jobOptions, const QueuePpd& ppd) {
  for (const auto& [option, setter] : kSettings) {
    const bool byColorModel = option == kBlackAndWhite && !ppd.hasOption(option.data());
    const bool isSet = byColorModel ? settleColor(wanted, jobOptions, ppd)
                                    : settleSetting(wanted, jobOptions, ppd, option, option);
    if (isSet) settings.push_back(setter);
  }
  if (settleSetting(wanted, jobOptions, ppd, kImageQuality, kResolution)) {
    settings.push_back(&pjlCreation::setResolution);
  }
}

// Removes the code of choices without their equipment, which CUPS has put into the job. The filter
// itself replaces that of a fold.
void dropFeatures(std::vector<ReplacedFeature>& features, const QueuePpd& ppd) {
  for (const char* const option : ppd.optionsWithoutEquipment()) {
    if (strcasecmp(option, kFoldOption.data()) == 0) continue;
    const char* const choice = ppd.choice(option);
    warnOfEquipment(option, choice, ppd.missingEquipment(option, choice), nullptr);
    features.push_back({std::string(option) + " " + choice, ""});
  }
}

// The filters of CUPS for PDF documents ignore a request for uncollated copies, and insert the code
// of the default.
void uncollate(std::vector<ReplacedFeature>& features, const QueuePpd& ppd, const char* collate) {
  if (!collate || std::strcmp(collate, "false") != 0 || !ppd.hasCode("Collate", "False")) return;
  features.push_back({"Collate True", ppd.code("Collate", "False") + "\n"});
}

// IPP clients send "1200x1200dpi", which CUPS does not find in the PPD file.
void takeResolution(OptionList& jobOptions) {
  const char* value = jobOptions.find(kResolution);
  if (!value) value = jobOptions.find("printer-resolution"_option);
  const std::string_view text = value ? value : "";
  const std::string number(text.substr(0, text.find('x')));
  if (text == number + "x" + number + "dpi") jobOptions.put(kResolution.data(), number + "dpi");
}

// Of a resolution that CUPS has not found, it has inserted the code of the default.
void replaceResolution(std::vector<ReplacedFeature>& features, const QueuePpd& ppd) {
  const char* const usual = ppd.defaultChoice(kResolution.data());
  const char* const wanted = ppd.choice(kResolution.data());
  if (!usual || !wanted || std::strcmp(usual, wanted) == 0) return;
  if (!ppd.hasCode(kResolution.data(), wanted)) return;
  features.push_back(
      {std::string(kResolution) + " " + usual, ppd.code(kResolution.data(), wanted) + "\n"});
}

// The filter inserts the number into PostScript unchanged, so it must be a number.
void settleCopies(OptionList& wanted, const char* copies) {
  const char* const name = kCopiesOption.data();
  const char* const instead = isCopyCount(copies) ? copies : nullptr;
  if (const char* const asked = wanted.find(kCopiesOption)) {
    if (isCopyCount(asked)) return;
    warnOfCopies(name, asked, instead);
    wanted.remove(name);
  }
  if (instead) wanted.put(name, instead);
}

void cleanTexts(OptionList& wanted) {
  for (const OptionName name : kHeaderTexts) {
    const char* const value = wanted.find(name);
    if (!value) continue;
    const std::string clean = headerText(value);
    if (clean != value) wanted.put(name.data(), clean);
  }
}

// Whether each copy ends with a whole sheet: CUPS adds a blank page to two-sided collated copies
// with an odd number of pages.
bool hasWholeSheets(const QueuePpd& ppd, const char* collate) {
  const char* const duplex = ppd.choice("Duplex");
  return duplex && strcasecmp(duplex, "None") != 0 && collate && std::strcmp(collate, "true") == 0;
}

void completeOptions(OptionList& wanted, CompletedJob& completed, const OptionList& jobOptions,
                     const QueueJob& job) {
  const QueuePpd ppd(job.ppdPath, jobOptions);
  completed.ppdIsUnusable = job.ppdPath && !ppd.isUsable();
  JobAdditions& additions = completed.additions;
  if (ppd.isUsable()) additions.ppdKeywords = ppd.keywords();
  const auto putMissing = [&](OptionName name, const char* value) {
    if (value && !jobOptions.find(name)) wanted.put(name.data(), value);
  };
  const char* collate = collation(jobOptions, ppd);
  putMissing(kCollateOption, collate);
  additions.wholeSheets = hasWholeSheets(ppd, collate);
  for (const OptionName name : kChoiceOptions) settleChoice(wanted, jobOptions, ppd, name);
  for (const OptionName name : kHeaderTexts) putMissing(name, ppd.choice(name.data()));
  putMissing("QVBookletPageCountFilename"_option, ppd.choice("QVBookletPageCountFilename"));
  completed.booklet = settleBooklet(wanted, additions, jobOptions, ppd, job.origin, job.countPages);
  if (completed.booklet.isBooklet) collate = "true";
  settleSettings(wanted, additions.settings, jobOptions, ppd);
  dropFeatures(additions.replacedFeatures, ppd);
  uncollate(additions.replacedFeatures, ppd, collate);
  replaceResolution(additions.replacedFeatures, ppd);
  completed.refusal =
      isConfidential(jobOptions) && !isConfidential(wanted)
          ? whyNotKept()
          : whyNotConfidential(wanted, isPasscodeChoice(ppd.defaultChoice("JRHOLDKEY")));
}

}  // namespace

constexpr std::span<const Setting> kPpdSettings = kSettings;

CompletedJob completedJob(const QueueJob& job) {
  const OptionList passedOptions(job.options);
  OptionList jobOptions(passedOptions);
  CompletedJob completed;
  const bool whole = isWholeOptionString(job.options);
  if (whole) completed.refusal = whyNotSeparated(jobOptions);
  if (!completed.refusal) completed.refusal = takePasscode(jobOptions);
  if (completed.refusal) return completed;
  takeAccounting(jobOptions);
  if (whole) takeResolution(jobOptions);
  OptionList wanted(jobOptions);
  if (whole) {
    completeOptions(wanted, completed, jobOptions, job);
  } else {
    warn(
        "The defaults of the queue are not used, because the job's options cannot be "
        "read to their end. Remove open quotes and braces, for example from the file name.");
    const QueuePpd ppd(job.ppdPath, OptionList(""));
    completed.refusal = isConfidential(wanted)
                            ? whyNotConfidential(wanted, false)
                            : whyNotOpen(job.options, ppd.defaultChoice("PrintTo"));
  }
  if (completed.refusal) return completed;
  cleanTexts(wanted);
  if (whole || wanted.find(kCopiesOption)) settleCopies(wanted, job.copies);
  if (whole) encodeAccounting(wanted);

  completed.additions.countPages = true;
  completed.user = headerText(job.user);
  completed.options = wanted == passedOptions ? job.options : optionString(job.options, wanted);
  // Users find the jobs that the printer keeps by their names.
  const char* const printTo = wanted.find("PrintTo"_option);
  if (printTo && std::string_view(printTo) != "JRPrinter") {
    completed.additions.jobName = headerText(job.title);
  }
  return completed;
}

}  // namespace jobshaper
