#include "tests/reference/job_maker.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>
#include <vector>

namespace jobshaper::reference {
namespace {

const std::vector<std::string_view> kTriggers = {
    "sfcl{",        "}efcl",           "cleartomark",   "statusdict /duplexer get exec",
    "/Collate",     "JobPatchFile",    "PageRegion",    "CustomPageSize",
    "*PageSize",    "EndFeature",      "InputSlot",     "%%EndSetup",
    "%%Page:",      "%RBINumCopies: ", "%%BeginProlog", "QVBookletFold",
    "\x1b%-12345X", "@PJL ",           "%%Trailer"};

// What surrounds the triggers: nothing that matches a rule.
const std::vector<std::string_view> kFillers = {
    "",     " ",          "%",        "%%",       "x",
    "1 0 ", "\t",         "@PJL",     "showpage", "<</a 1>>",
    "\x1b", "{",          "[",        "*",        "\x80\xdb\xf0\xff",
    "[{",   "%%Pages: 3", "save\xe9", "} stopped"};

constexpr std::string_view kEndings[] = {"\n", "\r", "\r\n", "\n\r", ""};

// The parts of a job. Each job has only some of them.
constexpr std::string_view kParts[] = {"text",   "near",  "texts", "plain", "cut",    "run",
                                       "binary", "size",  "slot",  "patch", "copies", "pjl",
                                       "prolog", "again", "fold",  "page"};

// How the parts are written: "$name" is one of the texts of that name, chosen by weight, or what
// the function of that name in Writer adds; "~" is a line end.
struct Rule {
  std::string_view name;
  std::size_t weight;
  std::string_view text;
};
constexpr Rule kRules[] = {
    {"text", 1, "$trigger~"},
    {"text", 2, "$trigger$filler~"},
    {"text", 1, "$filler$trigger~"},
    {"text", 2, "$filler$trigger$filler~"},
    {"near", 2, "$nearly$filler~"},
    {"near", 1, "$filler$nearly$filler~"},
    {"texts", 1, "$trigger$others~"},
    {"others", 2, "$trigger"},
    {"others", 1, "$any"},
    {"others", 1, "$filler$trigger"},
    {"others", 4, "$trigger$others"},
    {"plain", 9, "$fillers~"},
    {"plain", 1, "} stopped cleartomark~"},
    {"plain", 1, "userdict /ESPsave get restore~"},
    {"plain", 1, "cg_md begin~%%EOF~"},
    {"fillers", 1, ""},
    {"fillers", 2, "$filler$fillers"},
    {"cut", 3, "$atcut~"},
    {"cut", 3, "$atcut$filler~"},
    {"cut", 2, "$atcut$trigger~"},
    {"cut", 2, "$trigger$atcut$filler~"},
    {"run", 4, "$length~"},
    {"run", 1, "$shortlines~"},
    {"shortlines", 1, ""},
    {"shortlines", 50, "$short~$shortlines"},
    {"binary", 1, "$bytes~"},

    {"size", 1, "$open%%BeginFeature: *$sizename Letter~$settings$end$close"},
    {"sizename", 1, "PageSize"},
    {"sizename", 1, "PageRegion"},
    {"sizename", 1, "CustomPageSize"},
    {"slot", 3, "$open%%BeginFeature: *InputSlot Tray$number~$settings$end$close"},
    {"slot", 1, "$slot$slot"},
    {"patch", 1, "$open%%BeginFeature: *JobPatchFile 1~$settings$end$close"},
    {"fold", 1, "$open%%BeginFeature: *QVBookletFold BiFold~$settings$duplexer$end$close"},
    {"duplexer", 1, "statusdict /duplexer get~"},
    {"duplexer", 5, "statusdict /duplexer get exec~"},
    {"open", 1, ""},
    {"open", 2, "sfcl{~"},
    {"open", 5, "[{~"},
    {"settings", 5, ""},
    {"settings", 4, "<< /Setting 1 >> setpagedevice~$settings"},
    {"settings", 1, "$text"},
    {"end", 1, ""},
    {"end", 9, "%%EndFeature~"},
    {"close", 1, "$linestart$closing"},
    {"close", 9, "$closing"},
    {"closing", 1, ""},
    {"closing", 1, "cleartomark~"},
    {"closing", 2, "}efcl~"},
    {"closing", 4, "} stopped cleartomark~"},
    // The closing line stays before the repeated block, which then begins like it.
    {"linestart", 1, "%%BeginProlog"},
    {"linestart", 1, "%%Page: "},
    {"linestart", 1, "%RBINumCopies: "},
    {"linestart", 1, "@PJL "},
    {"linestart", 1, "\x1b%-12345X"},

    // About as large as the buffers of the output and of the rules, or larger, and paper sources
    // that repeat it.
    {"large", 1,
     "%%BeginFeature: *PageSize Letter~$folding$cutline$block~$cutline$folding$end$slots"},
    {"folding", 1, ""},
    {"folding", 1, "%%QVBookletFold~statusdict /duplexer get exec~"},
    {"cutline", 1, ""},
    {"cutline", 1, "$cut"},
    {"slots", 1, ""},
    {"slots", 3, "$slot$text$slots"},

    {"copies", 1, "%RBINumCopies: $number~"},
    {"pjl", 1, "\x1b%-12345X@PJL JOB~"},
    {"pjl", 1, "@PJL SET COPIES = 2~"},
    {"prolog", 1, "%%BeginProlog~$procedures%%EndProlog~$setup"},
    {"procedures", 1, ""},
    {"procedures", 1, "/cg_md 10 dict def~"},
    {"setup", 1, "%%BeginSetup~"},
    {"setup", 1, "%%EndSetup~"},
    {"page", 1, "%%Page: $number $number~$lines"},
    {"page", 1, "%%Page: $number $number~$lines~showpage~"},
    {"lines", 4, ""},
    {"lines", 9, "$filler$number~$lines"},
    {"lines", 1, "$trigger$filler$number~$lines"},
};

// Chooses one of the rows that have a weight.
template <typename Rows, typename Weight>
std::size_t choose(RandomGenerator& random, const Rows& rows, const Weight& weightOf) {
  std::size_t sum = 0;
  for (const auto& row : rows) sum += weightOf(row);
  std::size_t rest = sum == 0 ? 0 : random.below(sum);
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    if (rest < weightOf(rows[i])) return i;
    rest -= weightOf(rows[i]);
  }
  return 0;
}

class Writer {
 public:
  explicit Writer(RandomGenerator& generator) : random_(generator) {}

  // Each job has only some parts and triggers, so that different rules meet in each.
  std::string job(bool booklet) {
    ending_ = random_.below(std::size(kEndings) + 2);
    for (std::size_t& weight : weights_) weight = random_.below(3) * random_.between(1, 4);
    const auto weightOf = [this](std::string_view part) -> std::size_t& {
      return weights_[static_cast<std::size_t>(std::find(kParts, std::end(kParts), part) - kParts)];
    };
    if (booklet) weightOf("page") += random_.below(30);
    if (booklet) weightOf("fold") += random_.below(4);
    if (!random_.oneIn(16)) weightOf("again") = 0;
    if (!random_.oneIn(8)) weightOf("run") = 0;
    for (std::size_t i = random_.between(1, kTriggers.size()); i > 0; --i) {
      triggers_.push_back(random_.from(kTriggers));
    }
    zeros_ = random_.oneIn(5);

    if (random_.oneIn(40)) part("large");
    const std::size_t parts = random_.oneIn(5) ? random_.below(120) : random_.below(25);
    for (std::size_t i = 0; i < parts; ++i) anyPart();
    if (random_.oneIn(250)) farApart();
    if (random_.oneIn(4)) alter(job_, random_.between(1, 4));
    if (random_.oneIn(5)) part(random_.oneIn(4) ? "nearly" : "any");  // an unterminated last line
    return std::move(job_);
  }

 private:
  void anyPart() {
    part(kParts[choose(random_, weights_, [](std::size_t weight) { return weight; })]);
  }

  void part(std::string_view name) {
    using Function = void (Writer::*)();
    static constexpr std::pair<std::string_view, Function> kFunctions[] = {
        {"trigger", &Writer::trigger}, {"any", &Writer::anyTrigger}, {"nearly", &Writer::nearly},
        {"filler", &Writer::filler},   {"number", &Writer::number},  {"atcut", &Writer::textAtCut},
        {"length", &Writer::longRun},  {"short", &Writer::shortRun}, {"bytes", &Writer::binary},
        {"block", &Writer::block},     {"again", &Writer::again}};
    for (const auto& [ofFunction, function] : kFunctions) {
      if (name == ofFunction) return (this->*function)();
    }
    std::string_view text = kRules[choose(random_, kRules, [name](const Rule& rule) {
                              return rule.name == name ? rule.weight : 0;
                            })].text;
    while (!text.empty()) {
      std::size_t length = text.find_first_of("$~");
      if (length > 0) {
        add(text.substr(0, length));
      } else if (text[0] == '~') {
        end();
        length = 1;
      } else {
        length = std::min(text.size(), text.find_first_not_of("abcdefghijklmnopqrstuvwxyz", 1));
        part(text.substr(1, length - 1));
      }
      text.remove_prefix(std::min(text.size(), length));
    }
  }

  void add(std::string_view bytes) {
    job_.append(bytes);
    if (zeros_ && random_.oneIn(25)) job_ += '\0';
  }

  // Usually the line end of the job, sometimes any other.
  void end() {
    const std::size_t kind =
        ending_ < std::size(kEndings) && !random_.oneIn(25) ? ending_ : random_.below(17);
    add(kind < std::size(kEndings) ? kEndings[kind] : "\n");
    lineBegin_ = job_.size();
  }

  void trigger() { add(random_.from(triggers_)); }
  void anyTrigger() { add(random_.from(kTriggers)); }
  void filler() { add(random_.from(kFillers)); }
  void number() { add(std::to_string(random_.below(12))); }
  void run(std::size_t length) { job_.append(length, "x \x80%@"[random_.below(5)]); }
  void shortRun() { run(random_.below(80)); }

  void longRun() {
    run(random_.oneIn(3)   ? random_.between(1019, 1028)
        : random_.oneIn(2) ? random_.between(2040, 2056)
                           : random_.below(5000));
  }

  void binary() {
    for (std::size_t i = random_.below(random_.oneIn(4) ? 3000 : 60); i > 0; --i) {
      job_ += static_cast<char>(random_.below(256));
    }
  }

  void nearly() {
    std::string text(random_.from(triggers_));
    alter(text, random_.oneIn(5) ? 2 : 1);
    add(text);
  }

  // Small changes to a text, so that it only nearly matches, or to the whole job.
  void alter(std::string& text, std::size_t changes) {
    static constexpr std::string_view kInserted[] = {" ", {"\0", 1}, "\n", "\r", "\r\n", "\n\r"};
    for (; changes > 0 && !text.empty(); --changes) {
      const std::size_t at = random_.oneIn(4)   ? 0
                             : random_.oneIn(4) ? text.size() - 1
                                                : random_.below(text.size());
      switch (random_.below(6)) {
        case 0:
          text[at] = static_cast<char>(text[at] ^ "\x01\x20\x80"[random_.below(3)]);
          break;
        case 1:
          text.erase(at, 1);
          break;
        case 2:
          text.resize(at);
          break;
        case 3:
          text.insert(at, text.substr(at, random_.oneIn(2) ? 1 : random_.below(200)));
          break;
        default:
          text.insert(at, random_.from(kInserted));
      }
    }
  }

  // A trigger at, before, after or across the position at which an overlong line is split.
  void textAtCut() {
    const std::string_view text = random_.from(triggers_);
    const std::size_t cut = 1024 * (random_.oneIn(4) ? random_.between(1, 4) : 1);
    const std::size_t length = cut - text.size() - 3 + random_.below(text.size() + 7);
    run(length - std::min(job_.size() - lineBegin_, length));
    add(text);
  }

  // One part many times, the same bytes each time.
  void again() {
    const std::size_t begin = job_.size();
    std::string_view name = "again";
    while (name == "again") name = random_.from(kParts);
    part(name);
    const std::string once = job_.substr(begin);
    for (std::size_t i = random_.below(once.size() > 300 ? 60 : 700); i > 0; --i) add(once);
  }

  // Lines until the job has `size` bytes.
  void fillTo(std::size_t size) {
    const std::size_t width = random_.oneIn(3) ? 5000 : random_.between(1, 300);
    const std::size_t triggers = random_.oneIn(2) ? 0 : size < 100'000 ? 20 : 1500;
    while (job_.size() < size) {
      if (triggers > 0 && random_.oneIn(triggers)) part("text");
      run(std::min(width, size - std::min(size, job_.size())));
      if (job_.size() < size) job_ += '\n';
    }
    lineBegin_ = job_.size();
  }

  void block() {
    static constexpr std::size_t kSizes[] = {4096,  4096,  8192,  16384, 16384,
                                             16384, 32768, 32768, 262144};
    std::size_t size = random_.from(kSizes) - 20 - random_.below(90);
    if (size > 200'000 && random_.oneIn(3)) size += random_.between(60'000, 200'000);
    fillTo(size);
  }

  // Much text between two triggers, so that these are at the ends of large reads.
  void farApart() {
    static constexpr std::size_t kSizes[] = {16384, 65536, 131072, 262144, 1048576};
    const std::size_t size = random_.from(kSizes);
    fillTo((job_.size() / size + 1) * size + random_.below(41) - 20);
    if (random_.oneIn(2)) job_ += '\n';
    for (std::size_t i = random_.below(4); i > 0; --i) anyPart();
  }

  RandomGenerator& random_;
  std::string job_;
  std::size_t lineBegin_ = 0;
  std::size_t ending_ = 0;
  std::array<std::size_t, std::size(kParts)> weights_{};
  std::vector<std::string_view> triggers_;
  bool zeros_ = false;
};

// Values that the filter knows, and some that are nearly the same. Of values.size() + absent jobs,
// `absent` have none.
struct Choice {
  const char* name;
  std::size_t absent;
  std::vector<std::string_view> values;
};

const std::vector<std::string_view> kSwitches = {
    "true", "true", "true", "True", "TRUE", "tRuE", "false", "", "tru", "trueish", "1", "False"};
const std::vector<std::string_view> kCovers = {"true", "true", "false", "False", "FALSE",
                                               "TRUE", "True", "",      "tru",   "Falsee"};
const Choice kOptions[] = {
    {"PrintTo", 22, {"JRVerify", "JRRepeat",       "JRConf",    "JRReserve", "JRPrinter",
                     "JRVerify", "JRRepeat",       "JRConf",    "JRReserve", "JRPrinter",
                     "jrverify", "JRVerif",        "JRVerifyX", "JRHOLDKEY", "PrinterS",
                     "",         "JRConfidential", "JRprinter", "JRUser",    "Jrreserve"}},
    {"com.apple.print.PrintSettings.PMCopies..n.",
     10,
     {"1", "2", "3", "0", "", " 2", "x", "2x", "-1", "4294967298", "+4", "(null)", "%@ %d",
      "QVBookletFold"}},
    {"QVPosterEnablePS", 9, kSwitches},
    {"com.apple.print.PrintSettings.PMCopyCollate..b.", 9, kSwitches},
    {"QVBookletFold",
     10,
     {"Booklet", "SaddleStitch", "BiFold", "DoNotFoldAndStaple", "TriFold", "false", "PrinterS",
      "booklet", "False", "Printers", "", "saddleStitch", "BiFol", "true"}},
    {"QVBookletCoverPage", 4, kSwitches},
    {"QVOutsideFrontCover", 10, kCovers},
    {"QVOutsideBackCover", 10, kCovers},
    {"QVInsideBackCover", 10, kCovers},
    {"QVInsideFrontCover", 10, kCovers},
    {"QVBookletCoverSource",
     6,
     {"Tray1", "Tray2", "Tray3", "Tray4", "Tray5", "EnvDrawr2", "EnvDrawr3", "EnvDrawr4",
      "EnvDrawr1", "Tray6", "tray1", "Tray", "", "PrinterS", "Printers", "MultipurposeFeeder",
      "ManualPaper", "ManualPape", "MultipurposeFeede"}},
    {"QVBookletCoverType",
     13,
     {"Plain",    "Card",     "Bond",        "Letterhead", "Preprint",  "Colored",    "Light",
      "Glossy",   "Heavy",    "HeavyGlossy", "Labels",     "Vinyl",     "Rough",      "Recycled",
      "Custom1",  "Custom2",  "Custom3",     "Custom4",    "Custom5",   "Custom6",    "Custom7",
      "Printers", "PrinterS", "plain",       "",           "CardStock", "Card Stock", "Custom"}},
    {"QVUnknown", 180, kSwitches},
};

const Choice kDevice = {"DEVICE_URI",
                        1,
                        {"socket://printer", "usb://Quorvan/1", "usb:", "usb", "USB://x",
                         "pap://zone/x", "pap:", "pap", "xusb://", "ipp://h/pap:", ""}};
const Choice kPageCount = {"page-count file",
                           3,
                           {"8", "4", "2", "3", "16\n", " 6", "7 pages", "", "x", "-4", "5\r",
                            "+12", "10", "1", "0", "4294967299", "-99999999999", "\t9", "\3124"}};
const Choice kLanguage = {"LANG",
                          2,
                          {"en", "en_US", "en_US.UTF-8", "de_DE", "fr_FR.UTF-8", "fr_FR.UTF-8",
                           "de", "en_GB.UTF-8", ".UTF-8", "", "C", "de_DE.x.y"}};
constexpr std::string_view kCopiesArguments[] = {"1",  "1", "1",  "2",  "",   " 1", "01",
                                                 "1x", "x", "+1", "-1", "11", "0",  "4294967297"};
constexpr std::optional<std::int32_t> kVersions[] = {0x1050, 0x1000, 0x102f, 0x1030,      0x103e,
                                                     0x103f, 0x1040, 0x1049, 0x104f,      0,
                                                     0x1051, 0x1060, 0x2000, std::nullopt};
constexpr std::size_t kLargestReads[] = {0, 1, 3, 64, 1023, 1024, 1500, 4096, 40000};

std::optional<std::string> valueOf(const Choice& choice, RandomGenerator& random) {
  const std::size_t value = random.below(choice.absent + choice.values.size());
  if (value < choice.absent) return std::nullopt;
  return std::string(choice.values[value - choice.absent]);
}

// Everything but the bytes of the job.
RandomJob chosenJob(RandomGenerator& random) {
  RandomJob chosen;
  JobParameters& job = chosen.job;
  for (const Choice& option : kOptions) {
    if (const auto value = valueOf(option, random)) job.options[option.name] = *value;
  }
  job.version = random.from(kVersions);
  job.deviceUri = valueOf(kDevice, random);
  job.copiesArgument = random.from(kCopiesArguments);
  job.pageCountFile = valueOf(kPageCount, random);
  job.language = valueOf(kLanguage, random);
  job.manualPpd = random.oneIn(3);
  job.capture = random.oneIn(3);
  chosen.pipe = random.oneIn(2);
  chosen.largestRead = random.from(kLargestReads);
  return chosen;
}

}  // namespace

std::uint64_t RandomGenerator::next() {
  if (chosen_) {
    if (chosen_->empty()) return 0;
    const auto byte = static_cast<unsigned char>(chosen_->front());
    chosen_->remove_prefix(1);
    return byte;
  }
  state_ += 0x9E3779B97F4A7C15;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
  return z ^ (z >> 31);
}

RandomJob randomJob(std::uint64_t seed) {
  RandomGenerator random(seed);
  RandomJob made = chosenJob(random);
  made.seed = seed;
  made.job.input = Writer(random).job(made.job.options.contains("QVBookletFold"));
  return made;
}

RandomJob jobFromBytes(std::string_view bytes) {
  const std::size_t choices = std::min(bytes.size(), kChoiceBytes);
  RandomGenerator random(bytes.substr(0, choices));
  RandomJob made = chosenJob(random);
  made.job.input = bytes.substr(choices);
  return made;
}

std::string literal(std::string_view bytes) {
  std::string result = "\"";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char c = bytes[i];
    const std::size_t length = std::min(bytes.find_first_not_of(c, i), bytes.size()) - i;
    if (length > 40) {
      result += "\" (" + std::to_string(length) + " x " + literal(bytes.substr(i, 1)) + ") \"";
      i += length - 1;
    } else if (c == '\n') {
      result += i + 1 < bytes.size() ? "\\n\"\n\"" : "\\n";
    } else if (c >= ' ' && c <= '~') {
      if (c == '"' || c == '\\') result += '\\';
      result += c;
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\%03o", static_cast<unsigned char>(c));
      result += escape;
    }
  }
  return result + "\"";
}

std::string describe(const RandomJob& random) {
  const JobParameters& job = random.job;
  std::string result = "seed " + std::to_string(random.seed) + "\n";
  const auto tell = [&result](const std::string& name, const std::optional<std::string>& value) {
    result.append("  ").append(name).append(" = ").append(value ? literal(*value) : "none") += '\n';
  };
  tell("system version", job.version ? std::to_string(*job.version) : "failed");
  tell(kDevice.name, job.deviceUri);
  tell(kLanguage.name, job.language);
  tell("copies argument", job.copiesArgument);
  tell("*QvnManualBooklet", job.manualPpd ? "True" : "");
  tell("capture", job.capture ? "on" : "off");
  for (const auto& [name, value] : job.options) tell(name, value);
  tell(kPageCount.name, job.pageCountFile);
  tell("standard input", random.pipe ? "a pipe" : "a file");
  tell("largest read", std::to_string(random.largestRead));
  return result + "the job, " + std::to_string(job.input.size()) + " bytes:\n" +
         literal(job.input) + "\n";
}

}  // namespace jobshaper::reference
