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

// Values of "@PJL SET QMANUALCOLORRGBIMAGE = ", "@PJL SET QMANUALCOLORRGBTEXT = " and
// "@PJL SET QMANUALCOLORRGBGRAPHICS = ".
constexpr OptionRow kManualRGBRows[] = {
    {"Vivid",            "VIVID"},
    {"sRGBVivid",        "SRGBVIVID"},
    {"sRGBDisplay",      "SRGBDISPLAY"},
    {"DisplayRealBlack", "DISPLAYREALBLACK"},
    {"Off",              "OFF"},
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
// clang-format on

constexpr std::string_view kOrientationOption =
    "com.apple.print.PrintSettings.PMOrientation..n."_option;

}  // namespace

void pjlCreation::setCopies() {
  if (const Value copies = ticketData_->getValue(kCopiesOption)) {
    insertNumCopies(integerValue(*copies));
  }
}

void pjlCreation::setRotatePaper() { appendFromTable(kOrientationOption, kRotatePaperRows); }

void pjlCreation::setTonerDarkness() {
  const Value darkness = requested("TonerDarkness"_option);
  if (darkness && !appendRow(kTonerDarknessRows, *darkness)) {
    appendJoined({"@PJL SET DENSITY = ", *darkness, "\n"});
  }
}

void pjlCreation::setPictureGrade() { appendFromTable("PictureGrade"_option, kPictureGradeRows); }

void pjlCreation::setCyan() {
  appendPassedOn("CyanBalance"_option, "@PJL SET QCOLORBALANCECYAN = ");
}

void pjlCreation::setMagenta() {
  appendPassedOn("MagentaBalance"_option, "@PJL SET QCOLORBALANCEMAGENTA = ");
}

void pjlCreation::setYellow() {
  appendPassedOn("YellowBalance"_option, "@PJL SET QCOLORBALANCEYELLOW = ");
}

void pjlCreation::setBlack() {
  appendPassedOn("BlackBalance"_option, "@PJL SET QCOLORBALANCEBLACK = ");
}

void pjlCreation::setColorCorrection() {
  appendFromTable("MediaColor"_option, kManualCorrectionRows);
  appendFromTable("MediaColor"_option, kCorrectionRows);
}

void pjlCreation::setGrayCorrection() { appendFromTable("GrayCorrection"_option, kCorrectionRows); }

void pjlCreation::setManualRGBImage() {
  appendFromTable("ManualRGBImage"_option, "@PJL SET QMANUALCOLORRGBIMAGE = ", kManualRGBRows);
}

void pjlCreation::setManualRGBText() {
  appendFromTable("ManualRGBText"_option, "@PJL SET QMANUALCOLORRGBTEXT = ", kManualRGBRows);
}

void pjlCreation::setManualRGBGraphics() {
  appendFromTable("ManualRGBGraphics"_option,
                  "@PJL SET QMANUALCOLORRGBGRAPHICS = ", kManualRGBRows);
}

void pjlCreation::setManualCMYK() { appendFromTable("ManualCMYK"_option, kManualCMYKRows); }

void pjlCreation::setColorSaver() { appendFromTable("ColorSaver"_option, kColorSaverRows); }

void pjlCreation::setBlackAndWhite() { appendFromTable("BLW"_option, kBlackAndWhiteRows); }

void pjlCreation::setBrightness() {
  appendPassedOn("QvnBrightness"_option, "@PJL SET QIMAGEBRIGHTNESS = ");
}

void pjlCreation::setContrast() {
  appendPassedOn("QvnContrast"_option, "@PJL SET QIMAGECONTRAST = ");
}

void pjlCreation::setSaturation() {
  appendPassedOn("QvnSaturation"_option, "@PJL SET QIMAGESATURATION = ");
}

void pjlCreation::setImageSmoothing() {
  appendFromTable("ImageSmoothing"_option, kImageSmoothingRows);
}

void pjlCreation::setLineDetail() { appendFromTable("QvnLineDetail"_option, kLineDetailRows); }

void pjlCreation::setCollation() {
  if (const Value collate = ticketData_->getValue(kCollateOption)) {
    append(*collate == "true" ? "@PJL SET QCOLLATION = ON\n" : "@PJL SET QCOLLATION = OFF\n");
  }
}

void pjlCreation::setResolution() { appendFromTable("Resolution"_option, kResolutionRows); }

}  // namespace jobshaper
