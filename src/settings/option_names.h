// The names of all options that the programs read. CUPS passes choices of the PPD file and what a
// client adds under these names; those that begin with com.apple are the print dialog's of macOS.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>

namespace jobshaper {

// clang-format off
// The options that the filter reads.
inline constexpr std::string_view kFilterOptions[] = {
    // who prints, and how often
    "JRUSERNAME",
    "com.apple.print.PrintSettings.PMCopies..n.",
    "com.apple.print.PrintSettings.PMCopyCollate..b.",
    "QVPosterEnablePS",
    // job retention and accounting
    "PrintTo", "JRHOLDKEY",
    "JAUSERID", "JAACCTNUM", "JADEPTNUM",
    // quality and color
    "QvnBlankPage", "QvnDoubleStomp", "QvnPixelBoost", "QVGeneric",
    // booklets
    "QVBookletFold", "QVBookletPageCountFilename",
    "QVBookletCoverPage", "QVBookletCoverSource", "QVBookletCoverType",
    "QVOutsideFrontCover", "QVOutsideBackCover", "QVInsideFrontCover", "QVInsideBackCover",
};

// Those that only the settings outside the header read.
inline constexpr std::string_view kSettingOptions[] = {
    // paper
    "media", "MediaType",
    "InputSlot", "AP_FIRSTPAGE_InputSlot", "AP_D_InputSlot",
    "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1",
    "com.apple.print.PrintSettings.PMOrientation..n.",
    "OutputBin", "SepPages", "SepSource", "Offset",
    // quality and color
    "Resolution", "TonerDarkness", "PictureGrade", "ImageSmoothing", "QvnLineDetail",
    "QvnBrightness", "QvnContrast", "QvnSaturation",
    "CyanBalance", "MagentaBalance", "YellowBalance", "BlackBalance",
    "BLW", "ColorSaver", "GrayCorrection", "MediaColor",
    "ManualRGBImage", "ManualRGBText", "ManualRGBGraphics", "ManualCMYK",
};

// Those that only queues read.
inline constexpr std::string_view kQueueOptions[] = {
    "collate", "multiple-document-handling", "outputorder", "output-order", "booklet",
    "job-password", "job-password-encryption", "job-account-id", "job-accounting-user-id",
    "ColorModel", "print-color-mode", "QvnImageQuality", "printer-resolution",
};
// clang-format on

// A name that ends in a zero byte. Only "..."_option makes one, so the lists above are complete.
// (clang 14 cannot compile one that is derived from std::string_view.)
class OptionName {
 public:
  constexpr operator std::string_view() const { return name_; }
  constexpr const char* data() const { return name_.data(); }
  constexpr std::size_t size() const { return name_.size(); }
  friend constexpr bool operator==(OptionName a, OptionName b) { return a.name_ == b.name_; }

 private:
  constexpr explicit OptionName(std::string_view name) : name_(name) {}
  friend consteval OptionName operator""_option(const char* name, std::size_t length);

  std::string_view name_;
};

OptionName thisOptionIsNotInTheLists();  // not constexpr: calling it does not compile

// "PrintTo"_option is the name "PrintTo". A name that the lists lack does not compile.
consteval OptionName operator""_option(const char* name, std::size_t length) {
  using Lists = std::initializer_list<std::span<const std::string_view>>;
  for (const auto list : Lists{kFilterOptions, kSettingOptions, kQueueOptions}) {
    for (const std::string_view known : list) {
      if (known == std::string_view(name, length)) return OptionName(known);
    }
  }
  return thisOptionIsNotInTheLists();
}

inline constexpr OptionName kCopiesOption = "com.apple.print.PrintSettings.PMCopies..n."_option;
inline constexpr OptionName kCollateOption =
    "com.apple.print.PrintSettings.PMCopyCollate..b."_option;
inline constexpr OptionName kFoldOption = "QVBookletFold"_option;

}  // namespace jobshaper
