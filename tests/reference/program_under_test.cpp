#include "tests/reference/program_under_test.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "tests/support/program.h"

namespace jobshaper::reference {
namespace {

// Writes a value as the print dialog does: with placeholders for characters that CUPS interprets.
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

FilterOutput runProgram(const RandomJob& random) {
  const JobParameters& parameters = random.job;
  testing::Job job;
  std::string options;
  for (const auto& [name, value] : parameters.options) {
    options += name + "=" + encoded(value) + " ";
  }
  if (parameters.pageCountFile) {
    options += "QVBookletPageCountFilename=" + pageCountPath(*parameters.pageCountFile);
  }
  job.copies(parameters.copiesArgument).options(options);
  // Without a version, the program is jobshaper itself, which finds no instruction pages here.
  const bool installed =
      parameters.version == 0x1050 && !parameters.manualPpd && random.seed % 2 == 0;
  if (!installed) {
    char version[16] = "failed";
    if (parameters.version) {
      std::snprintf(version, sizeof version, "0x%x", static_cast<unsigned>(*parameters.version));
    }
    job.version(version).env("JOBSHAPER_INSTRUCTIONS", instructionDirectory(parameters));
  }
  job.unsetEnv("DEVICE_URI");
  if (parameters.deviceUri) job.env("DEVICE_URI", *parameters.deviceUri);
  if (parameters.language) job.env("LANG", *parameters.language);
  if (parameters.manualPpd) job.ppd("*PPD-Adobe: \"4.3\"\n*QvnManualBooklet: \"True\"\n");
  if (parameters.capture) job.capture();

  testing::Outcome outcome;
  if (random.delivery.pipe) {
    testing::Process process(job.program(), job.argv(), job.environment());
    RandomGenerator generator(random.delivery.seed);
    const std::size_t size = parameters.input.size();
    const std::size_t largest = std::max(
        random.delivery.largestRead == 0 ? size + 1 : random.delivery.largestRead, size / 20 + 1);
    for (std::size_t at = 0; at < size;) {
      const std::size_t length = generator.between(1, largest);
      process.write(std::string_view(parameters.input).substr(at, length));
      at += length;
    }
    outcome = process.finish();
  } else {
    outcome = job.fileWith(parameters.input).run();
  }

  FilterOutput actual;
  actual.status = outcome.signal ? -outcome.signal : outcome.exitStatus;
  actual.printed = outcome.out;
  actual.messages = withoutDirectoryLines(outcome.err);
  if (parameters.capture) {
    actual.captureIn = testing::readFile(job.tmpFile("qvn_ps"));
    actual.captureOut = testing::readFile(job.tmpFile("qvn_ps2"));
    const std::string announced(testing::kCaptureOn);
    if (actual.messages.rfind(announced, 0) == 0)
      actual.messages.erase(0, announced.size());
    else
      actual.messages.insert(0, "(no word of the capture)\n");
  }
  for (const auto& entry : std::filesystem::directory_iterator(job.tmp())) {
    const std::string name = entry.path().filename();
    if (name.rfind("qvn_log", 0) != 0 && name != "qvn_ps" && name != "qvn_ps2") {
      actual.leftovers += name + " ";
    }
  }
  return actual;
}

}  // namespace jobshaper::reference
