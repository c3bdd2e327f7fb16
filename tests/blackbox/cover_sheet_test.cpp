// The cover sheet of a booklet made by the printer: at which page it is asked for, from
// which tray and on which media, and when the cover's outside stays blank.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/blackbox/booklet_jobs.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

// ---- the answer: only inside

// Two pages, the cover sheet from tray 1: the answer shows at page 1 or at page 2.
void expectOnlyInside(std::string_view coverOptions, bool onlyInside) {
  SCOPED_TRACE(coverOptions);
  const Job job = coverJob("4", std::string("QVBookletCoverSource=Tray1 ") + coverOptions,
                           "%%Page: 1 1\n%%Page: 2 2\n");
  expectBody(job, onlyInside ? "%%Page: 1 1\n"
                               "1 dict dup /Duplex false put setpagedevice\n"
                               "%%Page: 2 2\n"
                               "[{\n"
                               "<< /DeferredMediaSelection true "
                               "/ManualFeed false /MediaPosition 0  >> setpagedevice\n"
                               "} stopped cleartomark\n"
                             : "%%Page: 1 1\n"
                               "[{\n"
                               "<< /DeferredMediaSelection true "
                               "/ManualFeed false /MediaPosition 0  >> setpagedevice\n"
                               "} stopped cleartomark\n"
                               "%%Page: 2 2\n");
}

TEST(OnlyInside, NeedsACoverPage) {
  expectOnlyInside("QVInsideFrontCover=true", false);
  for (const char* value : {"false", "False", "yes", "1", "", "PrinterS", "tru", "true1",
                            "true<20>", "<20>true", "\"\""}) {
    expectOnlyInside(std::string("QVInsideFrontCover=true QVBookletCoverPage=") + value, false);
  }
  expectOnlyInside("QVInsideFrontCover=true qvBookletCoverPage=true", false);
}

TEST(OnlyInside, CoverPageIsTrueInAnyLetterCase) {
  for (const char* value : {"true", "True", "TRUE", "tRuE", "\"true\"", "'TRUE'"}) {
    expectOnlyInside(std::string("QVInsideFrontCover=true QVBookletCoverPage=") + value, true);
  }
  expectOnlyInside("QVInsideFrontCover=true QVBookletCoverPage", true);
}

struct Faces {
  const char* options;
  bool onlyInside;
};

void expectFaces(const std::vector<Faces>& rows) {
  for (const Faces& row : rows) {
    expectOnlyInside(std::string("QVBookletCoverPage=true ") + row.options, row.onlyInside);
  }
}

TEST(OnlyInside, FollowsTheFacesThatAreSet) {
  // clang-format off
  expectFaces({
      {"", false},
      {"QVInsideFrontCover=true", true},
      {"QVInsideBackCover=true", true},
      {"QVInsideBackCover=true QVInsideFrontCover=true", false},
      {"QVOutsideFrontCover=true QVInsideFrontCover=true", false},
      {"QVOutsideFrontCover=False QVOutsideBackCover=False QVInsideBackCover=true QVInsideFrontCover=False", true},
      {"QVOutsideFrontCover=False QVOutsideBackCover=False QVInsideBackCover=False QVInsideFrontCover=true", true},
      {"QVOutsideFrontCover=False QVOutsideBackCover=False QVInsideBackCover=true QVInsideFrontCover=true", false},
      {"QVOutsideFrontCover=TRUE", true},
      {"QVOutsideBackCover=true QVInsideBackCover=true", false},
      {"QVOutsideFrontCover=true", false},
      {"QVOutsideBackCover=true", false},
      {"QVOutsideFrontCover=true QVOutsideBackCover=true", false},
      {"QVOutsideFrontCover=False QVOutsideBackCover=true", false},
      {"QVOutsideFrontCover=true QVOutsideBackCover=False", false},
      {"QVOutsideFrontCover=true QVOutsideBackCover=true QVInsideBackCover=true QVInsideFrontCover=true", false},
      {"QVOutsideFrontCover=true QVOutsideBackCover=False QVInsideBackCover=False QVInsideFrontCover=True", false},
  });
  // clang-format on
}

TEST(OnlyInside, AllFacesFalseInAnyLetterCaseLeaveTheCoverToBothSides) {
  expectFaces({
      {"QVOutsideFrontCover=False", false},
      {"QVOutsideFrontCover=FALSE QVOutsideBackCover=false QVInsideBackCover=fAlSe "
       "QVInsideFrontCover=False",
       false},
      {"noQVOutsideFrontCover noQVInsideBackCover", false},
      {"QVInsideFrontCover=FALSE", false},
      {"QVInsideFrontCover=no", true},
      {"QVInsideFrontCover=", true},
      {"QVInsideBackCover=0", true},
      {"QVOutsideBackCover=False<20>", true},
      {"QVOutsideFrontCover=PrinterS", true},
  });
}

TEST(OnlyInside, FaceIsPrintedOnlyWhenItIsExactlyTrue) {
  expectFaces({
      {"QVOutsideFrontCover=True", true},
      {"QVOutsideFrontCover=", true},
      {"QVOutsideFrontCover=yes", true},
      {"QVOutsideFrontCover=true<20>", true},
      {"QVOutsideFrontCover", false},
      {"QVOutsideBackCover=True", true},
      {"QVOutsideBackCover=TRUE QVOutsideFrontCover=TRUE", true},
      {"QVOutsideBackCover=true QVOutsideFrontCover=TRUE", false},
      {"QVOutsideBackCover=TRUE QVOutsideFrontCover=true", false},
      {"QVInsideBackCover=true QVInsideFrontCover=True", true},
      {"QVInsideBackCover=True QVInsideFrontCover=true", true},
      {"QVInsideBackCover=TRUE QVInsideFrontCover=TRUE", true},
      {"QVInsideBackCover=true QVInsideFrontCover=", true},
      {"QVInsideBackCover=true QVInsideFrontCover=true QVOutsideFrontCover=TRUE", false},
  });
}

// ---- tray and media

// Both kinds of cover ask for the sheet with these parameters.
void expectParameters(const std::string& options, std::string_view parameters) {
  SCOPED_TRACE(options);
  expectBody(coverJob("4", options, pages(2)), pages(2, 1, request("%%Page: 1 1\n", parameters)));
  expectBody(
      coverJob("4", options + kOnlyInside, pages(2)),
      pages(2, 2,
            "1 dict dup /Duplex false put setpagedevice\n" + request("%%Page: 2 2\n", parameters)));
}

TEST(CoverSource, EveryTrayHasItsPosition) {
  // clang-format off
  const char* const rows[][2] = {
      {"Tray1",              "/ManualFeed false /MediaPosition 0 /MediaType (Plain)"},
      {"Tray2",              "/ManualFeed false /MediaPosition 1 /MediaType (Plain)"},
      {"EnvDrawr2",          "/ManualFeed false /MediaPosition 1 /MediaType (Plain)"},
      {"Tray3",              "/ManualFeed false /MediaPosition 3 /MediaType (Plain)"},
      {"EnvDrawr3",          "/ManualFeed false /MediaPosition 3 /MediaType (Plain)"},
      {"Tray4",              "/ManualFeed false /MediaPosition 5 /MediaType (Plain)"},
      {"EnvDrawr4",          "/ManualFeed false /MediaPosition 5 /MediaType (Plain)"},
      {"Tray5",              "/ManualFeed false /MediaPosition 6 /MediaType (Plain)"},
      {"MultipurposeFeeder", "/ManualFeed false /MediaPosition 4 /MediaType (Plain)"},
      {"ManualPaper",        "/ManualFeed true /MediaType (Plain)"},
      {"PrinterS",           "/MediaType (Plain)"},
  };
  // clang-format on
  for (const auto& [source, parameters] : rows) {
    expectParameters(std::string("QVBookletCoverType=Plain QVBookletCoverSource=") + source,
                     parameters);
  }
}

TEST(CoverSource, UnknownOrAbsentTrayIsThePrintersChoice) {
  expectParameters("QVBookletCoverType=Plain", "/MediaType (Plain)");
  for (const char* source :
       {"tray1", "TRAY1", "Tray", "Tray6", "Tray10", "Tray0", "Tray<20>1", "0", "7", "", "Printers",
        "ManualEnv", "EnvFeeder", "EnvDrawr1", "EnvDrawr5", "Tray1<20>", "manualpaper", "false"}) {
    expectParameters(std::string("QVBookletCoverType=Plain QVBookletCoverSource=") + source,
                     "/MediaType (Plain)");
  }
}

TEST(CoverMedia, EveryTypeHasItsName) {
  // clang-format off
  const char* const rows[][2] = {
      {"Plain",       "/MediaType (Plain)"},
      {"Card",        "/MediaType (Card Stock)"},
      {"Bond",        "/MediaType (Bond)"},
      {"Letterhead",  "/MediaType (Letterhead)"},
      {"Preprint",    "/MediaType (Preprinted)"},
      {"Colored",     "/MediaType (Colored Paper)"},
      {"Light",       "/MediaType (Light)"},
      {"Glossy",      "/MediaType (Glossy Paper)"},
      {"Heavy",       "/MediaType (Heavy)"},
      {"HeavyGlossy", "/MediaType (Heavy Glossy)"},
      {"Labels",      "/MediaType (Labels)"},
      {"Vinyl",       "/MediaType (Vinyl Labels)"},
      {"Rough",       "/MediaType (Rough)"},
      {"Recycled",    "/MediaType (Recycled)"},
      {"Custom1",     "/MediaType (Custom Type 1)"},
      {"Custom2",     "/MediaType (Custom Type 2)"},
      {"Custom3",     "/MediaType (Custom Type 3)"},
      {"Custom4",     "/MediaType (Custom Type 4)"},
      {"Custom5",     "/MediaType (Custom Type 5)"},
      {"Custom6",     "/MediaType (Custom Type 6)"},
  };
  // clang-format on
  for (const auto& [type, parameters] : rows) {
    expectParameters(std::string("QVBookletCoverType=") + type, parameters);
  }
}

TEST(CoverMedia, UnknownOrAbsentTypeAsksForTheTrayAlone) {
  constexpr std::string_view kTray3 = "/ManualFeed false /MediaPosition 3 ";
  expectParameters("QVBookletCoverSource=Tray3", kTray3);
  for (const char* type : {"Printers", "PrinterS", "printers", "plain", "PLAIN", "Card<20>Stock",
                           "CardStock", "Preprinted", "", "Custom", "Custom0", "Custom7",
                           "Transparency", "Plain<20>", "VinylPaper", "false"}) {
    expectParameters(std::string("QVBookletCoverSource=Tray3 QVBookletCoverType=") + type, kTray3);
  }
}

// ---- the kinds of cover

struct Cover {
  const char* options;
  const char* line;  // what becomes of the page's line
};

TEST(Cover, OnlyInsideSwitchesDuplexOffAtTheMiddlePage) {
  const Cover rows[] = {
      {"QVBookletCoverSource=Tray2 QVBookletCoverType=Card",
       "1 dict dup /Duplex false put setpagedevice\n%%Page: 8 8\n[{\n"
       "<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 1 "
       "/MediaType (Card Stock) >> setpagedevice\n} stopped cleartomark\n"},
      {"QVBookletCoverSource=ManualPaper QVBookletCoverType=Card",
       "1 dict dup /Duplex false put setpagedevice\n%%Page: 8 8\n[{\n"
       "<< /DeferredMediaSelection true /ManualFeed true "
       "/MediaType (Card Stock) >> setpagedevice\n} stopped cleartomark\n"},
      {"QVBookletCoverSource=PrinterS QVBookletCoverType=Card",
       "1 dict dup /Duplex false put setpagedevice\n%%Page: 8 8\n[{\n"
       "<< /DeferredMediaSelection true /MediaType (Card Stock) >> setpagedevice\n"
       "} stopped cleartomark\n"},
      {"QVBookletCoverSource=Tray2 QVBookletCoverType=Printers",
       "1 dict dup /Duplex false put setpagedevice\n%%Page: 8 8\n[{\n"
       "<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 1  >> setpagedevice\n"
       "} stopped cleartomark\n"},
      {"QVBookletCoverSource=ManualPaper",
       "1 dict dup /Duplex false put setpagedevice\n%%Page: 8 8\n[{\n"
       "<< /DeferredMediaSelection true /ManualFeed true  >> setpagedevice\n"
       "} stopped cleartomark\n"},
      {"QVBookletCoverSource=PrinterS QVBookletCoverType=Printers",
       "1 dict dup /Duplex false put setpagedevice\n%%Page: 8 8\n\n"},
      {"", "1 dict dup /Duplex false put setpagedevice\n%%Page: 8 8\n\n"},
  };
  for (const Cover& row : rows) {
    SCOPED_TRACE(row.options);
    expectBody(coverJob("16", row.options + std::string(kOnlyInside), pages(10)),
               pages(10, 8, row.line));
  }
}

TEST(Cover, WithOutsidePrintIsAskedForOnePageEarlier) {
  const Cover rows[] = {
      {"QVBookletCoverSource=Tray2 QVBookletCoverType=Card",
       "%%Page: 7 7\n[{\n<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 1 "
       "/MediaType (Card Stock) >> setpagedevice\n} stopped cleartomark\n"},
      {"QVBookletCoverSource=ManualPaper QVBookletCoverType=Card",
       "%%Page: 7 7\n[{\n<< /DeferredMediaSelection true /ManualFeed true "
       "/MediaType (Card Stock) >> setpagedevice\n} stopped cleartomark\n"},
      {"QVBookletCoverSource=PrinterS QVBookletCoverType=Card",
       "%%Page: 7 7\n[{\n<< /DeferredMediaSelection true /MediaType (Card Stock) >> "
       "setpagedevice\n} stopped cleartomark\n"},
      {"QVBookletCoverSource=Tray2 QVBookletCoverType=Printers",
       "%%Page: 7 7\n[{\n<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 1  >> "
       "setpagedevice\n} stopped cleartomark\n"},
      {"QVBookletCoverSource=ManualPaper",
       "%%Page: 7 7\n[{\n<< /DeferredMediaSelection true /ManualFeed true  >> setpagedevice\n"
       "} stopped cleartomark\n"},
      {"QVBookletCoverSource=PrinterS QVBookletCoverType=Printers", "%%Page: 7 7\n"},
      {"", "%%Page: 7 7\n"},
  };
  for (const Cover& row : rows) {
    SCOPED_TRACE(row.options);
    expectBody(coverJob("16", row.options, pages(10)), pages(10, 7, row.line));
    expectBody(coverJob("16", row.options + std::string(kOutside), pages(10)),
               pages(10, 7, row.line));
  }
}

TEST(Cover, IsAskedForInEveryKindOfBooklet) {
  for (const char* fold : {"Booklet", "SaddleStitch", "DoNotFoldAndStaple", "TriFold", "False"}) {
    SCOPED_TRACE(fold);
    const Job job = coverJob("4", std::string("QVBookletCoverSource=Tray5 QVBookletFold=") + fold,
                             "%%Page: 1 1\n");
    expectOutEverywhere(job, plainHeader() +
                                 request("%%Page: 1 1\n", "/ManualFeed false /MediaPosition 6 ") +
                                 trailer());
  }
}

TEST(Cover, IsNotAskedForOutsideBooklets) {
  for (const char* fold : {"false", "PrinterS"}) {
    for (const std::string_view cover : {kOnlyInside, kOutside}) {
      SCOPED_TRACE(std::string(fold) + cover);
      const Job job = coverJob(
          "4", std::string("QVBookletCoverSource=Tray5 QVBookletFold=") + fold + cover, pages(3));
      expectBody(job, pages(3));
    }
  }
}

TEST(Cover, IsNotAskedForInManualBooklets) {
  Job job =
      coverJob("2", std::string("QVBookletCoverSource=Tray1 QVBookletCoverType=Card") + kOnlyInside,
               "%!PS-Adobe-3.0\n%%Page: 1 1\na\nb\nc\nd\n%%Page: 2 2\ne\n%%Trailer\n");
  job.ppd("*QvnManualBooklet: True\n").version("0x1050");
  job.env("JOBSHAPER_INSTRUCTIONS", job.tmpFile("none"));
  const std::string blank = "%%Page: 1 1\na\nb\nc\ncg_md begin\nbp\nsdmtx\nep\nend\n";
  expectRun(
      job,
      plainHeader() +
          "%!PS-Adobe-3.0\n"
          "statusdict dup /setmanualduplexmode known "
          "{begin 1 setmanualduplexmode end}{pop}ifelse\n"
          "%%Page: 0 0\n"
          "%%Page: 1 1\na\nb\nc\nd\n"
          "statusdict dup /setmanualduplexmode known "
          "{begin 2 setmanualduplexmode end}{pop}ifelse\n" +
          blank + blank + "%%Page: 2 2\ne\n" + trailer(),
      tmpLines(job) + "tmp at " + job.tmp() + " \ninstructionAsData is less than or equal to 0\n");
}

// ---- the page line

// The cover sheet from tray 1 at page 2 (only inside) of jobs that are worded in full.
Job loopJob(std::string input, std::string_view more = {}) {
  return coverJob("4", "QVBookletCoverSource=Tray1" + std::string(kOnlyInside) + more,
                  std::move(input));
}

constexpr std::string_view kRequest =
    "[{\n<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 0  >> setpagedevice\n"
    "} stopped cleartomark\n";

TEST(CoverPageLine, KeepsItsTerminator) {
  expectBody(
      loopJob("%%Page: 1 1\r%%Page: 2 2\rx\r"),
      "%%Page: 1 1\r1 dict dup /Duplex false put setpagedevice\n%%Page: 2 2\r" + kRequest + "x\r");
  expectBody(loopJob("%%Page: 1 1\r\n%%Page: 2 2\r\nx\r\n"),
             "%%Page: 1 1\r\n1 dict dup /Duplex false put setpagedevice\n%%Page: 2 2\r" + kRequest +
                 "\nx\r\n");
  expectBody(loopJob("%%Page: 1 1\n%%Page: 2 2"),
             "%%Page: 1 1\n1 dict dup /Duplex false put setpagedevice\n%%Page: 2 2" + kRequest);
}

TEST(CoverPageLine, KeepsItsTerminatorWithoutTrayAndMedia) {
  const std::string_view options = kOnlyInside.substr(1);
  expectBody(coverJob("2", options, "%%Page: 1 1\rx"),
             "1 dict dup /Duplex false put setpagedevice\n%%Page: 1 1\r\nx");
  expectBody(coverJob("2", options, "%%Page: 1 1\r\nx"),
             "1 dict dup /Duplex false put setpagedevice\n%%Page: 1 1\r\n\nx");
  expectBody(coverJob("2", options, "%%Page: 1 1"),
             "1 dict dup /Duplex false put setpagedevice\n%%Page: 1 1\n");
}

TEST(CoverPageLine, WithOutsidePrintKeepsItsTerminator) {
  const std::string_view options = "QVBookletCoverSource=Tray1";
  expectBody(coverJob("4", options, "%%Page: 1 1\rx"), "%%Page: 1 1\r" + kRequest + "x");
  expectBody(coverJob("4", options, "%%Page: 1 1\r\nx"), "%%Page: 1 1\r" + kRequest + "\nx");
  expectBody(coverJob("4", options, "%%Page: 1 1"), "%%Page: 1 1" + kRequest);
}

TEST(CoverPageLine, IsCountedByItsFirstCharactersAlone) {
  expectBody(loopJob("%%Page:\n"
                     " %%Page: no\n%%page: no\n%%Pages: no\n%Page: no\n%%PageTrailer\n%%%Page: no\n"
                     "%%Page:9 9 \x8a %@ %d %s %n\n%%Page: 3\n"),
             "%%Page:\n"
             " %%Page: no\n%%page: no\n%%Pages: no\n%Page: no\n%%PageTrailer\n%%%Page: no\n"
             "1 dict dup /Duplex false put setpagedevice\n"
             "%%Page:9 9 \x8a %@ %d %s %n\n" +
                 kRequest + "%%Page: 3\n");
}

TEST(CoverPageLine, IsCountedAtTheCutOfAnOverlongLine) {
  const std::string piece(1024, 'x');
  expectBody(loopJob("%%Page: 1\n" + piece + "%%Page: cut\n%%Page: 3\n"),
             "%%Page: 1\n" + piece + "1 dict dup /Duplex false put setpagedevice\n%%Page: cut\n" +
                 kRequest + "%%Page: 3\n");
}

TEST(CoverPageLine, WithAZeroByteIsNotCounted) {
  const std::string kept = bytes("%%Page: \0\n%%Page: 1 1\n%%Page: 2\0\n");
  expectBody(loopJob(kept + "%%Page: 2 2\n"),
             kept + "1 dict dup /Duplex false put setpagedevice\n%%Page: 2 2\n" + kRequest);
}

TEST(CoverPageLine, InTheFoldFeatureIsNotCounted) {
  expectBody(loopJob("%%Page: 1 1\n*QVBookletFold\n%%Page: gone\n%%Page: gone\n"
                     "statusdict /duplexer get exec\n%%Page: 2 2\n"),
             "%%Page: 1 1\n*QVBookletFold\n\n<< /Fold 1 >> setpagedevice\n"
             "statusdict /duplexer get exec\n"
             "1 dict dup /Duplex false put setpagedevice\n%%Page: 2 2\n" +
                 kRequest);
}

TEST(CoverPageLine, ThatEndsTheFoldFeatureIsCounted) {
  expectBody(loopJob("%%Page: 1 1\r*QVBookletFold\rx\r"
                     "%%Page: 2 statusdict /duplexer get exec\ry\r%%Page: 3 3\r"),
             "%%Page: 1 1\r*QVBookletFold\r\n<< /Fold 1 >> setpagedevice\n"
             "1 dict dup /Duplex false put setpagedevice\n"
             "%%Page: 2 statusdict /duplexer get exec\r" +
                 kRequest + "y\r%%Page: 3 3\r");
}

TEST(CoverPageLine, ThatNamesTheFoldHasTheFoldCommandBehindTheRequest) {
  expectBody(loopJob("%%Page: 1 1\n%%Page: QVBookletFold\nx\nstatusdict /duplexer get exec\ny\n"),
             "%%Page: 1 1\n1 dict dup /Duplex false put setpagedevice\n%%Page: QVBookletFold\n" +
                 kRequest + "\n<< /Fold 1 >> setpagedevice\nstatusdict /duplexer get exec\ny\n");
}

TEST(CoverPageLine, InTheJobPatchFeatureIsNotCounted) {
  expectBody(loopJob("%%Page: 1 JobPatchFile\n%%Page: 2\n%%Page: 3\n%%Page: 4\n"
                     "%%Page: 5 JobPatchFile\n%%Page: 6\n"),
             "%%Page: 4\n1 dict dup /Duplex false put setpagedevice\n"
             "%%Page: 5 JobPatchFile\n" +
                 kRequest + "%%Page: 6\n");
}

TEST(CoverPageLine, MayBeTheRepeatedPageSize) {
  expectBody(loopJob("*PageSize A4\n%%EndFeature\n"
                     "*InputSlot 1\n%%Page: cleartomark\n*InputSlot 2\ncleartomark\nx\n"),
             "*PageSize A4\n%%EndFeature\n*InputSlot 1\n"
             "%%Page: cleartomark\n[{\n*PageSize A4\n%%EndFeature\n} stopped cleartomark\n"
             "*InputSlot 2\n"
             "1 dict dup /Duplex false put setpagedevice\n"
             "%%Page: cleartomark\n[{\n*PageSize A4\n%%EndFeature\n} stopped cleartomark\n" +
                 kRequest + "x\n");
}

TEST(CoverPageLine, RequestOfAnSfclJobHasThePlainMarkers) {
  expectBody(loopJob("sfcl{\n}efcl\n%%Page: 1 1\n%%Page: 2 2\n"),
             "sfcl{\n}efcl\n%%Page: 1 1\n"
             "1 dict dup /Duplex false put setpagedevice\n%%Page: 2 2\n" +
                 kRequest);
}

TEST(CoverPageLine, RequestStandsWithoutThePjlWrappingAndForAppleTalk) {
  const std::string body =
      "%%Page: \x8e 1\n1 dict dup /Duplex false put setpagedevice\n%%Page: \x8e 2\n" + kRequest;
  Job job = loopJob("@PJL X\n%%Page: \x8e 1\n%%Page: \x8e 2\n");
  job.version("0x102f").env("DEVICE_URI", "usb://printer");
  expectRun(job, body, tmpLines(job));
  job.version("0x1050").env("DEVICE_URI", "pap://printer");
  expectRun(job, plainHeader() + body + trailer(),
            tmpLines(job) + "[tarvel] this is an Appletalk connection\n");
}

TEST(CoverPageLine, RequestIsCapturedWithTheOutgoingData) {
  const std::string input =
      "%!PS\r*QVBookletFold\r%%Page: gone\rstatusdict /duplexer get exec\r"
      "%%Page: 1 1\r%%Page: 2 2\rshowpage\r";
  Job job = loopJob(input);
  job.capture();
  const std::string out = plainHeader() +
                          "%!PS\r*QVBookletFold\r\n<< /Fold 1 >> setpagedevice\n"
                          "statusdict /duplexer get exec\r"
                          "%%Page: 1 1\r1 dict dup /Duplex false put setpagedevice\n"
                          "%%Page: 2 2\r" +
                          kRequest + "showpage\r" + trailer();
  for (const char* version : {"0x1049", "0x1050"}) {
    SCOPED_TRACE(version);
    expectRun(job.version(version), out, tmpLines(job) + kCaptureOn);
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), input);
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
  }
}

TEST(Cover, IsAskedForInARetainedJobOfSeveralCopies) {
  Job job = loopJob("%%Page: 1 1\n%RBINumCopies: 3\n%%Page: 2 2\n",
                    " PrintTo=JRRepeat com.apple.print.PrintSettings.PMCopies..n.=3");
  std::string header = plainHeader();
  header.insert(header.find("@PJL ENTER LANGUAGE"),
                "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PUBLIC\n"
                "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  expectRun(job,
            header +
                "%%Page: 1 1\n%!\n%Set collate copies = copy:\n"
                "<< /CollatedCopies 3 >> setuserparams\n%EndUserSetup\n%RBINumCopies: 3\n"
                "1 dict dup /Duplex false put setpagedevice\n%%Page: 2 2\n" +
                kRequest + trailer(),
            tmpLines(job));
}

TEST(Cover, IsAskedForBehindTheCopiesOfTheHeader) {
  Job job = loopJob("%%Page: 1 1\n%%Page: 2 2\n", " com.apple.print.PrintSettings.PMCopies..n.=3");
  expectBody(job,
             "@PJL SET COPIES = 3\n"
             "%%Page: 1 1\n1 dict dup /Duplex false put setpagedevice\n%%Page: 2 2\n" +
                 kRequest);
}

// ---- what the debug file holds

std::string record(std::string_view function, std::string_view message) {
  return std::string("AI######\t[time]\t") + function + "\tL#\t" + message + "\n";
}

// The records behind the job summary, for every system.
void expectRecords(const Job& job, std::string_view expected) {
  const std::string lastOfSummary = record("main", "@PJL ENTER LANGUAGE = POSTSCRIPT\n");
  for (const char* version : {"", "0x1049", "0x1050"}) {
    SCOPED_TRACE(version);
    Job logged = job;
    logged.log(1);
    if (*version) logged.version(version);
    fs::remove(logged.tmpFile("debug.log"));
    EXPECT_EQ(logged.run().exitStatus, 0);
    const std::string log = maskLog(readFile(logged.tmpFile("debug.log")));
    const std::size_t found = log.find(lastOfSummary);
    ASSERT_NE(found, std::string::npos) << log;
    EXPECT_EQ(log.substr(found + lastOfSummary.size()), expected);
  }
}

std::string bracketed(std::string_view function) {
  return record(function, "{") + record(function, "}");
}

std::string setUpRecords() {
  return bracketed("isOnlyPrintInside") + record("main", "Job is Booklet") +
         record("main", "value of verPrint (null)") +
         record("main", "Initialized begin and end markers.");
}

TEST(CoverTrace, EveryPageHasItsTrayQuery) {
  expectRecords(
      coverJob("4", "QVBookletCoverSource=Tray1", "x\n%%Page: 1 1\n%%Page: 2 2\n%%Page: 3"),
      setUpRecords() + bracketed("setBookletSource") + bracketed("setBookletSource") +
          bracketed("setBookletSource") + record("main", "}"));
}

TEST(CoverTrace, TrayQueryIsMadeWhateverTheTrayAndThePageCount) {
  for (const char* source : {"PrinterS", "nonsense", ""}) {
    SCOPED_TRACE(source);
    expectRecords(coverJob("no", std::string("QVBookletCoverSource=") + source, "%%Page: 1 1\n"),
                  setUpRecords() + bracketed("setBookletSource") + record("main", "}"));
  }
}

TEST(CoverTrace, NoTrayQueryWithoutATrayOption) {
  expectRecords(coverJob("4", "QVBookletCoverType=Card", "%%Page: 1 1\n%%Page: 2 2\n"),
                setUpRecords() + record("main", "}"));
}

TEST(CoverTrace, NoTrayQueryAtPagesThatAreNotCounted) {
  expectRecords(coverJob("4", "QVBookletCoverSource=Tray1",
                         bytes("%%Page: \0\n*QVBookletFold\n%%Page: gone\n"
                               "statusdict /duplexer get exec\n%%Page: 1 1\n")),
                setUpRecords() + bracketed("setBookletSource") + record("main", "}"));
}

TEST(CoverTrace, NoTrayQueryOutsideBooklets) {
  expectRecords(coverJob("4", "QVBookletCoverSource=Tray1 QVBookletFold=PrinterS", "%%Page: 1 1\n"),
                bracketed("isOnlyPrintInside") +
                    record("main", "Initialized begin and end markers.") + record("main", "}"));
}

TEST(CoverTrace, NoTrayQueryInManualBooklets) {
  Job job = coverJob("4", "QVBookletCoverSource=Tray1", "%%Page: 1 1\n%%Page: 2 2\n%%Page: 3 3\n");
  job.ppd("*QvnManualBooklet: True\n").log(1);
  EXPECT_EQ(job.run().exitStatus, 0);
  EXPECT_EQ(readFile(job.tmpFile("debug.log")).find("setBookletSource"), std::string::npos);
}

TEST(CoverTrace, CoverQueryIsRecordedOnceWhateverItsAnswer) {
  for (const std::string_view cover :
       {std::string_view(" QVBookletCoverPage=false"), std::string_view(" QVBookletCoverPage=true"),
        kOnlyInside, kOutside}) {
    SCOPED_TRACE(cover);
    expectRecords(coverJob("4", cover, "%%Page: 1 1\n%%Page: 2 2\n"),
                  setUpRecords() + record("main", "}"));
  }
}

}  // namespace
}  // namespace jobshaper::testing
