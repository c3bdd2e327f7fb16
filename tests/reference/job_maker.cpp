#include "tests/reference/job_maker.h"

#include <array>
#include <cstdio>

namespace jobshaper::reference {
namespace {

constexpr std::string_view kTexts[] = {
    "sfcl{",
    "}efcl",
    "cleartomark",
    "} stopped cleartomark",
    "[{",
    "statusdict /duplexer get exec",
    "/Collate",
    "JobPatchFile",
    "PageRegion",
    "CustomPageSize",
    "*PageSize",
    "EndFeature",
    "InputSlot",
    "%%EndSetup",
    "%%Page:",
    "%RBINumCopies: ",
    "%%BeginProlog",
    "QVBookletFold",
    "\x1b%-12345X",
    "@PJL ",
    "%%Trailer",
    "%%EOF",
    "cg_md begin",
    "userdict /ESPsave get restore",
};
constexpr std::size_t kTextCount = std::size(kTexts);

// What surrounds the triggers: nothing that matches a rule.
constexpr std::string_view kFillers[] = {
    "",
    " ",
    "%",
    "%%",
    "x",
    "/Times-Roman findfont",
    "1 0 ",
    "\t",
    "@PJL",
    "showpage",
    "<</a 1>>",
    "setpagedevice",
    "\x1b",
    "{",
    "[",
    "*",
    "\x80\xdb\xf0\xff",
    "gsave 0 0 moveto",
    "%%",
    "Q",
    "%%Pages: 3",
    "@",
    "save\xe9",
    "} stopped",
};

constexpr std::string_view kEndings[] = {"\n", "\r", "\r\n", "\n\r", ""};

enum Fragment : std::size_t {
  kTextLine,
  kNearTextLine,
  kTwoTexts,
  kPlainLine,
  kTextAtCut,
  kLongRun,
  kBinary,
  kPageSizeFeature,
  kInputSlotFeature,
  kJobPatchFeature,
  kFoldFeature,
  kPage,
  kProlog,
  kRetainedCopies,
  kJobPjl,
  kRepeated,
  kFragments
};

class Writer {
 public:
  explicit Writer(RandomGenerator& generator) : random_(generator) {}

  // Each job has only some kinds of fragments and texts, so that different rules meet in each.
  std::string job(bool booklet) {
    ending_ = random_.below(std::size(kEndings) + 2);
    for (std::size_t& weight : weights_) weight = random_.below(3) * random_.between(1, 4);
    if (booklet) {
      weights_[kPage] += random_.below(30);
      weights_[kFoldFeature] += random_.below(4);
    }
    if (!random_.oneIn(16)) weights_[kRepeated] = 0;
    if (!random_.oneIn(8)) weights_[kLongRun] = 0;
    texts_.clear();
    const std::size_t kinds = random_.between(1, kTextCount);
    for (std::size_t i = 0; i < kinds; ++i) texts_.push_back(random_.from(kTexts));
    zeros_ = random_.oneIn(6);

    if (random_.oneIn(50)) largeBlock();
    const std::size_t fragments = random_.oneIn(5) ? random_.below(120) : random_.below(25);
    for (std::size_t i = 0; i < fragments; ++i) fragment(pick(), 0);
    if (random_.oneIn(300)) farApart();
    if (random_.oneIn(4)) damage();
    // The last line, unterminated.
    if (random_.oneIn(5))
      add(random_.oneIn(4) ? nearly(std::string(text())) : random_.from(kTexts));
    return std::move(job_);
  }

 private:
  std::size_t pick() {
    std::size_t sum = 0;
    for (const std::size_t weight : weights_) sum += weight;
    if (sum == 0) return kTextLine;
    std::size_t rest = random_.below(sum);
    for (std::size_t kind = 0; kind < kFragments; ++kind) {
      if (rest < weights_[kind]) return kind;
      rest -= weights_[kind];
    }
    return kTextLine;
  }

  void fragment(std::size_t kind, int depth) {
    switch (kind) {
      case kTextLine:
        if (!random_.oneIn(2)) filler();
        add(text());
        if (!random_.oneIn(3)) filler();
        end();
        break;
      case kNearTextLine:
        if (random_.oneIn(3)) filler();
        add(nearly(std::string(text())));
        filler();
        end();
        break;
      case kTwoTexts:
        for (std::size_t i = random_.between(2, 4); i > 0; --i) {
          if (random_.oneIn(3)) filler();
          add(random_.oneIn(4) ? random_.from(kTexts) : text());
        }
        end();
        break;
      case kPlainLine:
        for (std::size_t i = random_.below(5); i > 0; --i) filler();
        end();
        break;
      case kTextAtCut:
        textAtCut();
        break;
      case kLongRun:
        longRun();
        break;
      case kBinary:
        for (std::size_t i = random_.below(random_.oneIn(4) ? 3000 : 60); i > 0; --i) {
          add(static_cast<char>(random_.below(256)));
        }
        end();
        break;
      case kPageSizeFeature:
        pageSizeFeature();
        break;
      case kInputSlotFeature:
        inputSlotFeature();
        break;
      case kJobPatchFeature:
        feature("JobPatchFile", "1", {});
        break;
      case kFoldFeature:
        feature("QVBookletFold", "SaddleStitch",
                random_.oneIn(6) ? "statusdict /duplexer get" : "statusdict /duplexer get exec");
        break;
      case kPage:
        page();
        break;
      case kProlog:
        line("%%BeginProlog");
        if (random_.oneIn(2)) line("/cg_md 10 dict def");
        line("%%EndProlog");
        line(random_.oneIn(2) ? "%%BeginSetup" : "%%EndSetup");
        break;
      case kRetainedCopies:
        line("%RBINumCopies: " + std::to_string(random_.below(12)));
        break;
      case kJobPjl:
        line(random_.oneIn(2) ? "\x1b%-12345X@PJL JOB" : "@PJL SET COPIES = 2");
        break;
      case kRepeated:
        if (depth == 0) {
          const std::size_t begin = job_.size();
          fragment(pick(), 1);
          const std::string once = job_.substr(begin);
          const std::size_t most = once.size() > 300 ? 60 : 700;
          for (std::size_t i = random_.below(most); i > 0; --i) add(once);
        }
        break;
    }
  }

  void add(std::string_view bytes) {
    job_.append(bytes);
    if (zeros_ && random_.oneIn(25)) job_ += '\0';
  }
  void add(char c) { job_ += c; }

  void filler() { add(random_.from(kFillers)); }
  std::string_view text() { return random_.from(texts_); }

  // Usually the line end of the job, sometimes any other.
  void end() {
    const std::size_t kind =
        ending_ < std::size(kEndings) && !random_.oneIn(20) ? ending_ : random_.below(17);
    add(kind < std::size(kEndings) ? kEndings[kind] : "\n");
  }

  void line(std::string_view content) {
    add(content);
    end();
  }

  // Makes one small change to a text, sometimes two, so that it nearly matches.
  std::string nearly(std::string text) {
    for (std::size_t steps = random_.oneIn(5) ? 2 : 1; steps > 0 && !text.empty(); --steps) {
      const std::size_t at = random_.below(text.size());
      switch (random_.below(11)) {
        case 0:
          text.pop_back();
          break;
        case 1:
          text.erase(0, 1);
          break;
        case 2:
          text[at] = static_cast<char>(text[at] ^ 0x20);
          break;
        case 3:
          text[at] = static_cast<char>(text[at] + 1);
          break;
        case 4:
          text.insert(at, 1, ' ');
          break;
        case 5:
          text.insert(at, 1, '\0');
          break;
        case 6:
          text.insert(at, random_.from(kEndings));
          break;
        case 7:
          text.insert(0, 1, text[0]);
          break;
        case 8:
          text[at] = static_cast<char>(text[at] | 0x80);
          break;
        case 9:
          text.resize(at);
          break;
        case 10:
          text.insert(0, 1, ' ');
          break;
      }
    }
    return text;
  }

  void run(std::size_t length) {
    const char c = "x \x80%@"[random_.below(5)];
    job_.append(length, c);
  }

  // Text at, before, after and across the position at which an overlong line is split.
  void textAtCut() {
    std::string_view first = text();
    const std::size_t cut = 1024 * (random_.oneIn(4) ? random_.between(1, 4) : 1);
    // How many bytes precede the text: it ends a little before the split, or begins a little after.
    std::size_t length = cut - first.size() - 3 + random_.below(first.size() + 7);
    if (random_.oneIn(4)) {
      add(text());
      length -= std::min(length, first.size());
    }
    run(length);
    add(first);
    if (random_.oneIn(2)) filler();
    if (random_.oneIn(4)) add(text());
    end();
  }

  void longRun() {
    switch (random_.below(4)) {
      case 0:
        run(random_.between(1019, 1028));
        break;
      case 1:
        run(random_.between(2040, 2056));
        break;
      case 2:
        run(random_.below(5000));
        break;
      case 3:
        for (std::size_t i = random_.below(200); i > 0; --i) {
          run(random_.below(80));
          end();
        }
        break;
    }
    end();
  }

  // Much unmatched text between two triggers, so that these are at the ends of large reads.
  void farApart() {
    static constexpr std::size_t kSizes[] = {16384, 65536, 131072, 262144, 1048576};
    const std::size_t size = random_.from(kSizes);
    const std::size_t target = size - std::min(size, job_.size() % size);
    const std::size_t width = random_.oneIn(3) ? 5000 : random_.between(1, 300);
    const std::size_t goal = job_.size() + target + random_.below(41) - 20;
    while (job_.size() + width + 2 < goal) {
      run(width);
      job_ += '\n';
    }
    if (job_.size() < goal) run(goal - job_.size());
    if (random_.oneIn(2)) job_ += '\n';
    for (std::size_t i = random_.below(4); i > 0; --i) fragment(pick(), 1);
  }

  // Puts a byte, a line or a part of the job in the wrong place.
  void damage() {
    for (std::size_t i = random_.between(1, 4); i > 0 && !job_.empty(); --i) {
      const std::size_t at = random_.below(job_.size());
      switch (random_.below(6)) {
        case 0:
          job_.insert(at, 1, '\0');
          break;
        case 1:
          job_.erase(at, 1);
          break;
        case 2:
          job_.resize(at);
          break;
        case 3:
          job_[at] = static_cast<char>(random_.below(256));
          break;
        case 4:
          job_.insert(at, job_.substr(random_.below(job_.size()), random_.below(200)));
          break;
        case 5:
          job_.insert(at, random_.from(kEndings));
          break;
      }
    }
  }

  void opening() {
    if (random_.oneIn(8)) return;
    line(random_.oneIn(3) ? "sfcl{" : "[{");
  }

  void closing() {
    // The closing line stays before the repeated block, which then begins like it.
    static constexpr std::string_view kStarts[] = {
        "%%BeginProlog", "%%Page: ", "%RBINumCopies: ", "@PJL ", "\x1b%-12345X"};
    if (random_.oneIn(10)) add(random_.from(kStarts));
    switch (random_.below(8)) {
      case 0:
        break;
      case 1:
        line("cleartomark");
        break;
      case 2:
      case 3:
        line("}efcl");
        break;
      default:
        line("} stopped cleartomark");
    }
  }

  void feature(std::string_view name, std::string_view choice, std::string_view code) {
    opening();
    add("%%BeginFeature: *");
    add(name);
    add(" ");
    line(choice);
    for (std::size_t i = random_.below(3); i > 0; --i) {
      line("<< /Setting 1 >> setpagedevice");
    }
    if (random_.oneIn(6)) fragment(kTextLine, 1);
    if (!code.empty()) line(code);
    if (!random_.oneIn(10)) line("%%EndFeature");
    closing();
  }

  void pageSizeFeature() {
    static constexpr std::string_view kNames[] = {"PageSize", "PageRegion", "CustomPageSize"};
    feature(random_.from(kNames), "Letter",
            random_.oneIn(2) ? "" : "<< /PageSize [612 792] /ImagingBBox null >> setpagedevice");
  }

  void inputSlotFeature() {
    feature("InputSlot", "Tray" + std::to_string(random_.below(6)),
            random_.oneIn(3) ? "" : "<< /MediaPosition 1 >> setpagedevice");
  }

  // A page-size block about as large as the buffers of the output or of the rules, or larger, and
  // paper sources that repeat it.
  void largeBlock() {
    static constexpr std::size_t kSizes[] = {4096, 8192, 16384, 16384, 32768};
    const std::size_t begin = job_.size();
    const bool huge = random_.oneIn(8);
    std::size_t goal = begin + (huge ? 262144 : random_.from(kSizes)) - 20 - random_.below(90);
    if (huge && random_.oneIn(3)) goal += random_.between(60000, 200000);
    line("%%BeginFeature: *PageSize Letter");
    if (random_.oneIn(3)) {
      line("%%QVBookletFold");
      line("statusdict /duplexer get exec");
    }
    const bool cutText = random_.oneIn(2);
    const std::size_t end = goal - (cutText ? 1024 + random_.below(900) : 0);
    while (job_.size() + 100 < end) {
      if (random_.oneIn(huge ? 1500 : 20)) {
        line(text());
      } else {
        run(random_.between(50, 98));
        job_ += '\n';
      }
    }
    if (job_.size() < end) run(end - job_.size());
    job_ += '\n';
    if (cutText) {
      // A text across the position at which an overlong line of the block is split.
      const std::string_view whole = random_.oneIn(2) ? "QVBookletFold" : text();
      run(1024 - random_.below(whole.size() + 1));
      add(whole);
      run(random_.below(900));
      job_ += '\n';
    }
    for (std::size_t i = random_.below(4); i > 0; --i) fragment(kTextLine, 1);
    if (!random_.oneIn(8)) line("%%EndFeature");
    for (std::size_t i = random_.below(6); i > 0; --i) {
      inputSlotFeature();
      fragment(kTextLine, 1);
    }
  }

  void page() {
    ++page_;
    line("%%Page: " + std::to_string(page_) + " " + std::to_string(page_));
    if (random_.oneIn(2)) line("%%PageBoundingBox: 0 0 612 792");
    for (std::size_t i = random_.below(6); i > 0; --i) {
      if (random_.oneIn(10)) add(text());
      filler();
      add(std::to_string(i));
      end();
    }
    if (random_.oneIn(2)) line("showpage");
  }

  RandomGenerator& random_;
  std::string job_;
  std::size_t ending_ = 0;
  std::array<std::size_t, kFragments> weights_{};
  std::vector<std::string_view> texts_;
  bool zeros_ = false;
  int page_ = 0;
};

// The values that the filter knows, and some that are nearly the same.
constexpr std::string_view kRetention[] = {
    "JRVerify", "JRRepeat",  "JRConf",         "JRReserve", "JRPrinter", "JRVerify",  "JRRepeat",
    "JRConf",   "JRReserve", "JRPrinter",      "jrverify",  "JRVerif",   "JRVerifyX", "JRHOLDKEY",
    "PrinterS", "",          "JRConfidential", "JRprinter", "JRUser",    "Jrreserve"};
constexpr std::string_view kCopyCounts[] = {"1",  "2",  "3",          "0",  "",       " 2",   "x",
                                            "2x", "-1", "4294967298", "+4", "(null)", "%@ %d"};
constexpr std::string_view kCopyArguments[] = {"1",  "1", "1",  "2",  "",   " 1", "01",
                                               "1x", "x", "+1", "-1", "11", "0",  "4294967297"};
constexpr std::string_view kSwitches[] = {"true",  "true", "true", "True",    "TRUE", "tRuE",
                                          "false", "",     "tru",  "trueish", "1",    "False"};
constexpr std::string_view kCoverSwitches[] = {"true", "true", "false", "False", "FALSE",
                                               "TRUE", "True", "",      "tru",   "Falsee"};
constexpr std::string_view kFolds[] = {"Booklet", "SaddleStitch", "BiFold",   "DoNotFoldAndStaple",
                                       "TriFold", "false",        "PrinterS", "booklet",
                                       "False",   "Printers",     "",         "saddleStitch",
                                       "BiFol",   "true"};
constexpr std::string_view kCoverSources[] = {"Tray1",
                                              "Tray2",
                                              "Tray3",
                                              "Tray4",
                                              "Tray5",
                                              "EnvDrawr2",
                                              "EnvDrawr3",
                                              "EnvDrawr4",
                                              "EnvDrawr1",
                                              "Tray6",
                                              "tray1",
                                              "Tray",
                                              "",
                                              "PrinterS",
                                              "Printers",
                                              "MultipurposeFeeder",
                                              "ManualPaper",
                                              "ManualPape",
                                              "MultipurposeFeede"};
constexpr std::string_view kCoverTypes[] = {
    "Plain",    "Card",     "Bond",        "Letterhead", "Preprint",  "Colored",    "Light",
    "Glossy",   "Heavy",    "HeavyGlossy", "Labels",     "Vinyl",     "Rough",      "Recycled",
    "Custom1",  "Custom2",  "Custom3",     "Custom4",    "Custom5",   "Custom6",    "Custom7",
    "Printers", "PrinterS", "plain",       "",           "CardStock", "Card Stock", "Custom"};
constexpr std::string_view kPageCounts[] = {
    "8",   "4",   "2",  "3", "16\n", " 6",         "7 pages",      "",    "x",    "-4",
    "5\r", "+12", "10", "1", "0",    "4294967299", "-99999999999", "\t9", "\3124"};
constexpr std::int32_t kVersions[] = {0,      0x1000, 0x102f, 0x1030, 0x103e, 0x103f, 0x1040,
                                      0x1049, 0x104f, 0x1050, 0x1051, 0x1060, 0x2000};
constexpr std::string_view kDevices[] = {"socket://printer", "usb://Quorvan/1", "usb:", "usb",
                                         "USB://x",          "pap://zone/x",    "pap:", "pap",
                                         "xusb://",          "ipp://h/pap:",    ""};
constexpr std::string_view kLanguages[] = {
    "en",     "en_US", "en_US.UTF-8", "de_DE",    "fr_FR.UTF-8", "de", "en_GB.UTF-8",
    ".UTF-8", "",      "C",           "de_DE.x.y"};

// The content of the instruction page in each directory; that of de is empty.
const std::map<std::string, std::string>& installedPages() {
  static const std::map<std::string, std::string> pages{
      {"en", "%!PS\n(turn the stack) show\nshowpage\n"},
      {"de", ""},
      {"de_DE", std::string("erste\rSeite\0mit Null", 20)},
      {"fr_FR",
       "@PJL page fran\x8d"
       "aise"},
      {"fr_FR.UTF-8", "%%Page: 9 9\nsous l'ancien syst\xe8me\n"},
      {"en_US.UTF-8", "whole locale name\n"},
      {"", "no language\n"},
  };
  return pages;
}

constexpr char kCopiesName[] = "com.apple.print.PrintSettings.PMCopies..n.";
constexpr char kCollateName[] = "com.apple.print.PrintSettings.PMCopyCollate..b.";

class OptionMaker {
 public:
  OptionMaker(RandomGenerator& generator, JobParameters& job) : random_(generator), job_(job) {}

  void choose() {
    if (!random_.oneIn(20))
      job_.version = random_.from(kVersions);
    else
      job_.version.reset();
    job_.deviceUri = "socket://printer";
    if (random_.oneIn(6)) {
      job_.deviceUri = std::string(random_.from(kDevices));
      if (random_.oneIn(12)) job_.deviceUri.reset();
    }
    job_.capture = random_.oneIn(3);
    if (random_.oneIn(2)) set("PrintTo", kRetention);
    if (random_.oneIn(2)) set(kCopiesName, kCopyCounts);
    if (random_.oneIn(3)) {
      // A poster needs three options together.
      set("QVPosterEnablePS", kSwitches);
      if (!random_.oneIn(8)) set(kCollateName, kSwitches);
      if (random_.oneIn(8)) job_.options.erase("QVPosterEnablePS");
    }
    if (random_.oneIn(2)) {
      booklet();
    }
    if (random_.oneIn(16)) set("QVUnknown", kSwitches);
  }

 private:
  template <typename Values>
  void set(const char* name, const Values& values) {
    job_.options[name] = std::string(random_.from(values));
  }

  void booklet() {
    set("QVBookletFold", kFolds);
    job_.manualPpd = random_.oneIn(3);
    job_.copiesArgument = std::string(random_.from(kCopyArguments));
    if (random_.oneIn(2)) job_.options.erase("PrintTo");
    if (!random_.oneIn(4)) set("QVBookletCoverPage", kSwitches);
    for (const char* name :
         {"QVOutsideFrontCover", "QVOutsideBackCover", "QVInsideBackCover", "QVInsideFrontCover"}) {
      if (random_.oneIn(2)) set(name, kCoverSwitches);
    }
    if (!random_.oneIn(4)) set("QVBookletCoverSource", kCoverSources);
    if (!random_.oneIn(3)) set("QVBookletCoverType", kCoverTypes);
    if (!random_.oneIn(8)) job_.pageCountFile = std::string(random_.from(kPageCounts));
    if (!random_.oneIn(8)) job_.language = std::string(random_.from(kLanguages));
    job_.instructionPages = installedPages();
  }

  RandomGenerator& random_;
  JobParameters& job_;
};

Delivery randomDelivery(RandomGenerator& generator) {
  static constexpr std::size_t kLargestReads[] = {0, 1, 3, 64, 1023, 1024, 1500, 4096, 40000};
  Delivery delivery;
  delivery.pipe = generator.oneIn(2);
  delivery.largestRead = generator.from(kLargestReads);
  delivery.seed = generator.next();
  delivery.byPiece = generator.oneIn(4);
  return delivery;
}

void appendSetting(std::string& text, std::string_view name, std::string_view value) {
  text.append("  ").append(name).append(" = ").append(value).append("\n");
}

std::string hexadecimal(std::int32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(number));
  return text;
}

std::string text(const Delivery& delivery) {
  return std::string(delivery.pipe ? "a pipe" : "a file") + ", reads of at most " +
         std::to_string(delivery.largestRead) + " bytes (0: all), seed " +
         std::to_string(delivery.seed) + (delivery.byPiece ? ", piece by piece" : "");
}

// Takes choices from the bytes of a fuzzer; 0 when there are no more bytes.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : bytes_(bytes.substr(0, kChoiceBytes)) {}
  std::size_t next() { return at_ < bytes_.size() ? static_cast<unsigned char>(bytes_[at_++]) : 0; }
  // No value for the first choice.
  template <typename Rows>
  std::optional<std::string> from(const Rows& rows) {
    const std::size_t choice = next() % (std::size(rows) + 1);
    if (choice == 0) return std::nullopt;
    return std::string(rows[choice - 1]);
  }

 private:
  std::string_view bytes_;
  std::size_t at_ = 0;
};

std::string_view afterChoices(std::string_view bytes) {
  return bytes.size() > kChoiceBytes ? bytes.substr(kChoiceBytes) : std::string_view();
}

}  // namespace

std::uint64_t RandomGenerator::next() {
  state_ += 0x9E3779B97F4A7C15;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
  return z ^ (z >> 31);
}

RandomJob randomJob(std::uint64_t seed) {
  RandomGenerator generator(seed);
  RandomJob random;
  random.seed = seed;
  OptionMaker(generator, random.job).choose();
  random.job.input = Writer(generator).job(random.job.options.count("QVBookletFold") != 0);
  random.delivery = randomDelivery(generator);
  return random;
}

ReorderingJob randomReorderingJob(std::uint64_t seed) {
  RandomGenerator generator(seed);
  ReorderingJob random;
  random.seed = seed;
  static constexpr std::string_view kOrientations[] = {"Up", "Down", "up", ""};
  if (!generator.oneIn(3)) random.orientation = std::string(generator.from(kOrientations));
  random.onlyInside = generator.oneIn(2);
  random.version = generator.from(kVersions);
  random.input = Writer(generator).job(true);
  random.delivery = randomDelivery(generator);
  return random;
}

RandomJob jobFromBytes(std::string_view bytes) {
  Choices choices(bytes);
  RandomJob random;
  JobParameters& job = random.job;
  const auto option = [&job](const char* name, const std::optional<std::string>& value) {
    if (value) job.options[name] = *value;
  };
  const std::size_t flags = choices.next();
  job.capture = (flags & 1) != 0;
  job.manualPpd = (flags & 2) != 0;
  random.delivery.pipe = (flags & 4) != 0;
  random.delivery.byPiece = (flags & 8) != 0;
  random.delivery.seed = flags >> 4;
  const std::size_t version = choices.next() % (std::size(kVersions) + 1);
  job.version.reset();
  if (version > 0) job.version = kVersions[version - 1];
  job.deviceUri = choices.from(kDevices);
  option("PrintTo", choices.from(kRetention));
  option(kCopiesName, choices.from(kCopyCounts));
  option("QVPosterEnablePS", choices.from(kSwitches));
  option(kCollateName, choices.from(kSwitches));
  option("QVBookletFold", choices.from(kFolds));
  option("QVBookletCoverSource", choices.from(kCoverSources));
  option("QVBookletCoverType", choices.from(kCoverTypes));
  job.pageCountFile = choices.from(kPageCounts);
  job.language = choices.from(kLanguages);
  const std::size_t covers = choices.next();
  if (covers & 1) job.options["QVBookletCoverPage"] = "true";
  if (covers & 2) job.options["QVOutsideFrontCover"] = covers & 32 ? "true" : "False";
  if (covers & 4) job.options["QVOutsideBackCover"] = covers & 64 ? "true" : "False";
  if (covers & 8) job.options["QVInsideBackCover"] = "true";
  if (covers & 16) job.options["QVInsideFrontCover"] = covers & 128 ? "true" : "TRUE";
  job.copiesArgument = choices.from(kCopyArguments).value_or("1");
  random.delivery.largestRead = choices.next() * 16;
  job.instructionPages = installedPages();
  job.input = std::string(afterChoices(bytes));
  return random;
}

ReorderingJob reorderingJobFromBytes(std::string_view bytes) {
  Choices choices(bytes);
  ReorderingJob random;
  const std::size_t flags = choices.next();
  if (flags & 1) random.orientation = flags & 2 ? "Up" : "Down";
  random.onlyInside = (flags & 4) != 0;
  random.delivery.pipe = (flags & 8) != 0;
  random.delivery.seed = flags >> 4;
  random.version = kVersions[choices.next() % std::size(kVersions)];
  random.delivery.largestRead = choices.next() * 16;
  random.input = std::string(afterChoices(bytes));
  return random;
}

std::string literal(std::string_view bytes) {
  std::string result = "\"";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    // A long run of one byte is shown as its length.
    std::size_t length = 1;
    while (i + length < bytes.size() && bytes[i + length] == bytes[i]) ++length;
    if (length > 40) {
      result += "\" (" + std::to_string(length) + " x " + literal(bytes.substr(i, 1)) + ") \"";
      i += length - 1;
      continue;
    }
    switch (byte) {
      case '\n':
        result += i + 1 < bytes.size() ? "\\n\"\n\"" : "\\n";
        break;
      case '\r':
        result += "\\r";
        break;
      case '"':
      case '\\':
        result += '\\';
        result += bytes[i];
        break;
      default:
        if (byte >= 0x20 && byte < 0x7f) {
          result += bytes[i];
        } else {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\%03o", byte);
          result += escape;
        }
    }
  }
  return result + "\"";
}

std::string describe(const RandomJob& random) {
  const JobParameters& job = random.job;
  std::string result = "seed " + std::to_string(random.seed) + "\n";
  appendSetting(result, "version", job.version ? hexadecimal(*job.version) : "failed");
  appendSetting(result, "DEVICE_URI", job.deviceUri ? literal(*job.deviceUri) : "unset");
  appendSetting(result, "LANG", job.language ? literal(*job.language) : "unset");
  appendSetting(result, "copies argument", literal(job.copiesArgument));
  appendSetting(result, "*QvnManualBooklet", job.manualPpd ? "in the PPD" : "none");
  appendSetting(result, "capture", job.capture ? "on" : "off");
  for (const auto& [name, value] : job.options) appendSetting(result, name, literal(value));
  if (job.pageCountFile) appendSetting(result, "page-count file", literal(*job.pageCountFile));
  appendSetting(result, "delivery", text(random.delivery));
  return result + "the job, " + std::to_string(job.input.size()) + " bytes:\n" +
         literal(job.input) + "\n";
}

std::string describe(const ReorderingJob& random) {
  std::string result = "seed " + std::to_string(random.seed) + "\n";
  appendSetting(result, "version", hexadecimal(random.version));
  appendSetting(result, "orientation", random.orientation.value_or("none"));
  appendSetting(result, "only inside", random.onlyInside ? "yes" : "no");
  appendSetting(result, "delivery", text(random.delivery));
  return result + "the job, " + std::to_string(random.input.size()) + " bytes:\n" +
         literal(random.input) + "\n";
}

}  // namespace jobshaper::reference
