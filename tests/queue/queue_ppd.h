// PPD files of the tests of the entry program.
#pragma once

#include <sstream>
#include <string>

namespace jobshaper::testing {

// An option of a PPD file, from the line in which lpoptions -l shows it, with an asterisk at the
// default: "Duplex: None *DuplexTumble". A choice may have code: "Tray5{code}". A name that begins
// with "Option" is that of equipment that may be installed.
inline std::string ppdOption(const std::string& line) {
  std::istringstream words(line);
  std::string name, choices;
  std::getline(words, name, ':');
  std::string text =
      "*OpenUI *" + name + ": PickOne\n*OrderDependency: 30 AnySetup *" + name + "\n";
  for (std::string choice; words >> choice;) {
    const std::size_t code = std::min(choice.find('{'), choice.size());
    const bool isDefault = choice.starts_with('*');
    const std::string choiceName = choice.substr(isDefault ? 1 : 0, code - (isDefault ? 1 : 0));
    choice = code < choice.size() ? choice.substr(code + 1, choice.size() - code - 2) : "";
    if (isDefault) text += "*Default" + name + ": " + choiceName + "\n";
    choices += "*" + name + " " + choiceName + "/" + choiceName + ": \"" + choice + "\"\n";
  }
  text += choices + "*CloseUI: *" + name + "\n";
  if (!name.starts_with("Option")) return text;
  return "*OpenGroup: InstallableOptions/Options\n" + text + "*CloseGroup: InstallableOptions\n";
}

// The smallest PPD file that libcups accepts, with these options, one in a line. Lines that begin
// with an asterisk are in it as they are.
inline std::string ppdWith(const std::string& options) {
  std::string text =
      "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*FileVersion: \"1.0\"\n"
      "*LanguageVersion: English\n*LanguageEncoding: ISOLatin1\n*PCFileName: \"QVTEST.PPD\"\n"
      "*Manufacturer: \"Quorvan\"\n*Product: \"(Quorvan Test)\"\n*ModelName: \"Quorvan Test\"\n"
      "*ShortNickName: \"Quorvan Test\"\n*NickName: \"Quorvan Test\"\n"
      "*PSVersion: \"(3010.000) 1\"\n*LanguageLevel: \"3\"\n";
  std::istringstream lines(options);
  for (std::string line; std::getline(lines, line);) {
    text += line.starts_with('*') ? line + "\n" : ppdOption(line);
  }
  return text + "*% End of file\n";
}

}  // namespace jobshaper::testing
