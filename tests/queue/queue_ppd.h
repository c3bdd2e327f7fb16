// PPD files of the tests of the entry program.
#pragma once

#include <string>
#include <string_view>

namespace jobshaper::testing {

// One option of a PPD file: its name, its choices with blanks between them, and its default.
inline std::string ppdOption(std::string_view name, std::string_view choices,
                             std::string_view defaultChoice) {
  const std::string keyword = "*" + std::string(name);
  std::string text = "*OpenUI " + keyword + "/" + std::string(name) + ": PickOne\n";
  text += "*OrderDependency: 30 AnySetup " + keyword + "\n";
  text += "*Default" + std::string(name) + ": " + std::string(defaultChoice) + "\n";
  while (!choices.empty()) {
    const std::string_view choice = choices.substr(0, choices.find(' '));
    choices.remove_prefix(choice.size() < choices.size() ? choice.size() + 1 : choices.size());
    text += keyword + " " + std::string(choice) + "/" + std::string(choice) + ": \"\"\n";
  }
  return text + "*CloseUI: " + keyword + "\n";
}

// The same in the group of equipment that may be installed.
inline std::string ppdEquipment(std::string_view options) {
  return "*OpenGroup: InstallableOptions/Options\n" + std::string(options) +
         "*CloseGroup: InstallableOptions\n";
}

// The smallest PPD file that libcups accepts, with `options` in it.
inline std::string ppdWith(std::string_view options) {
  return "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*FileVersion: \"1.0\"\n"
         "*LanguageVersion: English\n*LanguageEncoding: ISOLatin1\n*PCFileName: \"QVTEST.PPD\"\n"
         "*Manufacturer: \"Quorvan\"\n*Product: \"(Quorvan Test)\"\n*ModelName: \"Quorvan Test\"\n"
         "*ShortNickName: \"Quorvan Test\"\n*NickName: \"Quorvan Test\"\n"
         "*PSVersion: \"(3010.000) 1\"\n*LanguageLevel: \"3\"\n" +
         std::string(options) + "*% End of file\n";
}

}  // namespace jobshaper::testing
