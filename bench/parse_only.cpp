// A program that does no more than every filter of CUPS must: it has CUPS parse the option string.
// What the filter costs at its start, and in memory, is measured against this.

#include <cups/cups.h>

int main(int argc, char* argv[]) {
  cups_option_t* options = nullptr;
  const int count = cupsParseOptions(argc > 5 ? argv[5] : "", 0, &options);
  cupsFreeOptions(count, options);
  return 0;
}
