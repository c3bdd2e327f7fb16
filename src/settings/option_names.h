// The names of all options that the filter reads. CUPS passes choices of the PPD file and what a
// client adds under these names; those that begin with com.apple are the print dialog's of macOS.
#pragma once

#include <cstddef>
#include <string_view>

namespace jobshaper {

// clang-format off
inline constexpr std::string_view kOptionNames[] = {
    // who prints, and how often
    "JRUSERNAME",
    "com.apple.print.PrintSettings.PMCopies..n.",
    "com.apple.print.PrintSettings.PMCopyCollate..b.",
    "QVPosterEnablePS",
    // job retention and accounting
    "PrintTo", "JRHOLDKEY",
    "JAUSERID", "JAACCTNUM", "JADEPTNUM",
    // paper
    "media", "MediaType",
    "InputSlot", "AP_FIRSTPAGE_InputSlot", "AP_D_InputSlot",
    "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1",
    "com.apple.print.PrintSettings.PMOrientation..n.",
    "OutputBin", "SepPages", "SepSource", "Offset", "QvnBlankPage",
    // quality and color
    "Resolution", "TonerDarkness", "PictureGrade", "ImageSmoothing",
    "QvnDoubleStomp", "QvnPixelBoost", "QvnLineDetail",
    "QvnBrightness", "QvnContrast", "QvnSaturation",
    "CyanBalance", "MagentaBalance", "YellowBalance", "BlackBalance",
    "QVGeneric", "BLW", "ColorSaver", "GrayCorrection", "MediaColor",
    "ManualRGBImage", "ManualRGBText", "ManualRGBGraphics", "ManualCMYK",
    // booklets
    "QVBookletFold", "QVBookletPageCountFilename",
    "QVBookletCoverPage", "QVBookletCoverSource", "QVBookletCoverType",
    "QVOutsideFrontCover", "QVOutsideBackCover", "QVInsideFrontCover", "QVInsideBackCover",
};
// clang-format on

// "PrintTo"_option is the name "PrintTo". A name that the table lacks does not compile.
consteval std::string_view operator""_option(const char* name, std::size_t length) {
  for (std::size_t i = 0;; ++i) {
    if (kOptionNames[i] == std::string_view(name, length)) return kOptionNames[i];
  }
}

inline constexpr std::string_view kCopiesOption =
    "com.apple.print.PrintSettings.PMCopies..n."_option;
inline constexpr std::string_view kCollateOption =
    "com.apple.print.PrintSettings.PMCopyCollate..b."_option;
inline constexpr std::string_view kFoldOption = "QVBookletFold"_option;

}  // namespace jobshaper
