// Prints what the programs know, from their own tables, one item a line, with tabs between the
// fields:
//   filter NAME, setting NAME, queue NAME   an option, by who reads it
//   value OPTION VALUE [SENT]               a value; for booklets, with what is sent
//   queue-setting NAME                      in the order of the header
//   keyword NAME                            of the PPD file, with its asterisk
#include <iostream>

#include "booklet/cover_queries.h"
#include "filter/booklet_rules.h"
#include "pjl/option_table.h"
#include "queue/option_string.h"
#include "settings/option_names.h"
#include "settings/ppd_values.h"

int main() {
  using namespace jobshaper;
  for (const auto name : kFilterOptions) std::cout << "filter\t" << name << "\n";
  for (const auto name : kSettingOptions) std::cout << "setting\t" << name << "\n";
  for (const auto name : kQueueOptions) std::cout << "queue\t" << name << "\n";
  for (const auto name : kPpdKeywords) std::cout << "keyword\t" << name << "\n";
  for (const Setting& setting : kPpdSettings) {
    std::cout << "queue-setting\t" << std::string_view(setting.option) << "\n";
  }
  for (const auto tables : {kHeaderTables, kPaperTables, kQualityTables}) {
    for (const OptionTable& table : tables) {
      for (const OptionRow& row : table.rows) {
        std::cout << "value\t" << std::string_view(table.option) << "\t" << row.value << "\n";
      }
    }
  }
  for (const FoldRow& row : kBookletFolds) {
    std::cout << "value\tQVBookletFold\t" << row.option << "\t" << row.command << "\n";
  }
  for (const OptionRow& row : kCoverMediaTypes) {
    std::cout << "value\tQVBookletCoverType\t" << row.value << "\t" << row.sent << "\n";
  }
  for (const TrayRow& row : kCoverTrays) {
    std::cout << "value\tQVBookletCoverSource\t" << row.name << "\t" << row.code << "\n";
  }
}
