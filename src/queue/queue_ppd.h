// The PPD file of a queue, with the choices of a job marked in it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "queue/option_list.h"
#include "settings/ppd_values.h"

struct ppd_file_s;

namespace jobshaper {

// The case of option and choice names does not matter. Arguments that name an option, a choice or a
// keyword must not be null. Pointers that are returned are valid as long as this object.
class QueuePpd {
 public:
  // Opens the PPD file and marks in it what the job asks for, under any of the names that CUPS
  // knows, and the defaults of all other options. Keeps no reference to the arguments. `path` may
  // be null: then there is no PPD file. Reports on standard error a file that cannot be used: one
  // that cannot be read, is empty, not a regular file, not a PPD file, that of another maker, or so
  // large that libcups would take seconds to read it.
  QueuePpd(const char* path, const OptionList& jobOptions);

  // Whether there is a PPD file. If not, the functions below return false, null or nothing.
  bool isUsable() const { return ppd_ != nullptr; }
  // What the filter would read in it.
  const PpdKeywords& keywords() const { return keywords_; }
  // `keyword` is without the asterisk.
  bool hasKeyword(const char* keyword) const;
  bool hasOption(const char* option) const;
  bool hasChoice(const char* option, const char* choice) const;
  // The marked and the default choice of an option, as the file spells them; null if the file does
  // not have the option, or no such choice.
  const char* choice(const char* option) const;
  const char* defaultChoice(const char* option) const;
  // The PostScript code of a choice, which CUPS puts into the job; "" if it has none.
  bool hasCode(const char* option, const char* choice) const {
    return !code(option, choice).empty();
  }
  std::string code(const char* option, const char* choice) const;
  // The installable option that rules the choice out, such as "OptionFinisher=False"; "" if none
  // does.
  std::string missingEquipment(const char* option, const char* choice) const;
  // The options whose marked choice has code and is ruled out in this way.
  std::vector<const char*> optionsWithoutEquipment() const;

 private:
  struct Closer {
    void operator()(ppd_file_s* ppd) const;
  };
  // One half of a constraint.
  struct Side {
    const char* option;
    const char* choice;  // "" for every choice except those that switch the option off

    bool concerns(const char* someOption, const char* someChoice) const;
  };
  // A constraint that applies with the equipment of the queue.
  struct Missing {
    Side ruledOut;
    std::string equipment;  // such as "OptionFinisher=False"
  };

  bool open(const char* path);
  void findMissingEquipment();

  std::unique_ptr<ppd_file_s, Closer> ppd_;
  PpdKeywords keywords_;
  std::vector<Missing> missing_;
};

}  // namespace jobshaper
