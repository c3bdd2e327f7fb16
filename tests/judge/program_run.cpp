#include "tests/judge/program_run.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "tests/support/program.h"

namespace jobshaper::judge {
namespace {

// As the print dialog writes a value: what CUPS would take for its own has a placeholder.
std::string encoded(const std::string& value) {
  std::string result;
  for (const char c : value) {
    switch (c) {
      case '\'':
        result += "<27>";
        break;
      case '=':
        result += "<3D>";
        break;
      case ' ':
        result += "<20>";
        break;
      case ',':
        result += "<2C>";
        break;
      case '<':
        result += "<3C>";
        break;
      case '>':
        result += "<3E>";
        break;
      default:
        result += c;
    }
  }
  return result;
}

}  // namespace

Produced produceByProgram(const RandomJob& random) {
  const JudgedJob& judged = random.job;
  testing::Job job;
  std::string options;
  for (const auto& [name, value] : judged.options) {
    options += name + "=" + encoded(value) + " ";
  }
  if (judged.pageCountFile) {
    options += "QVBookletPageCountFilename=" + pageCountPath(*judged.pageCountFile);
  }
  job.copies(judged.copiesArgument).options(options);
  // Without a version the program is the one that is installed, which has no instruction pages.
  const bool installed = judged.version == 0x1050 && !judged.manualPpd && random.seed % 2 == 0;
  if (!installed) {
    char version[16] = "failed";
    if (judged.version) {
      std::snprintf(version, sizeof version, "0x%x", static_cast<unsigned>(*judged.version));
    }
    job.version(version).env("JOBSHAPER_INSTRUCTIONS", instructionFolder(judged));
  }
  job.unsetEnv("DEVICE_URI");
  if (judged.deviceUri) job.env("DEVICE_URI", *judged.deviceUri);
  if (judged.language) job.env("LANG", *judged.language);
  if (judged.manualPpd) job.ppd("*PPD-Adobe: \"4.3\"\n*QvnManualBooklet: \"True\"\n");
  if (judged.capture) job.capture();

  testing::Outcome outcome;
  if (random.delivery.pipe) {
    testing::Process process(job.program(), job.argv(), job.environment());
    Dice dice(random.delivery.seed);
    const std::size_t size = judged.input.size();
    const std::size_t largest = std::max(
        random.delivery.largestRead == 0 ? size + 1 : random.delivery.largestRead, size / 20 + 1);
    for (std::size_t at = 0; at < size;) {
      const std::size_t length = dice.between(1, largest);
      process.write(std::string_view(judged.input).substr(at, length));
      at += length;
    }
    outcome = process.finish();
  } else {
    outcome = job.fileWith(judged.input).run();
  }

  Produced produced;
  produced.status = outcome.signal ? -outcome.signal : outcome.exitStatus;
  produced.printed = outcome.out;
  produced.messages = withoutFolderLines(outcome.err);
  if (judged.capture) {
    produced.captureIn = testing::readFile(job.tmpFile("qvn_ps"));
    produced.captureOut = testing::readFile(job.tmpFile("qvn_ps2"));
    const std::string announced(testing::kCaptureOn);
    if (produced.messages.rfind(announced, 0) == 0)
      produced.messages.erase(0, announced.size());
    else
      produced.messages.insert(0, "(no word of the capture)\n");
  }
  for (const auto& entry : std::filesystem::directory_iterator(job.tmp())) {
    const std::string name = entry.path().filename();
    if (name.rfind("qvn_log", 0) != 0 && name != "qvn_ps" && name != "qvn_ps2") {
      produced.leftovers += name + " ";
    }
  }
  return produced;
}

}  // namespace jobshaper::judge
