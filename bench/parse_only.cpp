// Does only what every CUPS filter must do: lets libcups parse the option string. The startup time
// and the memory of the filter are compared with this program.

#include <cups/cups.h>

int main(int argc, char* argv[]) {
  cups_option_t* options = nullptr;
  const int count = cupsParseOptions(argc > 5 ? argv[5] : "", 0, &options);
  cupsFreeOptions(count, options);
  return 0;
}
