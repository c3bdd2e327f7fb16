// The settings for copies, toner, color and image quality, row by row as in the printer's manual.
#include <gtest/gtest.h>

#include "tests/support/appended_lines.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kCopies = "com.apple.print.PrintSettings.PMCopies..n.";
constexpr std::string_view kOrientation = "com.apple.print.PrintSettings.PMOrientation..n.";
constexpr std::string_view kCollate = "com.apple.print.PrintSettings.PMCopyCollate..b.";

TEST(SetCopies, SendsTheNumberOfAnyValue) {
  expectRows(&pjlCreation::setCopies, kCopies,
             {
                 {"1", {"@PJL SET COPIES = 1\n"}},
                 {"25", {"@PJL SET COPIES = 25\n"}},
                 {"007", {"@PJL SET COPIES = 7\n"}},
                 {" 3", {"@PJL SET COPIES = 3\n"}},
                 {"+3", {"@PJL SET COPIES = 3\n"}},
                 {"-3", {"@PJL SET COPIES = -3\n"}},
                 {"3 copies", {"@PJL SET COPIES = 3\n"}},
                 {"", {"@PJL SET COPIES = 0\n"}},
                 {"many", {"@PJL SET COPIES = 0\n"}},
                 {"PrinterS", {"@PJL SET COPIES = 0\n"}},
             });
  EXPECT_EQ(appended({}, {&pjlCreation::setCopies}), Lines());
}

TEST(SetCopies, IsClampedTo32Bits) {
  expectRows(&pjlCreation::setCopies, kCopies,
             {
                 {"2147483647", {"@PJL SET COPIES = 2147483647\n"}},
                 {"2147483648", {"@PJL SET COPIES = 2147483647\n"}},
                 {"4294967297", {"@PJL SET COPIES = 2147483647\n"}},
                 {"99999999999999999999", {"@PJL SET COPIES = 2147483647\n"}},
                 {"-2147483648", {"@PJL SET COPIES = -2147483648\n"}},
                 {"-99999999999999999999", {"@PJL SET COPIES = -2147483648\n"}},
             });
}

TEST(SetRotatePaper, OnlyLandscapeTurnsThePaper) {
  expectRows(&pjlCreation::setRotatePaper, kOrientation,
             {{"2", {"@PJL SET QIMAGEORIENTATION = ROTATEPAPER\n"}}});
  expectNothing(&pjlCreation::setRotatePaper, kOrientation,
                {"", "1", "3", "4", "02", " 2", "2 ", "22", "landscape"});
}

TEST(SetTonerDarkness, FoldsSixToTenOntoThePrintersFive) {
  expectRows(&pjlCreation::setTonerDarkness, "TonerDarkness",
             {
                 {"6", {"@PJL SET DENSITY = 1\n"}},
                 {"7", {"@PJL SET DENSITY = 2\n"}},
                 {"8", {"@PJL SET DENSITY = 3\n"}},
                 {"9", {"@PJL SET DENSITY = 4\n"}},
                 {"10", {"@PJL SET DENSITY = 5\n"}},
             });
  expectNothing(&pjlCreation::setTonerDarkness, "TonerDarkness", {});
}

TEST(SetTonerDarkness, PassesEveryOtherValueOn) {
  expectRows(&pjlCreation::setTonerDarkness, "TonerDarkness",
             {
                 {"1", {"@PJL SET DENSITY = 1\n"}},
                 {"3", {"@PJL SET DENSITY = 3\n"}},
                 {"5", {"@PJL SET DENSITY = 5\n"}},
                 {"0", {"@PJL SET DENSITY = 0\n"}},
                 {"11", {"@PJL SET DENSITY = 11\n"}},
                 {"06", {"@PJL SET DENSITY = 06\n"}},
                 {" 8", {"@PJL SET DENSITY =  8\n"}},
                 {"", {"@PJL SET DENSITY = \n"}},
                 {"printers", {"@PJL SET DENSITY = printers\n"}},
             });
}

TEST(SetPictureGrade, TakesTheValuesWithM) {
  expectRows(&pjlCreation::setPictureGrade, "PictureGrade",
             {{"TrueM", {"@PJL SET QPICTUREGRADE = ON\n"}},
              {"FalseM", {"@PJL SET QPICTUREGRADE = OFF\n"}}});
  expectNothing(&pjlCreation::setPictureGrade, "PictureGrade",
                {"", "True", "true", "TrueF", "FalseF", "truem", "TRUEM", "falseM"});
}

TEST(SetColorSaver, TakesTheValuesWithM) {
  expectRows(
      &pjlCreation::setColorSaver, "ColorSaver",
      {{"TrueM", {"@PJL SET QCOLORSAVER = ON\n"}}, {"FalseM", {"@PJL SET QCOLORSAVER = OFF\n"}}});
  expectNothing(&pjlCreation::setColorSaver, "ColorSaver",
                {"", "True", "true", "TrueF", "FalseF", "truem", "TRUEM", "falseM"});
}

TEST(SetBlackAndWhite, SetsTheColourModel) {
  expectRows(&pjlCreation::setBlackAndWhite, "BLW",
             {{"TrueM", {"@PJL SET QCOLORMODEL = BLACK\n"}},
              {"FalseM", {"@PJL SET QCOLORMODEL = CMYK\n"}}});
  expectNothing(&pjlCreation::setBlackAndWhite, "BLW",
                {"", "True", "true", "TrueF", "FalseF", "truem", "TRUEM", "falseM"});
}

TEST(SetImageSmoothing, TakesTheValuesWithF) {
  expectRows(&pjlCreation::setImageSmoothing, "ImageSmoothing",
             {{"TrueF", {"@PJL SET QIMAGESMOOTHING = ON\n"}},
              {"FalseF", {"@PJL SET QIMAGESMOOTHING = OFF\n"}}});
  expectNothing(&pjlCreation::setImageSmoothing, "ImageSmoothing",
                {"", "True", "true", "TrueM", "FalseM", "truef", "TRUEF", "falseF"});
}

TEST(SetLineDetail, TakesTheValuesWithF) {
  expectRows(
      &pjlCreation::setLineDetail, "QvnLineDetail",
      {{"TrueF", {"@PJL SET QLINEDETAIL = ON\n"}}, {"FalseF", {"@PJL SET QLINEDETAIL = OFF\n"}}});
  expectNothing(&pjlCreation::setLineDetail, "QvnLineDetail",
                {"", "True", "true", "TrueM", "FalseM", "truef", "TRUEF", "falseF"});
}

// The settings that send any value unchanged.
void expectPassedOn(Setter setter, std::string_view option, const std::string& lineStart) {
  for (const std::string value :
       {"0", "-6", "+5", "5", "999", "dark", "", " 5", "printers", "PRINTERS", "a\"b\\c", "\x80"}) {
    EXPECT_EQ(appended({{option, value}}, {setter}), Lines{lineStart + value + "\n"});
  }
  // A line end in the value does not split the element of the list.
  EXPECT_EQ(appended({{option, "1\n2"}}, {setter}), Lines{lineStart + "1\n2\n"});
  expectNothing(setter, option, {});
}

TEST(SetCyan, PassesTheValueOn) {
  expectPassedOn(&pjlCreation::setCyan, "CyanBalance", "@PJL SET QCOLORBALANCECYAN = ");
}

TEST(SetMagenta, PassesTheValueOn) {
  expectPassedOn(&pjlCreation::setMagenta, "MagentaBalance", "@PJL SET QCOLORBALANCEMAGENTA = ");
}

TEST(SetYellow, PassesTheValueOn) {
  expectPassedOn(&pjlCreation::setYellow, "YellowBalance", "@PJL SET QCOLORBALANCEYELLOW = ");
}

TEST(SetBlack, PassesTheValueOn) {
  expectPassedOn(&pjlCreation::setBlack, "BlackBalance", "@PJL SET QCOLORBALANCEBLACK = ");
}

TEST(SetBrightness, PassesTheValueOn) {
  expectPassedOn(&pjlCreation::setBrightness, "QvnBrightness", "@PJL SET QIMAGEBRIGHTNESS = ");
}

TEST(SetContrast, PassesTheValueOn) {
  expectPassedOn(&pjlCreation::setContrast, "QvnContrast", "@PJL SET QIMAGECONTRAST = ");
}

TEST(SetSaturation, PassesTheValueOn) {
  expectPassedOn(&pjlCreation::setSaturation, "QvnSaturation", "@PJL SET QIMAGESATURATION = ");
}

TEST(SetColorCorrection, HasAManualMode) {
  expectRows(&pjlCreation::setColorCorrection, "MediaColor",
             {
                 {"Manual", {"@PJL SET QCOLORCORRECTION = MANUAL\n"}},
                 {"FalseM", {"@PJL SET QCOLORCORRECTION = OFF\n"}},
                 {"Auto", {"@PJL SET QCOLORCORRECTION = AUTO\n"}},
             });
  expectNothing(&pjlCreation::setColorCorrection, "MediaColor",
                {"", "manual", "MANUAL", "auto", "False", "FalseF", "falsem", "Off", "TrueM"});
}

TEST(SetGrayCorrection, HasNoManualMode) {
  expectRows(&pjlCreation::setGrayCorrection, "GrayCorrection",
             {
                 {"FalseM", {"@PJL SET QCOLORCORRECTION = OFF\n"}},
                 {"Auto", {"@PJL SET QCOLORCORRECTION = AUTO\n"}},
             });
  expectNothing(&pjlCreation::setGrayCorrection, "GrayCorrection",
                {"", "Manual", "auto", "AUTO", "False", "FalseF", "falsem", "Off", "TrueM"});
}

TEST(SetGrayCorrection, SetsTheVariableOfColourCorrectionAgain) {
  EXPECT_EQ(appended({{"MediaColor", "Auto"}, {"GrayCorrection", "Auto"}},
                     {&pjlCreation::setColorCorrection, &pjlCreation::setGrayCorrection}),
            (Lines{"@PJL SET QCOLORCORRECTION = AUTO\n", "@PJL SET QCOLORCORRECTION = AUTO\n"}));
}

const std::vector<std::string_view> kNotManualRGB = {
    "",          "vivid",       "VIVID", "SRGBVivid", "sRGBvivid", "SRGBDISPLAY",
    "VividCMYK", "DISPLAYREAL", "off",   "OFF",       "Auto",      "displayRealBlack",
    "EuroCMYK",  "sRGB",        "Off ",
};

TEST(SetManualRGBImage, SendsEachTable) {
  expectRows(&pjlCreation::setManualRGBImage, "ManualRGBImage",
             {
                 {"Vivid", {"@PJL SET QMANUALCOLORRGBIMAGE = VIVID\n"}},
                 {"sRGBVivid", {"@PJL SET QMANUALCOLORRGBIMAGE = SRGBVIVID\n"}},
                 {"sRGBDisplay", {"@PJL SET QMANUALCOLORRGBIMAGE = SRGBDISPLAY\n"}},
                 {"DisplayRealBlack", {"@PJL SET QMANUALCOLORRGBIMAGE = DISPLAYREALBLACK\n"}},
                 {"Off", {"@PJL SET QMANUALCOLORRGBIMAGE = OFF\n"}},
             });
  expectNothing(&pjlCreation::setManualRGBImage, "ManualRGBImage", kNotManualRGB);
}

TEST(SetManualRGBText, SendsEachTable) {
  expectRows(&pjlCreation::setManualRGBText, "ManualRGBText",
             {
                 {"Vivid", {"@PJL SET QMANUALCOLORRGBTEXT = VIVID\n"}},
                 {"sRGBVivid", {"@PJL SET QMANUALCOLORRGBTEXT = SRGBVIVID\n"}},
                 {"sRGBDisplay", {"@PJL SET QMANUALCOLORRGBTEXT = SRGBDISPLAY\n"}},
                 {"DisplayRealBlack", {"@PJL SET QMANUALCOLORRGBTEXT = DISPLAYREALBLACK\n"}},
                 {"Off", {"@PJL SET QMANUALCOLORRGBTEXT = OFF\n"}},
             });
  expectNothing(&pjlCreation::setManualRGBText, "ManualRGBText", kNotManualRGB);
}

TEST(SetManualRGBGraphics, SendsEachTable) {
  expectRows(&pjlCreation::setManualRGBGraphics, "ManualRGBGraphics",
             {
                 {"Vivid", {"@PJL SET QMANUALCOLORRGBGRAPHICS = VIVID\n"}},
                 {"sRGBVivid", {"@PJL SET QMANUALCOLORRGBGRAPHICS = SRGBVIVID\n"}},
                 {"sRGBDisplay", {"@PJL SET QMANUALCOLORRGBGRAPHICS = SRGBDISPLAY\n"}},
                 {"DisplayRealBlack", {"@PJL SET QMANUALCOLORRGBGRAPHICS = DISPLAYREALBLACK\n"}},
                 {"Off", {"@PJL SET QMANUALCOLORRGBGRAPHICS = OFF\n"}},
             });
  expectNothing(&pjlCreation::setManualRGBGraphics, "ManualRGBGraphics", kNotManualRGB);
}

TEST(SetManualCMYK, SetsAllThreeKindsOfObject) {
  expectRows(
      &pjlCreation::setManualCMYK, "ManualCMYK",
      {
          {"VividCMYK",
           {"@PJL SET QMANUALCOLORCMYKIMAGE = VIVIDCMYK\n",
            "@PJL SET QMANUALCOLORCMYKTEXT = VIVIDCMYK\n",
            "@PJL SET QMANUALCOLORCMYKGRAPHICS = VIVIDCMYK\n"}},
          {"EuroCMYK",
           {"@PJL SET QMANUALCOLORCMYKIMAGE = EURO\n", "@PJL SET QMANUALCOLORCMYKTEXT = EURO\n",
            "@PJL SET QMANUALCOLORCMYKGRAPHICS = EURO\n"}},
          {"USCMYK",
           {"@PJL SET QMANUALCOLORCMYKIMAGE = SWOP\n", "@PJL SET QMANUALCOLORCMYKTEXT = SWOP\n",
            "@PJL SET QMANUALCOLORCMYKGRAPHICS = SWOP\n"}},
          {"Off",
           {"@PJL SET QMANUALCOLORCMYKIMAGE = OFF\n", "@PJL SET QMANUALCOLORCMYKTEXT = OFF\n",
            "@PJL SET QMANUALCOLORCMYKGRAPHICS = OFF\n"}},
      });
  expectNothing(&pjlCreation::setManualCMYK, "ManualCMYK",
                {"", "vividcmyk", "Vivid", "EUROCMYK", "Euro", "UScmyk", "SWOP", "off", "OFF"});
}

TEST(SetCollation, EveryValueButTrueSwitchesItOff) {
  expectRows(&pjlCreation::setCollation, kCollate,
             {
                 {"true", {"@PJL SET QCOLLATION = ON\n"}},
                 {"false", {"@PJL SET QCOLLATION = OFF\n"}},
                 {"TRUE", {"@PJL SET QCOLLATION = OFF\n"}},
                 {"True", {"@PJL SET QCOLLATION = OFF\n"}},
                 {"PrinterS", {"@PJL SET QCOLLATION = OFF\n"}},
                 {"", {"@PJL SET QCOLLATION = OFF\n"}},
                 {"1", {"@PJL SET QCOLLATION = OFF\n"}},
             });
  EXPECT_EQ(appended({}, {&pjlCreation::setCollation}), Lines());
}

TEST(SetResolution, ImageQualityModesEnhanceAt600) {
  expectRows(&pjlCreation::setResolution, "Resolution",
             {
                 {"300dpi", {"@PJL SET RESOLUTION = 300\n"}},
                 {"600dpi", {"@PJL SET RESOLUTION = 600\n"}},
                 {"1200dpi", {"@PJL SET RESOLUTION = 1200\n"}},
                 {"1200IQ",
                  {"@PJL SET RESOLUTION = 600\n", "@PJL SET QIMAGEENHANCE = ON\n",
                   "@PJL SET QIMAGEENHANCETYPE = 2\n", "@PJL SET QSCREENING = IET\n"}},
                 {"2400IQ",
                  {"@PJL SET RESOLUTION = 600\n", "@PJL SET QIMAGEENHANCE = ON\n",
                   "@PJL SET QIMAGEENHANCETYPE = 4\n", "@PJL SET QSCREENING = IET\n"}},
                 {"4800CQ",
                  {"@PJL SET RESOLUTION = 600\n", "@PJL SET QIMAGEENHANCE = ON\n",
                   "@PJL SET QIMAGEENHANCETYPE = 2\n", "@PJL SET QSCREENING = IET\n"}},
             });
  expectNothing(&pjlCreation::setResolution, "Resolution",
                {"", "300", "300DPI", "2400dpi", "1200iq", "2400CQ", "4800IQ", "4800cq", "600"});
}

TEST(QualitySettings, LinesComeInTheOrderOfTheCalls) {
  const Options options = {{kCopies, "1"},          {kCollate, "true"},       {kOrientation, "2"},
                           {"TonerDarkness", "10"}, {"Resolution", "2400IQ"}, {"BLW", "TrueM"},
                           {"CyanBalance", "-2"}};
  EXPECT_EQ(appended(options, {&pjlCreation::setResolution, &pjlCreation::setCyan,
                               &pjlCreation::setBlackAndWhite, &pjlCreation::setCopies,
                               &pjlCreation::setTonerDarkness, &pjlCreation::setCollation,
                               &pjlCreation::setMagenta, &pjlCreation::setRotatePaper}),
            (Lines{"@PJL SET RESOLUTION = 600\n", "@PJL SET QIMAGEENHANCE = ON\n",
                   "@PJL SET QIMAGEENHANCETYPE = 4\n", "@PJL SET QSCREENING = IET\n",
                   "@PJL SET QCOLORBALANCECYAN = -2\n", "@PJL SET QCOLORMODEL = BLACK\n",
                   "@PJL SET COPIES = 1\n", "@PJL SET DENSITY = 5\n", "@PJL SET QCOLLATION = ON\n",
                   "@PJL SET QIMAGEORIENTATION = ROTATEPAPER\n"}));
}

TEST(QualitySettings, OptionNamesAreExact) {
  EXPECT_EQ(
      appended({{"cyanBalance", "1"},
                {"resolution", "600dpi"},
                {"Blw", "TrueM"},
                {"LineDetail", "TrueF"},
                {"Brightness", "1"}},
               {&pjlCreation::setCyan, &pjlCreation::setResolution, &pjlCreation::setBlackAndWhite,
                &pjlCreation::setLineDetail, &pjlCreation::setBrightness}),
      Lines());
}

}  // namespace
}  // namespace jobshaper::testing
