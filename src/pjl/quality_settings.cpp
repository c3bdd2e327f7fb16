// Print settings: copies, collation and orientation, toner, color, image quality and resolution.
#include "pjl/pjl_creation.h"

#include "settings/numbers.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

// clang-format off
constexpr OptionRow kRotatePaperRows[] = {
    {"2", "@PJL SET QIMAGEORIENTATION = ROTATEPAPER\n"},  // landscape
};

// The driver's 6 to 10 are the printer's 1 to 5. Other values are sent unchanged.
constexpr OptionRow kTonerDarknessRows[] = {
    {"6",  "@PJL SET DENSITY = 1\n"},
    {"7",  "@PJL SET DENSITY = 2\n"},
    {"8",  "@PJL SET DENSITY = 3\n"},
    {"9",  "@PJL SET DENSITY = 4\n"},
    {"10", "@PJL SET DENSITY = 5\n"},
};

// The last letter, M or F, is part of the value and depends on the setting.
constexpr OptionRow kPictureGradeRows[] = {
    {"TrueM",  "@PJL SET QPICTUREGRADE = ON\n"},
    {"FalseM", "@PJL SET QPICTUREGRADE = OFF\n"},
};

constexpr OptionRow kColorSaverRows[] = {
    {"TrueM",  "@PJL SET QCOLORSAVER = ON\n"},
    {"FalseM", "@PJL SET QCOLORSAVER = OFF\n"},
};

constexpr OptionRow kBlackAndWhiteRows[] = {
    {"TrueM",  "@PJL SET QCOLORMODEL = BLACK\n"},
    {"FalseM", "@PJL SET QCOLORMODEL = CMYK\n"},
};

constexpr OptionRow kImageSmoothingRows[] = {
    {"TrueF",  "@PJL SET QIMAGESMOOTHING = ON\n"},
    {"FalseF", "@PJL SET QIMAGESMOOTHING = OFF\n"},
};

constexpr OptionRow kLineDetailRows[] = {
    {"TrueF",  "@PJL SET QLINEDETAIL = ON\n"},
    {"FalseF", "@PJL SET QLINEDETAIL = OFF\n"},
};

// For color and gray correction, which set the same variable. By design, gray correction has no
// manual mode, so that has its own table.
constexpr OptionRow kCorrectionRows[] = {
    {"FalseM", "@PJL SET QCOLORCORRECTION = OFF\n"},
    {"Auto",   "@PJL SET QCOLORCORRECTION = AUTO\n"},
};

constexpr OptionRow kManualCorrectionRows[] = {
    {"Manual", "@PJL SET QCOLORCORRECTION = MANUAL\n"},
};
static_assert(!findRow(kCorrectionRows, "Manual"));

constexpr OptionRow kManualRGBRows[] = {
    {"Vivid",            "VIVID\n"},
    {"sRGBVivid",        "SRGBVIVID\n"},
    {"sRGBDisplay",      "SRGBDISPLAY\n"},
    {"DisplayRealBlack", "DISPLAYREALBLACK\n"},
    {"Off",              "OFF\n"},
};

// One option sets the variables of all three kinds of object.
constexpr OptionRow kManualCMYKRows[] = {
    {"VividCMYK", "@PJL SET QMANUALCOLORCMYKIMAGE = VIVIDCMYK\n"
                  "@PJL SET QMANUALCOLORCMYKTEXT = VIVIDCMYK\n"
                  "@PJL SET QMANUALCOLORCMYKGRAPHICS = VIVIDCMYK\n"},
    {"EuroCMYK",  "@PJL SET QMANUALCOLORCMYKIMAGE = EURO\n"
                  "@PJL SET QMANUALCOLORCMYKTEXT = EURO\n"
                  "@PJL SET QMANUALCOLORCMYKGRAPHICS = EURO\n"},
    {"USCMYK",    "@PJL SET QMANUALCOLORCMYKIMAGE = SWOP\n"
                  "@PJL SET QMANUALCOLORCMYKTEXT = SWOP\n"
                  "@PJL SET QMANUALCOLORCMYKGRAPHICS = SWOP\n"},
    {"Off",       "@PJL SET QMANUALCOLORCMYKIMAGE = OFF\n"
                  "@PJL SET QMANUALCOLORCMYKTEXT = OFF\n"
                  "@PJL SET QMANUALCOLORCMYKGRAPHICS = OFF\n"},
};

// The image-quality modes print at 600 dpi and enhance the image.
constexpr OptionRow kResolutionRows[] = {
    {"300dpi",  "@PJL SET RESOLUTION = 300\n"},
    {"600dpi",  "@PJL SET RESOLUTION = 600\n"},
    {"1200dpi", "@PJL SET RESOLUTION = 1200\n"},
    {"1200IQ",  "@PJL SET RESOLUTION = 600\n"
                "@PJL SET QIMAGEENHANCE = ON\n"
                "@PJL SET QIMAGEENHANCETYPE = 2\n"
                "@PJL SET QSCREENING = IET\n"},
    {"2400IQ",  "@PJL SET RESOLUTION = 600\n"
                "@PJL SET QIMAGEENHANCE = ON\n"
                "@PJL SET QIMAGEENHANCETYPE = 4\n"
                "@PJL SET QSCREENING = IET\n"},
    {"4800CQ",  "@PJL SET RESOLUTION = 600\n"
                "@PJL SET QIMAGEENHANCE = ON\n"
                "@PJL SET QIMAGEENHANCETYPE = 2\n"  // intentional: as "1200IQ", not "2400IQ"
                "@PJL SET QSCREENING = IET\n"},
};
static_assert(findRow(kResolutionRows, "4800CQ")->sent == findRow(kResolutionRows, "1200IQ")->sent);

constexpr OptionName kOrientationOption = "com.apple.print.PrintSettings.PMOrientation..n."_option;

constexpr OptionTable kTables[] = {
    {kOrientationOption,         kRotatePaperRows},
    {"TonerDarkness"_option,     kTonerDarknessRows},
    {"TonerDarkness"_option,     {}, "@PJL SET DENSITY = "},
    {"PictureGrade"_option,      kPictureGradeRows},
    {"ColorSaver"_option,        kColorSaverRows},
    {"BLW"_option,               kBlackAndWhiteRows},
    {"ImageSmoothing"_option,    kImageSmoothingRows},
    {"QvnLineDetail"_option,     kLineDetailRows},
    {"MediaColor"_option,        kManualCorrectionRows},
    {"MediaColor"_option,        kCorrectionRows},
    {"GrayCorrection"_option,    kCorrectionRows},
    {"ManualRGBImage"_option,    kManualRGBRows, "@PJL SET QMANUALCOLORRGBIMAGE = "},
    {"ManualRGBText"_option,     kManualRGBRows, "@PJL SET QMANUALCOLORRGBTEXT = "},
    {"ManualRGBGraphics"_option, kManualRGBRows, "@PJL SET QMANUALCOLORRGBGRAPHICS = "},
    {"ManualCMYK"_option,        kManualCMYKRows},
    {"Resolution"_option,        kResolutionRows},
    {"CyanBalance"_option,       {}, "@PJL SET QCOLORBALANCECYAN = "},
    {"MagentaBalance"_option,    {}, "@PJL SET QCOLORBALANCEMAGENTA = "},
    {"YellowBalance"_option,     {}, "@PJL SET QCOLORBALANCEYELLOW = "},
    {"BlackBalance"_option,      {}, "@PJL SET QCOLORBALANCEBLACK = "},
    {"QvnBrightness"_option,     {}, "@PJL SET QIMAGEBRIGHTNESS = "},
    {"QvnContrast"_option,       {}, "@PJL SET QIMAGECONTRAST = "},
    {"QvnSaturation"_option,     {}, "@PJL SET QIMAGESATURATION = "},
};
// clang-format on

}  // namespace

constexpr std::span<const OptionTable> kQualityTables = kTables;

void pjlCreation::setCopies() {
  if (const Value copies = ticketData_->getValue(kCopiesOption)) {
    insertNumCopies(integerValue(*copies));
  }
}

void pjlCreation::setRotatePaper() { appendFromTable(kOrientationOption); }
void pjlCreation::setTonerDarkness() { appendFromTable("TonerDarkness"_option); }
void pjlCreation::setPictureGrade() { appendFromTable("PictureGrade"_option); }
void pjlCreation::setCyan() { appendFromTable("CyanBalance"_option); }
void pjlCreation::setMagenta() { appendFromTable("MagentaBalance"_option); }
void pjlCreation::setYellow() { appendFromTable("YellowBalance"_option); }
void pjlCreation::setBlack() { appendFromTable("BlackBalance"_option); }
void pjlCreation::setColorCorrection() { appendFromTable("MediaColor"_option); }
void pjlCreation::setGrayCorrection() { appendFromTable("GrayCorrection"_option); }
void pjlCreation::setManualRGBImage() { appendFromTable("ManualRGBImage"_option); }
void pjlCreation::setManualRGBText() { appendFromTable("ManualRGBText"_option); }
void pjlCreation::setManualRGBGraphics() { appendFromTable("ManualRGBGraphics"_option); }
void pjlCreation::setManualCMYK() { appendFromTable("ManualCMYK"_option); }
void pjlCreation::setColorSaver() { appendFromTable("ColorSaver"_option); }
void pjlCreation::setBlackAndWhite() { appendFromTable("BLW"_option); }
void pjlCreation::setBrightness() { appendFromTable("QvnBrightness"_option); }
void pjlCreation::setContrast() { appendFromTable("QvnContrast"_option); }
void pjlCreation::setSaturation() { appendFromTable("QvnSaturation"_option); }
void pjlCreation::setImageSmoothing() { appendFromTable("ImageSmoothing"_option); }
void pjlCreation::setLineDetail() { appendFromTable("QvnLineDetail"_option); }

void pjlCreation::setCollation() {
  if (const Value collate = ticketData_->getValue(kCollateOption)) {
    append(*collate == "true" ? "@PJL SET QCOLLATION = ON\n" : "@PJL SET QCOLLATION = OFF\n");
  }
}

void pjlCreation::setResolution() { appendFromTable("Resolution"_option); }

}  // namespace jobshaper
