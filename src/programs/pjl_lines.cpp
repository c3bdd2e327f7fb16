// pjlLines: shows the PJL lines for an option string, without printing anything.

#include <getopt.h>
#include <pwd.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pjl/pjl_creation.h"
#include "settings/argument_store.h"

namespace jobshaper {

namespace {

constexpr int kCannotWrite = 1;
constexpr int kWrongCall = 2;

constexpr char kUsage[] = "usage: pjlLines [-u USER] OPTIONS [SETTER ...]\n";
constexpr char kHelp[] =
    "Writes the PJL header of a job with these CUPS options to standard output,\n"
    "followed by the lines that the named setters append.\n"
    "\n"
    "  -u USER   owner of the job; by default, you\n"
    "  --list    list the setters and the options that each reads\n"
    "  --help    show this help\n";

struct Call;

using Header = pjlCreation;

struct Setter {
  std::string_view name;
  void (*run)(Header& header, const argumentStore& options, const Call& call);
  std::string_view options;  // the options that it reads
  enum Argument { none, size, number } argument = none;
};

// A setter named on the command line, with its argument as text and, if it takes one, as a number.
struct Call {
  const Setter* setter = nullptr;
  std::string_view argument;
  std::int32_t number = 0;
};

template <void (Header::*setter)()>
void plain(Header& header, const argumentStore&, const Call&) {
  (header.*setter)();
}

void accounting(Header& header, const argumentStore& options, const Call&) {
  header.addJobAcctgLines(options);
}

void generic(Header& header, const argumentStore& options, const Call&) {
  header.addQvnGenericDrvCommands(options, "");
}

void customPaper(Header& header, const argumentStore&, const Call& call) {
  header.setCustomPaper(call.argument);
}

void numCopies(Header& header, const argumentStore&, const Call& call) {
  header.insertNumCopies(call.number);
}

// clang-format off
constexpr Setter kSetters[] = {
    {"setCopies",                plain<&Header::setCopies>,
                                 "com.apple.print.PrintSettings.PMCopies..n."},
    {"setRotatePaper",           plain<&Header::setRotatePaper>,
                                 "com.apple.print.PrintSettings.PMOrientation..n."},
    {"setPaperSize",             plain<&Header::setPaperSize>,         "media"},
    {"setCustomPaper",           customPaper,                          "", Setter::size},
    {"setMediaType",             plain<&Header::setMediaType>,         "MediaType"},
    {"setPaperSource",           plain<&Header::setPaperSource>,
                                 "AP_FIRSTPAGE_InputSlot, AP_D_InputSlot, InputSlot, "
                                 "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1"},
    {"setOutputBin",             plain<&Header::setOutputBin>,         "OutputBin"},
    {"setTonerDarkness",         plain<&Header::setTonerDarkness>,     "TonerDarkness"},
    {"setPictureGrade",          plain<&Header::setPictureGrade>,      "PictureGrade"},
    {"setSeparatorPage",         plain<&Header::setSeparatorPage>,     "SepPages"},
    {"setSeparatorSource",       plain<&Header::setSeparatorSource>,   "SepSource"},
    {"setOffsetPage",            plain<&Header::setOffsetPage>,        "Offset"},
    {"setCyan",                  plain<&Header::setCyan>,              "CyanBalance"},
    {"setMagenta",               plain<&Header::setMagenta>,           "MagentaBalance"},
    {"setYellow",                plain<&Header::setYellow>,            "YellowBalance"},
    {"setBlack",                 plain<&Header::setBlack>,             "BlackBalance"},
    {"setColorCorrection",       plain<&Header::setColorCorrection>,   "MediaColor"},
    {"setGrayCorrection",        plain<&Header::setGrayCorrection>,    "GrayCorrection"},
    {"setManualRGBImage",        plain<&Header::setManualRGBImage>,    "ManualRGBImage"},
    {"setManualRGBText",         plain<&Header::setManualRGBText>,     "ManualRGBText"},
    {"setManualRGBGraphics",     plain<&Header::setManualRGBGraphics>, "ManualRGBGraphics"},
    {"setManualCMYK",            plain<&Header::setManualCMYK>,        "ManualCMYK"},
    {"setColorSaver",            plain<&Header::setColorSaver>,        "ColorSaver"},
    {"setBlackAndWhite",         plain<&Header::setBlackAndWhite>,     "BLW"},
    {"setBrightness",            plain<&Header::setBrightness>,        "QvnBrightness"},
    {"setContrast",              plain<&Header::setContrast>,          "QvnContrast"},
    {"setSaturation",            plain<&Header::setSaturation>,        "QvnSaturation"},
    {"setImageSmoothing",        plain<&Header::setImageSmoothing>,    "ImageSmoothing"},
    {"setLineDetail",            plain<&Header::setLineDetail>,        "QvnLineDetail"},
    {"setCollation",             plain<&Header::setCollation>,
                                 "com.apple.print.PrintSettings.PMCopyCollate..b."},
    {"setResolution",            plain<&Header::setResolution>,        "Resolution"},
    {"addJobAcctgLines",         accounting,                           "JAUSERID, JAACCTNUM, JADEPTNUM"},
    {"addQvnGenericDrvCommands", generic,                              "QVGeneric"},
    {"setDuplicateHeldJobs",     plain<&Header::setDuplicateHeldJobs>, ""},
    {"insertNumCopies",          numCopies,                            "", Setter::number},
};
// clang-format on

std::string synopsis(const Setter& setter) {
  constexpr std::string_view kArguments[] = {"", "=SIZE", "=NUMBER"};
  return std::string(setter.name).append(kArguments[setter.argument]);
}

void listSetters() {
  for (const Setter& setter : kSetters) {
    const std::string name = synopsis(setter);
    if (setter.options.empty()) {
      std::printf("%s\n", name.c_str());
    } else {
      std::printf("%-26s%s\n", name.c_str(), setter.options.data());
    }
  }
}

const Setter* findSetter(std::string_view name) {
  for (const Setter& setter : kSetters) {
    if (setter.name == name) return &setter;
  }
  return nullptr;
}

bool isNumber(std::string_view text, std::int32_t& number) {
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc() && read.ptr == end;
}

// Parses "setter" or "setter=argument". Returns no value, after reporting the reason on standard
// error, if that is not a valid call.
std::optional<Call> readCall(const char* text) {
  const std::string_view name(text, std::strcspn(text, "="));
  const bool hasArgument = text[name.size()] == '=';
  Call call;
  call.setter = findSetter(name);
  if (!call.setter) {
    std::fprintf(stderr, "pjlLines: \"%s\" is not a setter; --list shows all setters\n", text);
    return std::nullopt;
  }
  if (hasArgument != (call.setter->argument != Setter::none)) {
    std::fprintf(stderr, "pjlLines: \"%s\" must be given as %s\n", text,
                 synopsis(*call.setter).c_str());
    return std::nullopt;
  }
  if (hasArgument) call.argument = text + name.size() + 1;
  if (call.setter->argument == Setter::number && !isNumber(call.argument, call.number)) {
    std::fprintf(stderr, "pjlLines: \"%s\" needs a 32-bit integer\n", text);
    return std::nullopt;
  }
  return call;
}

std::string loginName() {
  if (const passwd* const entry = ::getpwuid(::getuid())) return entry->pw_name;
  if (const char* const name = ::getlogin()) return name;
  const char* const name = std::getenv("LOGNAME");
  return name ? name : "";
}

// Flushes standard output and returns the exit status.
int finish() {
  if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return 0;
  std::perror("pjlLines: standard output");
  return kCannotWrite;
}

// `argv` holds the option string and the setters, and ends in a null pointer. Returns the exit
// status.
int showLines(const char* user, char* const argv[]) {
  std::vector<Call> calls;
  for (char* const* setter = argv + 1; *setter; ++setter) {
    const std::optional<Call> call = readCall(*setter);
    if (!call) return kWrongCall;
    calls.push_back(*call);
  }
  argumentStore options;
  options.initWithOptionString(argv[0]);
  Header header;
  header.initFromArgsStore(options, user ? user : loginName(), "");
  for (const Call& call : calls) call.setter->run(header, options, call);
  for (const std::string& line : header.objectEnumerator()) {
    std::fwrite(line.data(), 1, line.size(), stdout);
  }
  return finish();
}

}  // namespace

}  // namespace jobshaper

int main(int argc, char* argv[]) {
  using namespace jobshaper;
  constexpr option kLongOptions[] = {
      {"help", no_argument, nullptr, 'h'}, {"list", no_argument, nullptr, 'l'}, {}};
  const char* user = nullptr;
  // "+" stops at the option string: everything after it is a setter, even "-u".
  for (int c; (c = getopt_long(argc, argv, "+u:", kLongOptions, nullptr)) != -1;) {
    switch (c) {
      case 'u':
        user = optarg;
        break;
      case 'l':
        listSetters();
        return finish();
      case 'h':
        std::printf("%s\n%s", kUsage, kHelp);
        return finish();
      default:
        std::fputs(kUsage, stderr);
        return kWrongCall;
    }
  }
  if (optind == argc) {
    std::fputs("pjlLines: the option string is missing; give '' for none\n", stderr);
    std::fputs(kUsage, stderr);
    return kWrongCall;
  }
  return showLines(user, argv + optind);
}
