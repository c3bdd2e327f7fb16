// The PPD file of a queue, with the choices of a job marked in it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "queue/option_list.h"

struct ppd_file_s;

namespace jobshaper {

// Names of options and choices match in either case.
class QueuePpd {
 public:
  // Opens the PPD file and marks what the job asks for, under whatever name, and the defaults of
  // all other options. Without a path there is none, and none of what follows. Reports on standard
  // error a file that cannot be used: one that is no regular file, is not a PPD file or of another
  // maker, or is larger than any PPD file needs to be and would take libcups seconds to read.
  QueuePpd(const char* path, const OptionList& jobOptions);

  // Whether there is such a file.
  bool isUsable() const { return ppd_ != nullptr; }
  bool hasKeyword(const char* keyword) const;
  bool hasOption(const char* option) const;
  bool hasChoice(const char* option, const char* choice) const;
  // The marked choice as the file spells it; null without one.
  const char* choice(const char* option) const;
  const char* defaultChoice(const char* option) const;
  // Whether the choice comes with PostScript code, which CUPS puts into the job.
  bool hasCode(const char* option, const char* choice) const {
    return !code(option, choice).empty();
  }
  std::string code(const char* option, const char* choice) const;
  // The installable option that rules the choice out, "OptionFinisher=False"; "" when none does.
  std::string missingEquipment(const char* option, const char* choice) const;
  // The options with a marked choice that has code and is ruled out so.
  std::vector<const char*> optionsWithoutEquipment() const;

 private:
  struct Closer {
    void operator()(ppd_file_s* ppd) const;
  };
  using Ppd = std::unique_ptr<ppd_file_s, Closer>;

  static Ppd open(const char* path);

  const Ppd ppd_;
};

}  // namespace jobshaper
